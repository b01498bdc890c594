"""What is found out about several pictures of one scene."""
from __future__ import annotations

from typing import Iterable, Literal, Optional, Sequence, overload

from . import _core
from .arguments import budget_of, face_numbers, integer, iterator, object_pairs
from .records import (Alignment, Changes, Faces, ImageLike, MovingObject, Pick, Shift, Terms)


class Ranker:
    """Ranks bursts, with memory for its work that is kept between calls.

    Threads may share it, and take turns.

    Parameters
    ----------
    budget : int, optional
        All the memory in bytes that the library may use for its work, without the pixels; the
        process heap by default.
    """

    def __init__(self, budget: Optional[int] = None) -> None:
        self._ranker = _core.Ranker(budget_of(budget))

    def pick(self, frames: Iterable[ImageLike], keep: int = 1, faces: Optional[Faces] = None,
             moving: Optional[Sequence[Optional[MovingObject]]] = None, *,
             channels: str = "bgr") -> Pick:
        """As `kelvane.pick`; MemoryError when the budget is exhausted."""
        best, kept, terms = self._ranker.rank(
            iterator(frames), integer(keep, "keep"), face_numbers(faces), object_pairs(moving),
            channels)
        return Pick(best, tuple(kept), tuple([Terms(*values) for values in terms]))


class Aligner:
    """Aligns pictures, with buffers that are kept as long as their size stays the same.

    Threads may share it, and take turns.

    Parameters
    ----------
    budget : int, optional
        All the memory in bytes that the library may use; the process heap by default.
    """

    def __init__(self, budget: Optional[int] = None) -> None:
        self._aligner = _core.Aligner(budget_of(budget))

    def align(self, a: ImageLike, b: ImageLike, *, channels: str = "bgr") -> Shift:
        """As `kelvane.align`; MemoryError when the budget is exhausted."""
        return Shift(*self._aligner.find(a, b, channels))


class ChangeDetector:
    """Compares pictures, with buffers that are kept as long as their size stays the same.

    Threads may share it, and take turns.

    Parameters
    ----------
    budget : int, optional
        All the memory in bytes that the library may use to find the box; the process heap by
        default. Masks are made on the process heap.
    """

    def __init__(self, budget: Optional[int] = None) -> None:
        self._detector = _core.ChangeDetector(budget_of(budget))

    def changes(self, a: ImageLike, b: ImageLike, *, mask: bool = True,
                channels: str = "bgr") -> Changes:
        """As `kelvane.changes`; MemoryError when the budget is exhausted."""
        box, share, shift, pixels = self._detector.find(a, b, channels, bool(mask))
        return Changes(box if any(box) else None, share, Shift(*shift), pixels)


def pick(frames: Iterable[ImageLike], keep: int = 1, faces: Optional[Faces] = None,
         moving: Optional[Sequence[Optional[MovingObject]]] = None, *,
         channels: str = "bgr") -> Pick:
    """Which frame of a burst is best, and which to keep.

    Parameters
    ----------
    frames : iterable of array_like of uint8, or of Frame
        Of one size. An iterator is read frame by frame, so that a long burst needs no memory for
        all of it (except with `moving`). An odd last column or row is left out.
    keep : int
        How many frames to keep, at least 1; all when there are fewer.
    faces : sequence, optional
        For each frame a sequence of up to 10 faces: `Face`, or just the rectangle.
    moving : sequence, optional
        For each frame a `MovingObject` or None. They count when more than half of the frames have
        one.
    channels : {'bgr', 'rgb'}
        Of colour arrays.

    Returns
    -------
    Pick
        The best frame, the kept ones, and the terms of every frame.

    Raises
    ------
    ValueError
        No frames, frames of several sizes, faces or objects that do not fit them.
    TypeError
        Samples that are not of uint8.
    MemoryError
        When there is no memory for the ranking.

    Examples
    --------
    >>> sharp = np.random.default_rng(1).integers(0, 256, (64, 64), np.uint8)
    >>> pick([kelvane.gaussian_blur(sharp, 9), sharp])
    Pick(best=1, kept=(1,))
    """
    return Ranker().pick(frames, keep, faces, moving, channels=channels)


@overload
def align(a: ImageLike, b: ImageLike, *, thorough: Literal[True], channels: str = "bgr"
          ) -> Alignment: ...


@overload
def align(a: ImageLike, b: ImageLike, *, thorough: bool = False, channels: str = "bgr"
          ) -> Shift: ...


def align(a: ImageLike, b: ImageLike, *, thorough: bool = False, channels: str = "bgr") -> Shift:
    """The shift between two pictures of one scene, also of different exposure.

    Parameters
    ----------
    a, b : array_like of uint8, or Frame
        The reference and another picture of its size.
    thorough : bool
        Search as the command `kelvane align` does: any shift of up to half the picture, judged by
        the correlation of edges. Takes many times as long.
    channels : {'bgr', 'rgb'}
        Of colour arrays.

    Returns
    -------
    Shift
        In pixels: pixel p of `b` shows what pixel p + (dx, dy) of `a` shows. Found by the library's
        threshold bitmaps, without a word on whether it explains the difference; an `Alignment`,
        which says that, when the search was thorough.

    Raises
    ------
    ValueError
        Pictures of different sizes.
    TypeError
        Samples that are not of uint8.
    MemoryError
        When there is no memory for the alignment.

    References
    ----------
    Ward (2003), Fast, robust image registration for compositing high dynamic range photographs.
    """
    if thorough:
        from . import _media
        return Alignment(*_media.compare(a, b, channels, False))
    return Aligner().align(a, b, channels=channels)


def changes(a: ImageLike, b: ImageLike, *, mask: bool = True, thorough: bool = False,
            channels: str = "bgr") -> Changes:
    """Where two pictures of one scene differ.

    The second is aligned to the first, the difference smoothed, cut into darker, unchanged and
    brighter, and cleaned by an opening and a closing.

    Parameters
    ----------
    a, b : array_like of uint8, or Frame
        Of one size, with a shorter side of at least 100 pixels.
    mask : bool
        Whether to make the mask too, which takes time.
    thorough : bool
        Align as the command `kelvane changes` does (see `align`), and make the mask in any case.
        The share is then that of all changed pixels.
    channels : {'bgr', 'rgb'}
        Of colour arrays.

    Returns
    -------
    Changes
        Box, share of changed pixels, shift and mask.

    Raises
    ------
    ValueError
        Pictures that are too small or of different sizes, or that are found shifted by their whole
        size.
    TypeError
        Samples that are not of uint8.
    MemoryError
        When there is no memory for the comparison.
    """
    if thorough:
        from . import _media
        box, share, alignment, pixels = _media.compare(a, b, channels, True)
        return Changes(box if any(box) else None, share, Alignment(*alignment), pixels)
    return ChangeDetector().changes(a, b, mask=mask, channels=channels)
