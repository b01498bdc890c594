package org.kelvane;

/** A call needed more memory than there was: of the arena, or of the process. */
public final class NotEnoughMemoryException extends RuntimeException {
    private static final long serialVersionUID = 1;

    NotEnoughMemoryException(String message) {
        super(message);
    }
}
