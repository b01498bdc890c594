"""What goes into and comes out of the functions of `kelvane`."""
from __future__ import annotations

from dataclasses import dataclass, field
from typing import TYPE_CHECKING, Any, Optional, Sequence, Tuple, Union

import numpy as np

if TYPE_CHECKING:  # takes longer to import than all of this package
    import numpy.typing as npt
    Bits = npt.NDArray[np.bool_]
    Bytes = npt.NDArray[np.uint8]
else:
    Bits = Bytes = np.ndarray
#: Left, top, right and bottom in pixels; right and bottom are exclusive.
Rect = Tuple[int, int, int, int]
#: What any object with pixels is to this package: see `help(kelvane)`.
ImageLike = Any


@dataclass(frozen=True)
class Shift:
    """How the second of two pictures lies against the first.

    Attributes
    ----------
    dx, dy : int
        In pixels: pixel p of the second picture shows what pixel p + (dx, dy) of the first shows.
    """

    dx: int
    dy: int


@dataclass(frozen=True)
class Alignment(Shift):
    """A shift, and how well it explains what differs: what the command `kelvane align` says.

    Attributes
    ----------
    dx, dy : int
        As in `Shift`.
    turn : float
        Of the second picture's scene against the first's, in degrees clockwise; 0 unless it fits.
    scale : float
        Its size by that of the first's; 1 unless it fits.
    correlation, correlation_unshifted : float
        Of the edges where the pictures overlap, with and without the shift: 1 for equal pictures,
        about 0 for unrelated ones.
    at_limit : bool
        Whether the shift is half the picture or more, where the search ends.
    fits : bool
        Whether the pictures show one scene, shifted.
    """

    turn: float
    scale: float
    correlation: float
    correlation_unshifted: float
    at_limit: bool
    fits: bool


@dataclass(frozen=True)
class Changes:
    """Where the second of two pictures differs from the first.

    Attributes
    ----------
    box : tuple of int, or None
        Left, top, right and bottom of the changed pixels, in the second picture's pixels; right and
        bottom are exclusive. None when nothing changed.
    share : float
        Changed pixels in the box over all pixels, 0 to 1.
    shift : Shift
        Of the second picture against the first; an `Alignment` when the search was thorough.
    mask : ndarray of uint8, or None
        255 where the second picture differs and 0 elsewhere, of its (height, width). None when it
        was not asked for.
    """

    box: Optional[Rect]
    share: float
    shift: Shift
    mask: Optional[Bytes] = field(default=None, repr=False, compare=False)


@dataclass(frozen=True)
class Face:
    """A face in a frame, for `pick`.

    Attributes
    ----------
    rect : tuple of int
        Left, top, right and bottom in pixels, inside the frame; right and bottom are exclusive.
    code : int
        0 to 16; frames with faces of 13 to 16 lose points.
    smile : int, optional
        0 for no smile, 30 for a smile, 80 for a broad one; None when it is not known.
    eyes_open : bool, optional
        None when it is not known.
    """

    rect: Rect
    code: int = 0
    smile: Optional[int] = None
    eyes_open: Optional[bool] = None


@dataclass(frozen=True)
class MovingObject:
    """What moves in a frame, for `pick`.

    Attributes
    ----------
    rect : tuple of int
        Left, top, right and bottom in pixels; right and bottom are exclusive. An object less than
        11 pixels wide or high takes no part.
    mask : array_like of uint8
        Of the frame's (height, width); nonzero where the object is.
    """

    rect: Rect
    mask: ImageLike = field(repr=False)


@dataclass(frozen=True)
class Terms:
    """What the place of a frame in its burst follows from.

    All but the first four are points; their sum, truncated, is `total`. The frame with the highest
    total is the best. Terms compare frames of one call and mean nothing beyond it.

    Attributes
    ----------
    score : int
        Blur score of the frame, 0 (flat) to 5,099,999.
    share : int
        The score as a share of the largest of the burst, 0 to 9999.
    object_score, object_share : int
        The same for the moving object, or for the frame where there is none.
    sharpness, object_sharpness : int
        0.8 * `share` and 1.2 * `object_share`, truncated.
    faces, eyes, smiles, codes : int
        For the frame's faces, when there are enough in the burst.
    area : int
        For the size of the moving object.
    border : float
        0 or less, for a moving object near the border.
    constant : int
        10000.
    total : int
        The sum, truncated.
    """

    score: int
    share: int
    object_score: int
    object_share: int
    sharpness: int
    object_sharpness: int
    faces: int
    eyes: int
    smiles: int
    codes: int
    area: int
    border: float
    constant: int
    total: int


@dataclass(frozen=True)
class Pick:
    """The ranking of a burst.

    Attributes
    ----------
    best : int
        Index of the best frame.
    kept : tuple of int
        Indices of the frames to keep, ascending; the best one is among them.
    terms : tuple of Terms
        Of every frame.
    """

    best: int
    kept: Tuple[int, ...]
    terms: Tuple[Terms, ...] = field(repr=False)

    @property
    def scores(self) -> Tuple[int, ...]:
        """The blur score of every frame."""
        return tuple(term.score for term in self.terms)


@dataclass(frozen=True)
class Skipped:
    """A file or frame that was left out.

    Attributes
    ----------
    name : str
        What it is called in a list.
    reason : str
        Why it was left out.
    """

    name: str
    reason: str


