package org.kelvane;

import java.nio.ByteBuffer;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;

/**
 * The engine: close it after use. Its calls may come from any thread and are served one at a time.
 * Arguments that do not fit are refused with an {@link IllegalArgumentException} (or a
 * {@link NullPointerException}) that names the argument; after {@link #close()} every call throws
 * an {@link IllegalStateException}.
 */
public final class Kelvane implements AutoCloseable {
    private static final int SMALLEST_SIDE_FOR_CHANGES = 100;

    private final ByteBuffer arena; // keeps the memory behind the handle alive
    private final long memory;
    private long engine;

    /** An engine that takes memory from the process heap. */
    public Kelvane() {
        this(null, 0);
    }

    /**
     * An engine that takes all its memory from {@code arena}, from the position to the limit of a
     * direct buffer that nothing else uses until the engine is closed.
     */
    public Kelvane(ByteBuffer arena) {
        this(checkedArena(arena), createArena(arena));
    }

    private Kelvane(ByteBuffer arena, long memory) {
        this.arena = arena;
        this.memory = memory;
        engine = Native.createEngine(memory);
        if (engine == 0)
            throw notEnoughMemory("an engine");
    }

    private static ByteBuffer checkedArena(ByteBuffer arena) {
        Check.notNull(arena, "arena");
        Check.that(arena.isDirect(), "arena", "is not a direct buffer");
        Check.that(!arena.isReadOnly(), "arena", "is read-only");
        return arena.duplicate();
    }

    private static long createArena(ByteBuffer arena) {
        long memory = Native.createArena(arena, arena.position(), arena.remaining());
        Check.that(memory != 0, "arena", arena.remaining() + " bytes are too few");
        return memory;
    }

    /** The version of the native library. */
    public static String version() {
        return Native.version();
    }

    /** Releases the engine; a second call does nothing. */
    @Override
    public synchronized void close() {
        Native.releaseEngine(engine);
        engine = 0;
    }

    /** How sharp a frame is: 0 (flat) to 5,099,999. Compares frames of one scene and size. */
    public synchronized int blurScore(Frame frame) {
        checkOpen();
        Check.notNull(frame, "frame");
        checkEven(frame, "frame");
        int[] score = new int[1];
        int code = Native.blurScore(
                engine, planes(Arrays.asList(frame)), numbers(Arrays.asList(frame)), score);
        checkCode(code, "frame", "a blur score");
        return score[0];
    }

    /** Ranks a burst by sharpness; see the other {@code pick}. */
    public Pick pick(List<Frame> frames, int keep) {
        return pick(frames, null, null, keep);
    }

    /**
     * Ranks a burst: which frame is best, and which {@code keep} to keep (all when there are
     * fewer).
     *
     * @param frames of one size, with even sides
     * @param faces the faces of every frame, or null
     * @param moving the moving object of every frame, or null; it counts when more than half of
     *     the frames have one
     */
    public synchronized Pick pick(
            List<Frame> frames, List<List<Face>> faces, MovingObjects moving, int keep) {
        checkOpen();
        checkBurst(frames);
        Check.that(keep > 0, "keep", keep + " is below 1");
        int n = frames.size();
        List<List<Face>> facesOfFrames =
                faces != null ? faces : Collections.nCopies(n, Collections.<Face>emptyList());
        checkFaces(facesOfFrames, frames);
        Check.that(moving == null || moving.masks.size() == n, "moving",
                "has another number of objects than there are frames, " + n);

        int[] chosen = new int[1 + Math.min(keep, n)];
        boolean moves = moving != null;
        int code = Native.pick(memory, planes(frames), numbers(frames), counts(facesOfFrames),
                numbersOfFaces(facesOfFrames),
                moves ? moving.masks.toArray(new ByteBuffer[0]) : null,
                moves ? new int[] {moving.width, moving.height, moving.rowStride} : null,
                moves ? numbersOfObjects(moving) : null, chosen);
        checkCode(code, "moving", "a ranking of " + n + " frames");
        return new Pick(chosen[0], Arrays.copyOfRange(chosen, 1, chosen.length));
    }

    /** The translation of {@code second} against {@code first}. */
    public synchronized Shift align(Frame first, Frame second) {
        checkOpen();
        checkPair(first, second);
        List<Frame> frames = Arrays.asList(first, second);
        int[] shift = new int[2];
        int code = Native.align(memory, planes(frames), numbers(frames), shift);
        checkCode(code, "second", "an alignment");
        return new Shift(shift[0], shift[1]);
    }

    /** Where {@code second} differs from {@code first}; sides of 100 pixels or more. */
    public synchronized ChangedRegion changedRegion(Frame first, Frame second) {
        checkOpen();
        checkPair(first, second);
        Check.that(Math.min(first.width, first.height) >= SMALLEST_SIDE_FOR_CHANGES, "first",
                "its shorter side is below " + SMALLEST_SIDE_FOR_CHANGES);
        List<Frame> frames = Arrays.asList(first, second);
        int[] numbers = new int[6];
        float[] ratio = new float[1];
        int code = Native.changedRegion(memory, planes(frames), numbers(frames), numbers, ratio);
        checkCode(code, "second", "a changed region");
        Rect rect = new Rect(numbers[0], numbers[1], numbers[2], numbers[3]);
        return new ChangedRegion(rect.width() == 0 ? null : rect, ratio[0],
                new Shift(numbers[4], numbers[5]));
    }

