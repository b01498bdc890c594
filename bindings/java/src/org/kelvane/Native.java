package org.kelvane;

import java.nio.ByteBuffer;

/**
 * What kelvane_jni.cpp implements; its arguments are checked before. Frames come as their luma
 * planes and five numbers each: format, width, height, offset of the first row, row stride.
 * Functions return a result code of kelvane.h.
 */
final class Native {
    static final int INVALID_PARAM = 2;
    static final int NO_MEMORY = 4;
    static final int NUMBERS_PER_FRAME = 5;
    static final int NUMBERS_PER_FACE = 7;
    static final int NUMBERS_PER_OBJECT = 5;

    static {
        System.loadLibrary("kelvane_jni");
    }

    private Native() {}

    static native String version();

    /** The handle of an arena, or 0 when the buffer is too small for one. */
    static native long createArena(ByteBuffer arena, int offset, int size);

    /** An engine, or 0 when there is no memory for it. */
    static native long createEngine(long memory);

    static native void releaseEngine(long engine);

    static native int blurScore(long engine, ByteBuffer[] luma, int[] frame, int[] score);

    /**
     * @param faces seven numbers each: left, top, right, bottom, code, eyes, smile; one frame's
     *     faces after the other's
     * @param masks null for a burst without moving objects
     * @param maskSize width, height, row stride
     * @param objects five numbers each: left, top, right, bottom, offset of the mask
     * @param chosen receives the best frame, then the kept ones
     */
    static native int pick(long memory, ByteBuffer[] luma, int[] frames, int[] faceCounts,
            int[] faces, ByteBuffer[] masks, int[] maskSize, int[] objects, int[] chosen);

    static native int align(long memory, ByteBuffer[] luma, int[] frames, int[] shift);

    /** @param numbers receives left, top, right, bottom, dx, dy */
    static native int changedRegion(
            long memory, ByteBuffer[] luma, int[] frames, int[] numbers, float[] ratio);
}