@dataclass(frozen=True)
class Frame:
    """A picture as cameras give it: planes of luma and chroma.

    Made by `Frame.yuv420` or `Frame.nv21`. All measurements look at the luma only.

    Attributes
    ----------
    format : int
        The library's code of the layout.
    planes : tuple of ndarray of uint8
        Luma of (height, width), then the chroma.
    """

    format: int
    planes: Tuple[Bytes, ...] = field(repr=False)

    @property
    def size(self) -> Tuple[int, int]:
        """Width and height in pixels."""
        return self.planes[0].shape[1], self.planes[0].shape[0]

    @staticmethod
    def yuv420(data: Any, size: Optional[Tuple[int, int]] = None) -> Frame:
        """A frame of planar 4:2:0: luma, then Cb and Cr of half the size (I420).

        Parameters
        ----------
        data : array_like of uint8, bytes, or a sequence of three planes
            One block of 3 / 2 * height rows, as OpenCV has it; any buffer of as many bytes, with
            `size`; or the planes (height, width) and twice (height / 2, width / 2). Not copied.
        size : tuple of int, optional
            Width and height in pixels, both even; needed unless the shape tells.

        Raises
        ------
        ValueError
            When planes, bytes and size do not fit together.
        TypeError
            When the samples are not of uint8.
        """
        if isinstance(data, (tuple, list)):
            return _frame_of_planes(0x601, data, 3)
        block, width, height = _block(data, size)
        half = width * height // 4
        chroma = block[width * height:]
        sides = height // 2, width // 2
        return Frame(0x601, (block[:width * height].reshape(height, width),
                             chroma[:half].reshape(sides), chroma[half:].reshape(sides)))

    @staticmethod
    def nv21(data: Any, size: Optional[Tuple[int, int]] = None) -> Frame:
        """A frame of semi-planar 4:2:0: luma, then rows of Cr and Cb in turn.

        Parameters
        ----------
        data : array_like of uint8, bytes, or a sequence of two planes
            As for `yuv420`; the second plane is (height / 2, width / 2, 2), or of as many bytes a
            row as the first.
        size : tuple of int, optional
            Width and height in pixels, both even; needed unless the shape tells.

        Raises
        ------
        ValueError
            When planes, bytes and size do not fit together.
        TypeError
            When the samples are not of uint8.
        """
        if isinstance(data, (tuple, list)):
            return _frame_of_planes(0x802, data, 2)
        block, width, height = _block(data, size)
        return Frame(0x802, (block[:width * height].reshape(height, width),
                             block[width * height:].reshape(height // 2, width // 2, 2)))


def _samples(data: Any, name: str) -> Bytes:
    array = np.frombuffer(data, np.uint8) if isinstance(data, (bytes, bytearray)) \
        else np.asarray(data)
    if array.dtype != np.uint8:
        raise TypeError(f"{name}: an array of uint8 is needed, not of {array.dtype}")
    return array


def _check_even(size: Tuple[int, int]) -> Tuple[int, int]:
    width, height = size
    if width < 2 or height < 2 or width % 2 or height % 2:
        raise ValueError(f"size: both sides must be even and at least 2, not {width} x {height}")
    return width, height


def _block(data: Any, size: Optional[Tuple[int, int]]) -> Tuple[Bytes, int, int]:
    """All samples in one row, with width and height."""
    block = _samples(data, "data")
    if size is None:
        if block.ndim != 2 or block.shape[0] % 3:
            raise ValueError("data: without a size its shape must be (3 / 2 * height, width), "
                             f"not {block.shape}")
        size = block.shape[1], block.shape[0] // 3 * 2
    width, height = _check_even(size)
    if block.size != width * height * 3 // 2:
        raise ValueError(f"data: {width} x {height} pixels take {width * height * 3 // 2} bytes, "
                         f"not {block.size}")
    return block.reshape(-1), width, height


def _frame_of_planes(code: int, data: Sequence[Any], count: int) -> Frame:
    if len(data) != count:
        raise ValueError(f"data: {len(data)} planes, where {count} are needed")
    planes = [_samples(plane, f"data[{i}]") for i, plane in enumerate(data)]
    if planes[0].ndim != 2:
        raise ValueError(f"data[0]: its shape must be (height, width), not {planes[0].shape}")
    width, height = _check_even((planes[0].shape[1], planes[0].shape[0]))
    half: Tuple[int, ...] = (height // 2, width // 2)
    if code == 0x802:
        half += (2,)
        if planes[1].shape == (height // 2, width):
            planes[1] = planes[1].reshape(half)
    for i, plane in enumerate(planes[1:], 1):
        if plane.shape != half:
            raise ValueError(f"data[{i}]: its shape must be {half}, not {plane.shape}")
    _equal_pitches(planes)
    return Frame(code, tuple(planes))


def _equal_pitches(planes: list[Bytes]) -> None:
    """The library walks over both chroma planes of 4:2:0 with one pitch."""
    if len(planes) == 3 and planes[1].strides != planes[2].strides:
        planes[1:] = [np.ascontiguousarray(plane) for plane in planes[1:]]


Faces = Sequence[Sequence[Union[Face, Rect]]]
