package org.kelvane;

/** Where a frame differs from another one. */
public final class ChangedRegion {
    /** Around the changed pixels, in the second frame; null when there are none. */
    public final Rect rect;
    /** Changed pixels over all pixels. */
    public final float ratio;
    /** Of the second frame against the first. */
    public final Shift shift;

    ChangedRegion(Rect rect, float ratio, Shift shift) {
        this.rect = rect;
        this.ratio = ratio;
        this.shift = shift;
    }
}
