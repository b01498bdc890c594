package org.kelvane;

import static org.junit.Assert.assertArrayEquals;
import static org.junit.Assert.assertEquals;
import static org.junit.Assert.assertNull;
import static org.junit.Assert.assertThrows;
import static org.junit.Assert.assertTrue;

import java.nio.ByteBuffer;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import java.util.Random;
import org.junit.Test;
import org.junit.function.ThrowingRunnable;

public class KelvaneTest {
    private static final int WIDTH = 320;
    private static final int HEIGHT = 240;
    private static final int STRIDE = 352; // rows with padding after them, as cameras give

    private static Frame frame(ByteBuffer luma) {
        return new Frame(WIDTH, HEIGHT, luma, STRIDE);
    }

    /** No byte after the last row: a read beyond it is a read beyond the buffer. */
    private static ByteBuffer buffer() {
        return ByteBuffer.allocateDirect(STRIDE * (HEIGHT - 1) + WIDTH);
    }

    /** Blobs of 8 x 8 pixels with `contrast`, shifted by (dx, dy). */
    private static ByteBuffer scene(int contrast, int dx, int dy) {
        byte[][] blobs = new byte[HEIGHT / 4][WIDTH / 4];
        Random random = new Random(1);
        for (byte[] row : blobs)
            random.nextBytes(row);
        ByteBuffer luma = buffer();
        for (int y = 0; y < HEIGHT; ++y) {
            for (int x = 0; x < WIDTH; ++x) {
                byte blob = blobs[(y + 64 + dy) / 8][(x + 64 + dx) / 8];
                luma.put(y * STRIDE + x, (byte) (128 + (blob > 0 ? contrast : -contrast)));
            }
        }
        return luma;
    }

    private static void fill(ByteBuffer luma, int left, int top, int right, int bottom, int value) {
        for (int y = top; y < bottom; ++y) {
            for (int x = left; x < right; ++x)
                luma.put(y * STRIDE + x, (byte) value);
        }
    }

    private static List<Frame> burst(int... contrasts) {
        Frame[] frames = new Frame[contrasts.length];
        for (int i = 0; i < frames.length; ++i)
            frames[i] = frame(scene(contrasts[i], 0, 0));
        return Arrays.asList(frames);
    }

    private static <T extends Throwable> void assertRefused(
            Class<T> expected, String argument, ThrowingRunnable call) {
        String message = assertThrows(expected, call).getMessage();
        assertTrue(message + " does not name " + argument, message.startsWith(argument + ": "));
    }

    private static void assertRefused(String argument, ThrowingRunnable call) {
        assertRefused(IllegalArgumentException.class, argument, call);
    }

    @Test
    public void blurScoreIsThatOfThePixelsAndNotOfThePadding() {
        ByteBuffer padded = scene(50, 0, 0);
        ByteBuffer tight = ByteBuffer.allocateDirect(WIDTH * HEIGHT);
        for (int y = 0; y < HEIGHT; ++y) {
            for (int x = 0; x < STRIDE && y * STRIDE + x < padded.capacity(); ++x) {
                if (x < WIDTH)
                    tight.put(y * WIDTH + x, padded.get(y * STRIDE + x));
                else
                    padded.put(y * STRIDE + x, (byte) (x * y));
            }
        }
        try (Kelvane engine = new Kelvane()) {
            int score = engine.blurScore(new Frame(WIDTH, HEIGHT, tight, WIDTH));
            assertTrue("score " + score, score > 100000);
            for (Frame.Format format : Frame.Format.values()) {
                Frame same = new Frame(format, WIDTH, HEIGHT, padded.asReadOnlyBuffer(), STRIDE);
                assertEquals(score, engine.blurScore(same));
            }
            assertEquals(0, engine.blurScore(frame(buffer())));
        }
    }

    @Test
    public void framesStartAtThePositionOfTheirBuffer() {
        ByteBuffer scene = scene(50, 0, 0);
        ByteBuffer moved = ByteBuffer.allocateDirect(1000 + scene.capacity());
        moved.position(600);
        ByteBuffer slice = moved.slice();
        slice.position(400);
        slice.duplicate().put(scene.duplicate());
        try (Kelvane engine = new Kelvane()) {
            Frame frame = frame(slice);
            slice.position(0); // what the caller does afterwards does not count
            assertEquals(engine.blurScore(frame(scene)), engine.blurScore(frame));
        }
    }

