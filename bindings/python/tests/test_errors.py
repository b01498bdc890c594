"""Refusals name the argument and the reason; nothing leaks, and threads do not disturb each other."""
import os
import resource
import threading

import kelvane
import numpy as np
import pytest
from arrays import picture

RNG = np.random.default_rng(1)
IMAGE = picture(RNG, 120, 160)
COLOUR = picture(RNG, 120, 160, 3)
OTHER = picture(RNG, 100, 160)
FACE = kelvane.Face((0, 0, 20, 20))
MASK = np.ones((120, 160), np.uint8)

REFUSALS = [
    (lambda: kelvane.blur(IMAGE.astype(float)), TypeError, "image: an array of uint8 .* float64"),
    (lambda: kelvane.blur("photo.jpg"), TypeError, "image: an array of uint8"),
    (lambda: kelvane.blur(None), TypeError, "image: "),
    (lambda: kelvane.blur(IMAGE[0]), ValueError, "image: its shape"),
    (lambda: kelvane.blur(IMAGE[:0]), ValueError, "image: 160 x 0 pixels"),
    (lambda: kelvane.blur(IMAGE[:1]), ValueError, "image: smaller than 2 x 2"),
    (lambda: kelvane.blur(np.zeros((9, 9, 4), np.uint8)), ValueError, "image: its shape"),
    (lambda: kelvane.blur(np.zeros((9, 9, 2), np.uint8)), ValueError, "image: its shape"),
    (lambda: kelvane.blur(COLOUR, channels="hsv"), ValueError, "channels: must be 'bgr' or 'rgb'"),
    (lambda: kelvane.blur(IMAGE, (0, 0, 161, 10)), ValueError, "region: .* leaves the picture"),
    (lambda: kelvane.blur(IMAGE, (5, 5, 5, 9)), ValueError, "region: .* is empty"),
    (lambda: kelvane.blur(IMAGE, (5, 5)), TypeError, "region: must be"),
    (lambda: kelvane.blur(IMAGE, (0, 0, 2**40, 5)), ValueError, "region: .* out of range"),
    (lambda: kelvane.box_blur(IMAGE, -1), ValueError, "radius: below 0"),
    (lambda: kelvane.box_blur(IMAGE, (1, 0, 1, 0)), ValueError, "radius: a window of one row"),
    (lambda: kelvane.box_blur(np.zeros((3000, 3000), np.uint8), 2000), ValueError,
     "radius: the window has more than 8388608"),
    (lambda: kelvane.box_blur(IMAGE, 1.5), TypeError, "radius: must be an integer"),
    (lambda: kelvane.gaussian_blur(IMAGE, 161), ValueError, "size: 161 does not fit"),
    (lambda: kelvane.gaussian_blur(IMAGE, 0), ValueError, "size: 0 is not 1 to 2895"),
    (lambda: kelvane.erode(IMAGE, 0), ValueError, "radius: 0 is not 1 to 1000"),
    (lambda: kelvane.threshold_bitmap(IMAGE, 256), ValueError, "threshold: 256"),
    (lambda: kelvane.resize(IMAGE, (0, 5)), ValueError, "size: 0 x 5 pixels"),
    (lambda: kelvane.resize(IMAGE, 5), TypeError, "size: must be"),
    (lambda: kelvane.to_bgr(IMAGE), TypeError, "yuv: must be a Frame"),
    (lambda: kelvane.Frame.yuv420(IMAGE, (160, 120)), ValueError, "data: .* take 28800 bytes"),
    (lambda: kelvane.Frame.nv21(IMAGE[:100]), ValueError, "data: without a size"),
    (lambda: kelvane.Frame.yuv420(b"123456", (3, 2)), ValueError, "size: both sides must be even"),
    (lambda: kelvane.Frame.yuv420([IMAGE, IMAGE, IMAGE]), ValueError, r"data\[1\]: its shape"),
    (lambda: kelvane.pick([]), ValueError, "frames: is empty"),
    (lambda: kelvane.pick(5), TypeError, "frames: "),
    (lambda: kelvane.pick([IMAGE], 0), ValueError, "keep: 0 is below 1"),
    (lambda: kelvane.pick([IMAGE, OTHER]), ValueError, r"frames\[1\]: 160 x 100 pixels"),
    (lambda: kelvane.pick([IMAGE, 7]), TypeError, r"frames\[1\]: "),
    (lambda: kelvane.pick([IMAGE], 1, []), ValueError, "faces: describes 0 frames"),
    (lambda: kelvane.pick([IMAGE], 1, [[(0, 0, 161, 9)]]), ValueError, r"faces: frames\[0\].faces"),
    (lambda: kelvane.pick([IMAGE], 1, [[(9, 9, 9, 9)]]), ValueError, r"faces\[0\]\[0\].rect"),
    (lambda: kelvane.pick([IMAGE], 1, [[FACE] * 11]), ValueError, r"faces\[0\]: 11 faces"),
    (lambda: kelvane.pick([IMAGE], 1, [[kelvane.Face(FACE.rect, 17)]]), ValueError, "code: 17"),
    (lambda: kelvane.pick([IMAGE], 1, [[kelvane.Face(FACE.rect, 0, 5)]]), ValueError, "smile"),
    (lambda: kelvane.pick([IMAGE], 1, None, [None, None]), ValueError, "moving: 2 objects"),
    (lambda: kelvane.pick([IMAGE], 1, None, [3]), TypeError, r"moving\[0\]: must be"),
    (lambda: kelvane.pick([IMAGE], 1, None, [kelvane.MovingObject(FACE.rect, OTHER)]), ValueError,
     r"moving\[0\].mask: 160 x 100"),
    (lambda: kelvane.align(IMAGE, OTHER), ValueError, "b: 160 x 100 pixels"),
    (lambda: kelvane.changes(IMAGE[:90], IMAGE[:90]), ValueError, "a: 160 x 90 pixels"),
    (lambda: kelvane.Ranker(0), ValueError, "budget: 0"),
    (lambda: kelvane.Aligner(16), ValueError, "budget: 16"),
    (lambda: kelvane.Ranker(300).pick([IMAGE]), MemoryError, "budget: 300 bytes are too few"),
    (lambda: kelvane.Aligner(4000).align(IMAGE, IMAGE), MemoryError, "budget: 4000 bytes"),
    (lambda: kelvane.ChangeDetector(9000).changes(IMAGE, IMAGE), MemoryError, "budget: 9000"),
]


