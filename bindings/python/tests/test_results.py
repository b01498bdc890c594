"""Every function against the library called directly, and against its definition in NumPy."""
import kelvane
import library
import numpy as np
import pytest
from arrays import LAYOUTS, laid_out, picture

SEEDS = range(200)


def random_size(rng, smallest=2, largest=150):
    return (int(side) for side in rng.integers(smallest, largest, 2))


def grey(colour):
    """Of blue, green, red."""
    weights = np.array([3735, 19235, 9798])
    return ((colour @ weights + (1 << 14)) >> 15).astype(np.uint8)


def window(array, left, top, right, bottom, reduce, outside):
    """Reduces what lies under a rectangle around each pixel."""
    height, width = array.shape
    padded = np.pad(array.astype(int), ((top, bottom), (left, right)), constant_values=outside)
    parts = [padded[y:y + height, x:x + width]
             for y in range(top + bottom + 1) for x in range(left + right + 1)]
    return reduce(np.stack(parts), axis=0)


@pytest.mark.parametrize("seed", SEEDS)
def test_blur(seed):
    rng = np.random.default_rng(seed)
    height, width = random_size(rng)
    luma, colour = picture(rng, height, width), picture(rng, height, width, 3)
    left, top = int(rng.integers(0, width)), int(rng.integers(0, height))
    region = (left, top, int(rng.integers(left, width)) + 1, int(rng.integers(top, height)) + 1)
    assert kelvane.blur(laid_out(rng, luma)) == library.score(luma)
    assert kelvane.blur(laid_out(rng, colour)) == library.score(grey(colour))
    assert kelvane.blur(colour[..., ::-1], channels="rgb") == library.score(grey(colour))
    even = width & ~1, height & ~1
    inside = tuple(min(a, b) for a, b in zip(region, (even[0] - 1, even[1] - 1, *even)))
    assert kelvane.blur(laid_out(rng, luma), region) == library.score(luma, inside)