    @Test
    public void theSharpestFrameIsBestAndFacesAndMovingObjectsCount() {
        List<Frame> burst = burst(40, 60, 50, 30, 20, 10);
        try (Kelvane engine = new Kelvane()) {
            Pick pick = engine.pick(burst, 3);
            assertEquals(1, pick.best);
            assertArrayEquals(new int[] {1, 2, 4}, pick.kept());
            assertArrayEquals(new int[] {0, 1, 2, 3, 4, 5}, engine.pick(burst, 100).kept());

            Rect rect = new Rect(100, 100, 150, 160);
            Face open = new Face(rect);
            Face closed = new Face(rect, 0, Face.Eyes.CLOSED, Face.Smile.BROAD);
            List<Face> one = Collections.singletonList(open);
            List<List<Face>> faces = Arrays.asList(
                    one, Arrays.asList(open, closed), one, one, Collections.<Face>emptyList(), one);
            assertEquals(2, engine.pick(burst, faces, null, 1).best);

            // Masks of half the frame's size: only in the third frame is the object large.
            ByteBuffer mask = ByteBuffer.allocateDirect(WIDTH / 2 * HEIGHT / 2);
            MovingObjects moving = new MovingObjects(WIDTH / 2, HEIGHT / 2, WIDTH / 2);
            for (int i = 0; i < 6; ++i) {
                if (i == 5) {
                    moving.addNone();
                    continue;
                }
                ByteBuffer ofFrame = ByteBuffer.allocateDirect(mask.capacity());
                for (int k = 0; k < (i == 2 ? 6400 : 1000); ++k)
                    ofFrame.put(k + WIDTH / 2 * 20, (byte) 1);
                moving.add(new Rect(20, 20, 140, 80), ofFrame);
            }
            assertEquals(2, engine.pick(burst, null, moving, 1).best);
            assertEquals(1, engine.pick(burst, 1).best); // and not for the next burst
        }
    }

    @Test
    public void alignmentAndChangedRegion() {
        ByteBuffer changed = scene(60, 5, -3);
        fill(changed, 120, 80, 180, 140, 255);
        Frame first = frame(scene(60, 0, 0));
        try (Kelvane engine = new Kelvane()) {
            Shift shift = engine.align(first, frame(scene(60, 5, -3)));
            assertArrayEquals(new int[] {5, -3}, new int[] {shift.dx, shift.dy});
            ChangedRegion region = engine.changedRegion(first, frame(changed));
            assertArrayEquals(new int[] {5, -3}, new int[] {region.shift.dx, region.shift.dy});
            Rect rect = region.rect;
            assertTrue(rect.toString(), rect.left >= 110 && rect.right <= 190
                    && rect.width() >= 50 && rect.top >= 70 && rect.bottom <= 150);
            assertTrue(region.ratio > 0 && region.ratio < 0.1f);
            assertNull(engine.changedRegion(first, first).rect);
        }
    }

