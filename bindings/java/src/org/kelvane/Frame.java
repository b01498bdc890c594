package org.kelvane;

import java.nio.ByteBuffer;

/**
 * A frame: the plane of luma samples where the camera left it. Chroma takes no part in any
 * measurement and is not asked for. The pixels are not copied: they must stay until the last call
 * with this frame has returned, and an Android {@code Image} is closed only then.
 */
public final class Frame {
    /** The layouts that the engine accepts; the codes are those of kelvane.h. */
    public enum Format {
        /** Planar 4:2:0. */
        YUV_420(0x601),
        /** Planar 4:2:2. */
        YUV_422(0x603),
        /** Semi-planar 4:2:0, Cr first: what cameras call NV21. */
        YUV_420_CRCB(0x802);

        final int code;

        Format(int code) {
            this.code = code;
        }
    }

    final Format format;
    final int width;
    final int height;
    final ByteBuffer luma;
    final int offset;
    final int rowStride;

    /**
     * @param luma a direct buffer whose position is at the first row
     * @param rowStride bytes from one row to the next, at least the width
     */
    public Frame(Format format, int width, int height, ByteBuffer luma, int rowStride) {
        this.format = Check.notNull(format, "format");
        Check.that(width > 0, "width", width + " is below 1");
        Check.that(height > 0, "height", height + " is below 1");
        Check.rows(luma, width, height, rowStride, "luma");
        this.width = width;
        this.height = height;
        this.luma = luma.duplicate(); // its bounds and ours cannot move apart
        this.offset = luma.position();
        this.rowStride = rowStride;
    }

    /** A planar 4:2:0 frame, as which plane 0 of Android's YUV_420_888 can be given. */
    public Frame(int width, int height, ByteBuffer luma, int rowStride) {
        this(Format.YUV_420, width, height, luma, rowStride);
    }

    boolean isLike(Frame other) {
        return width == other.width && height == other.height;
    }
}
