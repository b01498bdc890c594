package org.kelvane;

/** A translation: pixel p of the second frame shows what pixel p + (dx, dy) of the first shows. */
public final class Shift {
    public final int dx;
    public final int dy;

    Shift(int dx, int dy) {
        this.dx = dx;
        this.dy = dy;
    }
}