    private void checkOpen() {
        if (engine == 0)
            throw new IllegalStateException("the engine is closed");
    }

    private static void checkEven(Frame frame, String argument) {
        boolean rowsCount = frame.format != Frame.Format.YUV_422;
        Check.that(frame.width % 2 == 0 && (!rowsCount || frame.height % 2 == 0), argument,
                "has an odd size, " + frame.width + " x " + frame.height);
    }

    private static void checkBurst(List<Frame> frames) {
        Check.notNull(frames, "frames");
        Check.that(!frames.isEmpty(), "frames", "is empty");
        for (int i = 0; i < frames.size(); ++i) {
            String name = "frames[" + i + "]";
            Frame frame = Check.notNull(frames.get(i), name);
            Check.that(frame.isLike(frames.get(0)), name, "differs from frames[0] in size");
            Check.that(frame.width % 2 == 0 && frame.height % 2 == 0, name,
                    "has an odd size, " + frame.width + " x " + frame.height);
        }
    }

    private static void checkFaces(List<List<Face>> faces, List<Frame> frames) {
        Check.that(faces.size() == frames.size(), "faces",
                faces.size() + " entries for " + frames.size() + " frames");
        Frame frame = frames.get(0);
        for (int i = 0; i < faces.size(); ++i) {
            List<Face> ofFrame = Check.notNull(faces.get(i), "faces[" + i + "]");
            for (int j = 0; j < ofFrame.size(); ++j) {
                String name = "faces[" + i + "][" + j + "]";
                Face face = Check.notNull(ofFrame.get(j), name);
                Check.that(face.rect.isInside(frame.width, frame.height), name,
                        face.rect + " is empty or leaves the frame");
            }
        }
    }

    private static void checkPair(Frame first, Frame second) {
        Check.notNull(first, "first");
        Check.notNull(second, "second");
        Check.that(second.isLike(first) && second.format == first.format, "second",
                "differs from first in size or format");
    }

    private void checkCode(int code, String argument, String purpose) {
        if (code == Native.NO_MEMORY)
            throw notEnoughMemory(purpose);
        if (code == Native.INVALID_PARAM)
            throw new IllegalArgumentException(argument + ": refused by the library");
    }

    private NotEnoughMemoryException notEnoughMemory(String purpose) {
        return new NotEnoughMemoryException(arena == null
                        ? "there is no memory for " + purpose
                        : "arena: " + arena.remaining() + " bytes are too few for " + purpose);
    }

    private static ByteBuffer[] planes(List<Frame> frames) {
        ByteBuffer[] planes = new ByteBuffer[frames.size()];
        for (int i = 0; i < planes.length; ++i)
            planes[i] = frames.get(i).luma;
        return planes;
    }

    private static int[] numbers(List<Frame> frames) {
        int[] numbers = new int[frames.size() * Native.NUMBERS_PER_FRAME];
        int k = 0;
        for (Frame frame : frames) {
            numbers[k++] = frame.format.code;
            numbers[k++] = frame.width;
            numbers[k++] = frame.height;
            numbers[k++] = frame.offset;
            numbers[k++] = frame.rowStride;
        }
        return numbers;
    }

    private static int[] counts(List<List<Face>> faces) {
        int[] counts = new int[faces.size()];
        for (int i = 0; i < counts.length; ++i)
            counts[i] = faces.get(i).size();
        return counts;
    }

    private static int[] numbersOfFaces(List<List<Face>> faces) {
        List<Face> all = new ArrayList<>();
        for (List<Face> ofFrame : faces)
            all.addAll(ofFrame);
        int[] numbers = new int[all.size() * Native.NUMBERS_PER_FACE];
        int k = 0;
        for (Face face : all) {
            k = put(numbers, k, face.rect);
            numbers[k++] = face.code;
            numbers[k++] = face.eyes.ordinal();
            numbers[k++] = face.smile.ordinal();
        }
        return numbers;
    }

    private static int[] numbersOfObjects(MovingObjects moving) {
        int[] numbers = new int[moving.rects.size() * Native.NUMBERS_PER_OBJECT];
        int k = 0;
        for (int i = 0; i < moving.rects.size(); ++i) {
            k = put(numbers, k, moving.rects.get(i));
            numbers[k++] = moving.offsets.get(i);
        }
        return numbers;
    }

    private static int put(int[] numbers, int k, Rect rect) {
        numbers[k] = rect.left;
        numbers[k + 1] = rect.top;
        numbers[k + 2] = rect.right;
        numbers[k + 3] = rect.bottom;
        return k + 4;
    }
}