@pytest.mark.parametrize("case", range(len(REFUSALS)))
def test_refusals(case):
    call, error, message = REFUSALS[case]
    with pytest.raises(error, match=rf"^[a-z0-9\[\]_.]*{message}"):
        call()


def test_contexts_stay_usable():
    """After a failure, for another size, and within a budget that suffices."""
    aligner = kelvane.Aligner(60_000)
    large = np.tile(IMAGE, (8, 8))
    expected = kelvane.align(IMAGE, np.roll(IMAGE, 2))
    for _ in range(3):
        assert aligner.align(IMAGE, np.roll(IMAGE, 2)) == expected
        with pytest.raises(MemoryError):
            aligner.align(large, large)
    detector = kelvane.ChangeDetector(400_000)
    assert detector.changes(IMAGE, COLOUR) == kelvane.changes(IMAGE, COLOUR)
    assert detector.changes(OTHER, OTHER).box is None
    ranker = kelvane.Ranker(40_000)
    faces, moving = [[FACE]] * 2, [kelvane.MovingObject(FACE.rect, MASK)] * 2
    for _ in range(3):
        assert ranker.pick([IMAGE, COLOUR], 1, faces, moving) == \
            kelvane.pick([IMAGE, COLOUR], 1, faces, moving)
    assert ranker.pick(ranker.pick([frame]) and frame for frame in (IMAGE, COLOUR)).best == \
        kelvane.pick([IMAGE, COLOUR]).best


def every_function(aligner, detector, ranker):
    frame = kelvane.Frame.yuv420(np.vstack([IMAGE, IMAGE[:60]]))
    pick = ranker.pick([IMAGE, COLOUR, frame], 2, [[FACE], [], []],
                       [kelvane.MovingObject(FACE.rect, MASK)] * 3)
    arrays = [kelvane.box_blur(COLOUR, 2), kelvane.gaussian_blur(IMAGE, 5),
              kelvane.erode(IMAGE[:, ::2], 2), kelvane.dilate(COLOUR, 2), kelvane.open(IMAGE, 1),
              kelvane.close(IMAGE, 1), kelvane.resize(COLOUR, (50, 40)), kelvane.to_bgr(frame),
              kelvane.threshold_bitmap(COLOUR)]
    found = detector.changes(IMAGE, COLOUR)
    return (pick, aligner.align(IMAGE, COLOUR), found, found.mask.tobytes(),
            kelvane.blur(COLOUR, FACE.rect), [array.tobytes() for array in arrays])


def test_threads_get_the_same_results():
    contexts = kelvane.Aligner(), kelvane.ChangeDetector(), kelvane.Ranker()
    expected, wrong = every_function(*contexts), []

    def work():
        for _ in range(25):
            if every_function(*contexts) != expected:
                wrong.append(1)

    threads = [threading.Thread(target=work) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not wrong


def test_other_threads_run_meanwhile():
    large, seen, done = np.tile(IMAGE, (16, 16)), [], threading.Event()

    def count():
        while not done.is_set():
            seen.append(1)

    thread = threading.Thread(target=count)
    thread.start()
    before = len(seen)
    for _ in range(5):
        kelvane.gaussian_blur(large, 9)
    after = len(seen)
    done.set()
    thread.join()
    assert after > before


def used_memory():
    with open("/proc/self/statm") as file:
        return int(file.read().split()[1]) * resource.getpagesize()


@pytest.mark.skipif("LD_PRELOAD" in os.environ, reason="sanitizers keep freed memory")
def test_nothing_leaks():
    """Over 10^5 calls, a fifth of which fail."""
    small = IMAGE[:16, :24]
    contexts = kelvane.Aligner(), kelvane.ChangeDetector(), kelvane.Ranker()

    def calls(count):
        for _ in range(count // 1000):
            every_function(*contexts)
            for _ in range(99):
                kelvane.blur(small)
                kelvane.blur(COLOUR[:16, :24], (0, 0, 16, 16))
                kelvane.box_blur(small, 1)
                kelvane.erode(small[:, ::2], 1)
                kelvane.resize(small, (9, 9))
                kelvane.pick((small, small), 1, [[(0, 0, 9, 9)], []])
                kelvane.align(small, small)
                kelvane.threshold_bitmap(small)
                for case in (4, 14):
                    with pytest.raises((ValueError, TypeError)):
                        REFUSALS[case][0]()

    calls(5_000)
    before = used_memory()
    calls(100_000)
    assert used_memory() - before < 2 << 20