@pytest.mark.parametrize("seed", SEEDS)
def test_filters(seed):
    rng = np.random.default_rng(seed)
    height, width = random_size(rng, 2, 60)
    channels = [(), (1,), (3,)][rng.integers(3)]
    array = rng.integers(0, 256, (height, width, *channels), np.uint8)
    radii = tuple(int(r) for r in rng.integers(0, 4, 4) + [1, 1, 0, 0])
    size, radius = int(rng.integers(1, width + 1)) // 2 * 2 - 1, int(rng.integers(1, 5))
    size = max(size, 1)
    assert np.array_equal(kelvane.box_blur(laid_out(rng, array), radii),
                          library.filtered("GB_BoxBlurA", array, *radii))
    assert np.array_equal(kelvane.gaussian_blur(laid_out(rng, array), size),
                          library.filtered("GB_GaussianBlurA", array, size))
    for ours, theirs in ((kelvane.erode, "sbrErode"), (kelvane.dilate, "sbrDilate"),
                         (kelvane.open, "sbrOpen"), (kelvane.close, "sbrClose")):
        result = ours(laid_out(rng, array), radius)
        assert np.array_equal(result, library.filtered(theirs, array, radius))
        assert result.flags.c_contiguous and result.shape == array.shape
    if channels == ():
        left, top, right, bottom = radii
        total = window(array, *radii, np.sum, 0)
        area = window(np.ones_like(array), *radii, np.sum, 0)
        assert np.array_equal(kelvane.box_blur(array, radii), total * (2**23 // area) >> 23)
        assert np.array_equal(kelvane.erode(array, radius),
                              window(array, radius, radius, radius, radius + 1, np.min, 255))


@pytest.mark.parametrize("seed", SEEDS)
def test_resizing(seed):
    rng = np.random.default_rng(seed)
    height, width = random_size(rng)
    size = tuple(random_size(rng, 1, 200))
    planar = rng.integers(0, 256, (height, width), np.uint8)
    pairs = rng.integers(0, 256, (height, width, 2), np.uint8)
    colour = rng.integers(0, 256, (height, width, 3), np.uint8)
    for array in (planar, pairs):
        assert np.array_equal(kelvane.resize(laid_out(rng, array), size),
                              library.resized(array, *size))
    assert np.array_equal(kelvane.resize(laid_out(rng, colour), size),
                          library.to_bgr(library.BGR24, [colour], *size))
    assert np.array_equal(kelvane.resize(colour, (width, height)), colour)

    width, height = max(2, width & ~1), max(2, height & ~1)
    block = rng.integers(0, 256, (height * 3 // 2, width), np.uint8)
    frame, nv21 = kelvane.Frame.yuv420(block), kelvane.Frame.nv21(block.tobytes(), (width, height))
    assert frame.size == nv21.size == (width, height)
    for made in (frame, nv21):
        assert np.array_equal(kelvane.to_bgr(made, size),
                              library.to_bgr(made.format, made.planes, *size))
        assert kelvane.blur(made) == library.score(block[:height])
    apart = kelvane.Frame.yuv420([laid_out(rng, plane) for plane in frame.planes])
    assert np.array_equal(kelvane.to_bgr(apart), kelvane.to_bgr(frame))


@pytest.mark.parametrize("seed", SEEDS)
def test_pick(seed):
    rng = np.random.default_rng(seed)
    height, width = random_size(rng, 24, 90)
    count, keep = int(rng.integers(1, 9)), int(rng.integers(1, 10))
    frames = [picture(rng, height, width) for _ in range(count)]
    even = width & ~1, height & ~1

    def rect():
        left, top = int(rng.integers(0, even[0] - 12)), int(rng.integers(0, even[1] - 12))
        return (left, top, int(rng.integers(left + 5, even[0])) + 1,
                int(rng.integers(top + 5, even[1])) + 1)

    faces = [[kelvane.Face(rect(), int(rng.integers(17)), [None, 0, 30, 80][rng.integers(4)],
                           [None, True, False][rng.integers(3)])
              for _ in range(rng.integers(3))] for _ in frames]
    known = [[(face.rect, face.code, {None: 0, True: 1, False: 2}[face.eyes_open],
               {None: 0, 0: 1, 30: 2, 80: 3}[face.smile]) for face in of_frame]
             for of_frame in faces]
    objects = [(rect(), (rng.random((height, width)) < 0.5).astype(np.uint8))
               if rng.random() < 0.8 else None for _ in frames]
    moving = [kelvane.MovingObject(*item) if item else None for item in objects]
    for ours, theirs in (((None, None), (None, None)), ((faces, None), (known, None)),
                         ((None, moving), (None, objects)), ((faces, moving), (known, objects))):
        pick = kelvane.pick([laid_out(rng, frame) for frame in frames], keep, *ours)
        assert (pick.best, pick.kept) == library.ranking(frames, keep, *theirs)
        totals = [term.total for term in pick.terms]
        assert pick.best == totals.index(max(totals))
        assert pick.scores == tuple(library.score(frame) for frame in frames)
    assert kelvane.pick(iter(frames), keep) == kelvane.pick(frames, keep)


@pytest.mark.parametrize("seed", SEEDS)
def test_pairs(seed):
    rng = np.random.default_rng(seed)
    height, width = random_size(rng, 100, 180)
    scene = picture(rng, height + 16, width + 16)
    dx, dy = (int(d) for d in rng.integers(-4, 5, 2))
    first = scene[8:-8, 8:-8]
    second = scene[8 + dy:8 + dy + height, 8 + dx:8 + dx + width].copy()
    left, top = int(rng.integers(0, width - 30)), int(rng.integers(0, height - 30))
    second[top:top + 24, left:left + 30] ^= 0xC0
    a, b = laid_out(rng, first), laid_out(rng, second)
    shift = kelvane.align(a, b)
    assert (shift.dx, shift.dy) == library.shift(first, second)
    found = kelvane.changes(a, b)
    box, share, moved = library.region(first, second)
    assert (found.box or (0, 0, 0, 0), found.share) == (box, share)
    assert (found.shift.dx, found.shift.dy) == moved
    changed = np.argwhere(found.mask)
    if found.box is None:
        assert len(changed) == 0
        return
    (top, left), (bottom, right) = changed.min(axis=0), changed.max(axis=0) + 1
    assert found.box == (left, top, right, bottom)
    assert found.share == np.float32(np.float32(len(changed)) / np.float32(width)) / \
        np.float32(height)
    assert set(np.unique(found.mask)) <= {0, 255}


def test_threshold_bitmap():
    rng = np.random.default_rng(5)
    for layout in LAYOUTS.values():
        array = picture(rng, 37, 71)
        bitmap = kelvane.threshold_bitmap(layout(array), 100)
        assert bitmap.dtype == bool and np.array_equal(bitmap, array > 100)
        share = kelvane.threshold_bitmap(array).mean()
        assert abs(share - 0.5) <= min(abs((array > t).mean() - 0.5) for t in range(256)) + 1e-9


def test_peers_agree():
    """Grey levels are OpenCV's, and images of Pillow say how their channels lie."""
    cv2, image = pytest.importorskip("cv2"), pytest.importorskip("PIL.Image")
    rng = np.random.default_rng(6)
    colour = picture(rng, 90, 120, 3)
    assert kelvane.blur(colour) == kelvane.blur(cv2.cvtColor(colour, cv2.COLOR_BGR2GRAY))
    pillow = image.fromarray(np.ascontiguousarray(colour[..., ::-1]))
    assert kelvane.blur(pillow) == kelvane.blur(colour)
    luma = image.fromarray(colour[..., 1])
    assert kelvane.blur(luma) == kelvane.blur(colour[..., 1])
    with pytest.raises(ValueError, match=r"^image: an image of mode CMYK"):
        kelvane.blur(pillow.convert("CMYK"))
