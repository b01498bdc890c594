package org.kelvane;

import java.nio.ByteBuffer;

/** Refuses arguments with an exception that begins with the argument's name. */
final class Check {
    private Check() {}

    static void that(boolean holds, String argument, String problem) {
        if (!holds)
            throw new IllegalArgumentException(argument + ": " + problem);
    }

    static <T> T notNull(T value, String argument) {
        if (value == null)
            throw new NullPointerException(argument + ": is null");
        return value;
    }

    /** Rows of `width` bytes from the buffer's position on; the last one needs no padding. */
    static void rows(ByteBuffer buffer, int width, int height, int rowStride, String argument) {
        notNull(buffer, argument);
        that(buffer.isDirect(), argument, "is not a direct buffer");
        that(rowStride >= width, "rowStride", rowStride + " is less than the width of " + width);
        long needed = (long) rowStride * (height - 1) + width;
        that(buffer.remaining() >= needed, argument, buffer.remaining() + " bytes remain, " + width
                + " x " + height + " pixels at row stride " + rowStride + " need " + needed);
    }
}