    @Test
    public void badArgumentsAreRefusedByName() {
        final ByteBuffer luma = buffer();
        final ByteBuffer cut = (ByteBuffer) luma.duplicate().limit(luma.capacity() - 1);
        final ByteBuffer late = (ByteBuffer) luma.duplicate().position(1);
        assertRefused("luma", () -> frame(cut));
        assertRefused("luma", () -> frame(late));
        assertRefused("luma", () -> frame(ByteBuffer.allocate(STRIDE * HEIGHT)));
        assertRefused("luma", () -> new Frame(2, 1 << 30, luma, 1 << 30)); // 2^60 bytes
        assertRefused("rowStride", () -> new Frame(WIDTH, HEIGHT, luma, WIDTH - 1));
        assertRefused("rowStride", () -> new Frame(WIDTH, HEIGHT, luma, -STRIDE));
        assertRefused("width", () -> new Frame(0, HEIGHT, luma, STRIDE));
        assertRefused("height", () -> new Frame(WIDTH, -1, luma, STRIDE));
        assertRefused(NullPointerException.class, "luma", () -> frame(null));
        assertRefused(NullPointerException.class, "rect", () -> new Face(null));
        Rect rect = new Rect(0, 0, 9, 9);
        assertRefused("code", () -> new Face(rect, 17, Face.Eyes.OPEN, Face.Smile.NONE));
        MovingObjects moving = new MovingObjects(64, 64, 64);
        assertRefused("rect", () -> moving.add(new Rect(0, 0, 65, 9), luma));
        assertRefused("mask", () -> moving.add(rect, ByteBuffer.allocateDirect(64 * 64 - 1)));

        final Frame good = frame(luma);
        final Frame narrow = new Frame(WIDTH - 2, HEIGHT, luma, STRIDE);
        final Frame odd = new Frame(WIDTH - 1, HEIGHT, luma, STRIDE);
        final Frame flat = new Frame(WIDTH, 98, luma, STRIDE);
        final Face outside = new Face(new Rect(300, 0, 321, 9));
        try (Kelvane engine = new Kelvane()) {
            assertRefused("frame", () -> engine.blurScore(odd));
            assertRefused("frames", () -> engine.pick(Collections.<Frame>emptyList(), 1));
            assertRefused("frames[1]", () -> engine.pick(Arrays.asList(good, narrow), 1));
            assertRefused("frames[0]", () -> engine.pick(Arrays.asList(odd, odd), 1));
            assertRefused("keep", () -> engine.pick(Arrays.asList(good), 0));
            assertRefused("moving", () -> engine.pick(Arrays.asList(good), null, moving, 1));
            assertRefused("faces", () -> engine.pick(Arrays.asList(good),
                    Collections.<List<Face>>emptyList(), null, 1));
            assertRefused("faces[0][0]", () -> engine.pick(Arrays.asList(good),
                    Arrays.asList(Arrays.asList(outside)), null, 1));
            assertRefused(NullPointerException.class, "frames[1]",
                    () -> engine.pick(Arrays.asList(good, null), 1));
            assertRefused("second", () -> engine.align(good, narrow));
            assertRefused("first", () -> engine.changedRegion(flat, flat));
        }
    }

    @Test
    public void anArenaIsAllTheMemoryThereIs() {
        assertRefused("arena", () -> new Kelvane(ByteBuffer.allocateDirect(16)));
        assertRefused("arena", () -> new Kelvane(ByteBuffer.allocate(100000)));
        assertRefused("arena",
                () -> new Kelvane(ByteBuffer.allocateDirect(100000).asReadOnlyBuffer()));
        List<Frame> burst = burst(40, 60, 50);
        try (Kelvane engine = new Kelvane(ByteBuffer.allocateDirect(500))) {
            assertRefused(NotEnoughMemoryException.class, "arena", () -> engine.pick(burst, 1));
            assertRefused(NotEnoughMemoryException.class, "arena",
                    () -> engine.changedRegion(burst.get(0), burst.get(1)));
            assertTrue(engine.blurScore(burst.get(0)) > 0);
        }
        // Whatever a call took comes back, on failure too: otherwise the arena would run out.
        try (Kelvane engine = new Kelvane(ByteBuffer.allocateDirect(12000))) {
            for (int i = 0; i < 500; ++i) {
                assertEquals(1, engine.pick(burst, 1).best);
                assertThrows(NotEnoughMemoryException.class,
                        () -> engine.changedRegion(burst.get(0), burst.get(1)));
            }
        }
    }

    @Test
    public void nothingWorksAfterClose() {
        Kelvane engine = new Kelvane();
        engine.close();
        engine.close();
        List<Frame> burst = burst(40, 60);
        for (ThrowingRunnable call : Arrays.<ThrowingRunnable>asList(
                     () -> engine.blurScore(burst.get(0)), () -> engine.pick(burst, 1),
                     () -> engine.align(burst.get(0), burst.get(1)),
                     () -> engine.changedRegion(burst.get(0), burst.get(1))))
            assertThrows(IllegalStateException.class, call);
    }

    /** The Java heap has a fixed size here, so that what grows is native memory. */
    @Test
    public void enginesAndBurstsDoNotLeak() throws Exception {
        Frame tiny = new Frame(16, 16, ByteBuffer.allocateDirect(256), 16);
        List<Frame> burst = Collections.nCopies(3000, tiny);
        long before = 0;
        for (int i = 0; i < 200; ++i) {
            if (i == 50)
                before = residentPages();
            for (int j = 0; j < 1000; ++j)
                new Kelvane().close();
            try (Kelvane engine = new Kelvane()) {
                engine.pick(burst, 1);
            }
        }
        long grown = residentPages() - before;
        assertTrue("grown by " + grown + " pages", grown < 4000);
    }

    private static long residentPages() throws Exception {
        byte[] text = java.nio.file.Files.readAllBytes(java.nio.file.Paths.get("/proc/self/statm"));
        return Long.parseLong(new String(text).split(" ")[1]);
    }
}
