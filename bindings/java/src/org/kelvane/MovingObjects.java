package org.kelvane;

import java.nio.ByteBuffer;
import java.util.ArrayList;
import java.util.List;

/** The moving object of every frame of a burst: masks of one size, which may be less than the frames'. */
public final class MovingObjects {
    final int width;
    final int height;
    final int rowStride;
    final List<Rect> rects = new ArrayList<>();
    final List<ByteBuffer> masks = new ArrayList<>();
    final List<Integer> offsets = new ArrayList<>();

    /** Masks of {@code width} x {@code height} bytes in rows {@code rowStride} bytes apart. */
    public MovingObjects(int width, int height, int rowStride) {
        Check.that(width > 0, "width", width + " is below 1");
        Check.that(height > 0, "height", height + " is below 1");
        Check.that(rowStride >= width, "rowStride", rowStride + " is less than the width of " + width);
        this.width = width;
        this.height = height;
        this.rowStride = rowStride;
    }

    /**
     * Adds the next frame's object.
     *
     * @param rect around the object, in mask pixels
     * @param mask a direct buffer; bytes that are not zero belong to the object
     */
    public MovingObjects add(Rect rect, ByteBuffer mask) {
        Check.notNull(rect, "rect");
        Check.that(rect.isInside(width, height), "rect", rect + " is empty or leaves the mask of "
                + width + " x " + height);
        Check.rows(mask, width, height, rowStride, "mask");
        rects.add(rect);
        masks.add(mask.duplicate());
        offsets.add(mask.position());
        return this;
    }

    /** Says that the next frame has no object. */
    public MovingObjects addNone() {
        rects.add(new Rect(0, 0, 0, 0));
        masks.add(null);
        offsets.add(0);
        return this;
    }
}
