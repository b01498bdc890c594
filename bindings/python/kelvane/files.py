"""Files, decoded and measured by the code of the command `kelvane`.

The extension module for them is loaded when it is first needed: its libraries take long to load.
"""
from __future__ import annotations

import json
import os
from dataclasses import dataclass, field
from typing import Any, Dict, List, Optional, Sequence, Tuple, Union

from .arguments import integer, rect_of
from .records import Bytes, Rect, Skipped, Terms

StrPath = Union[str, "os.PathLike[str]"]


@dataclass(frozen=True)
class Picture:
    """A picture of a file, or a frame of a video, upright.

    It can be given to every function that takes a picture, and then stands for its luma.

    Attributes
    ----------
    path, name : str
        Its file, and what it is called in a list: the bare name when a folder was read.
    luma : ndarray of uint8
        Of (height, width).
    bgr : ndarray of uint8, or None
        Of (height, width, 3), when colour was asked for.
    number : int
        In a video the frame's number, from 0.
    seconds : float or None
        In a video the time from its start.
    orientation : int
        As the file has it, 1 to 8 as in Exif; the pixels are already turned.
    pixel_format : str
        What the file holds, as FFmpeg calls it.
    rendering : str
        How a picture was made of a camera's raw file; empty for all other files.
    """

    path: str
    name: str
    number: int
    seconds: Optional[float]
    orientation: int
    pixel_format: str
    rendering: str
    luma: Bytes = field(repr=False, compare=False)
    bgr: Optional[Bytes] = field(repr=False, compare=False)

    @property
    def size(self) -> Tuple[int, int]:
        """Width and height in pixels."""
        return self.luma.shape[1], self.luma.shape[0]

    @property
    def __array_interface__(self) -> Dict[str, Any]:
        return self.luma.__array_interface__


class Pictures(List[Picture]):
    """The pictures of a burst, in its order; `skipped` says what was left out."""

    skipped: Tuple[Skipped, ...] = ()


@dataclass(frozen=True)
class PickedObject:
    """What moves in a frame of `pick_files`.

    Attributes
    ----------
    rect : tuple of int
        Left, top, right and bottom in pixels; right and bottom are exclusive.
    area : int
        Pixels in which the frame differs.
    blur : int
        Blur score of the rectangle.
    used : bool
        Whether the moving objects took part in the ranking.
    """

    rect: Rect
    area: int
    blur: int
    used: bool


@dataclass(frozen=True)
class PickedFrame:
    """A frame in the ranking of `pick_files`.

    Attributes
    ----------
    path, name : str
        Its file, and what it is called in a list.
    index, number : int
        Its place in `frames`; in a video the frame's number.
    seconds : float or None
        In a video the time from its start.
    blur : int
        Blur score, 0 (flat) to 5,099,999.
    detail : float
        0 (flat) to 100, higher is sharper; noise and light hardly change it.
    width, height : int
        Size measured, in pixels.
    kept, best : bool
        Whether the frame is kept, and whether it is the best.
    orientation, pixel_format, rendering
        As in `Picture`.
    companions : tuple of str
        Other files of the same photograph, such as the raw file beside a JPEG.
    moving : PickedObject or None
        What moves in the frame, when it was looked for and found.
    terms : Terms
        What the frame's place follows from.
    """

    path: str
    name: str
    index: int
    number: int
    seconds: Optional[float]
    blur: int
    detail: float
    width: int
    height: int
    kept: bool
    best: bool
    orientation: int = field(repr=False)
    pixel_format: str = field(repr=False)
    rendering: str = field(repr=False)
    companions: Tuple[str, ...] = field(repr=False)
    moving: Optional[PickedObject] = field(repr=False)
    terms: Terms = field(repr=False)


@dataclass(frozen=True)
class FilesPick:
    """The ranking of `pick_files`; printed, the table of the command `kelvane pick`.

    Attributes
    ----------
    best : int
        Index of the best frame.
    kept : tuple of int
        Indices of the frames to keep, ascending; the best one is among them.
    frames : tuple of PickedFrame
        All that were read, in the order of the burst.
    order : tuple of int
        Indices of the frames from the highest to the lowest by the measure.
    skipped : tuple of Skipped
        What was left out, and why.
    """

    best: int
    kept: Tuple[int, ...]
    frames: Tuple[PickedFrame, ...] = field(repr=False)
    order: Tuple[int, ...] = field(repr=False)
    skipped: Tuple[Skipped, ...] = field(repr=False)
    table: str = field(repr=False)

    def __str__(self) -> str:
        return self.table.rstrip("\n")

    @property
    def best_frame(self) -> PickedFrame:
        """The best frame itself."""
        return self.frames[self.best]

    @property
    def kept_frames(self) -> Tuple[PickedFrame, ...]:
        """The frames to keep themselves."""
        return tuple(self.frames[i] for i in self.kept)


def read(path: StrPath, *, colour: bool = False) -> Picture:
    """Read one picture: JPEG, HEIC, AVIF, cameras' raw files, TIFF, PNG, WebP and others.

    Parameters
    ----------
    path : str or path-like
        Its file. The content decides what it is.
    colour : bool
        Whether to make `bgr` too.

    Returns
    -------
    Picture
        Upright, with the luma that the command `kelvane` measures, so that scores are equal to the
        digit. (Other decoders give slightly other pixels.)

    Raises
    ------
    OSError
        When there is no such file.
    ValueError
        When it is damaged, no picture, or a video.
    MemoryError
        When there is no memory for the picture.
    """
    from . import _media
    return _picture(_media.read_picture(_paths([path])[0], bool(colour)))


def burst(inputs: Union[StrPath, Sequence[StrPath]], *, every: int = 1,
          most: Optional[int] = None, skip_bad: bool = False, colour: bool = False,
          jobs: int = 0) -> Pictures:
    """Read the pictures of a folder, several files, or the frames of a video.

    Parameters
    ----------
    inputs : path, or sequence of paths
        A folder, picture files, or one video. A folder is read in natural order, `img2` before
        `img10`.
    every : int
        Take every so manyth frame or file.
    most : int, optional
        Stop after so many frames; all of them are in memory at the same time.
    skip_bad : bool
        Leave out what cannot be decoded, instead of raising an error.
    colour : bool
        Whether to make `bgr` too.
    jobs : int
        How many threads decode; 0 for as many as there are processors.

    Returns
    -------
    list of Picture
        In the order of the burst. Its attribute `skipped` says what was left out.

    Raises
    ------
    OSError
        When there is no such file.
    ValueError
        When a picture is damaged, or nothing could be read.
    MemoryError
        When there is no memory for the pictures.
    """
    from . import _media
    frames, skipped = _media.read_burst(
        _paths(inputs), *_selection(every, most, skip_bad, jobs), bool(colour))
    pictures = Pictures(_picture(frame) for frame in frames)
    pictures.skipped = _skipped(skipped)
    return pictures


def pick_files(inputs: Union[StrPath, Sequence[StrPath]], keep: int = 1, *,
               choose: str = "spread", min_share: float = 0, measure: str = "sharpness",
               faces: Optional[StrPath] = None, moving: bool = False, every: int = 1,
               most: Optional[int] = None, skip_bad: bool = False, jobs: int = 0) -> FilesPick:
    """The ranking of the command `kelvane pick`, as data.

    Pictures are decoded on all processors and released at once.

    Parameters
    ----------
    inputs : path, or sequence of paths
        A folder, picture files, or one video.
    keep : int
        How many frames to keep.
    choose : {'spread', 'sharpest', 'library'}
        Keep the best of equal stretches of the burst, those with the highest totals, or what the
        library chooses, as `pick` does.
    min_share : float
        What a frame needs of the best one's score to be kept, 0 to 100 per cent.
    measure : {'sharpness', 'detail'}
        Rank by the blur score, or by the detail, which noise and light hardly change.
    faces : path, optional
        A JSON file with the faces of every frame.
    moving : bool
        Rank by what moves; the luma of all frames is then in memory, 4 GiB at most.
    every : int
        Take every so manyth frame or file.
    most : int, optional
        Stop after so many frames.
    skip_bad : bool
        Leave out what cannot be decoded, instead of raising an error.
    jobs : int
        How many threads decode; 0 for as many as there are processors.

    Returns
    -------
    FilesPick
        The best frame, the kept ones, and all that is known of each; `print` shows a table.

    Raises
    ------
    OSError
        When there is no such file.
    ValueError
        When a picture is damaged or of another size, or nothing could be read.
    MemoryError
        When there is no memory for the pictures.
    """
    from . import _media
    if not 0 <= float(min_share) <= 100:
        raise ValueError(f"min_share: {min_share} is not 0 to 100")
    choose = _one_of(choose, "choose", ("spread", "sharpest", "library"))
    by_detail = _one_of(measure, "measure", ("sharpness", "detail")) == "detail"
    paths, kept = _paths(inputs), _at_least_one(keep, "keep")
    faces_path = b"" if faces is None else _paths([faces])[0]
    text, table, files, skipped = _media.pick_files(
        paths, kept, choose, float(min_share), by_detail, faces_path, bool(moving),
        *_selection(every, most, skip_bad, jobs))
    data = json.loads(text)
    frames = tuple(_picked(frame, os.fsdecode(path)) for frame, path in zip(data["frames"], files))
    return FilesPick(data["best"], tuple(data["chosen"]), frames, tuple(data["order"]),
                     _skipped(skipped), table.decode(errors="replace"))


def _paths(inputs: Union[StrPath, Sequence[StrPath]]) -> List[bytes]:
    """Of files that are there."""
    if isinstance(inputs, (str, os.PathLike)):
        inputs = [inputs]
    paths = [os.fsencode(path) for path in inputs]
    if not paths:
        raise ValueError("inputs: is empty")
    for path in paths:
        os.stat(os.fsdecode(path))  # says what is wrong with it
    return paths


def _at_least_one(value: int, name: str) -> int:
    number = integer(value, name)
    if number < 1:
        raise ValueError(f"{name}: {number} is below 1")
    return number


def _one_of(value: str, name: str, known: Tuple[str, ...]) -> str:
    if value not in known:
        raise ValueError(f"{name}: must be {' or '.join(map(repr, known))}, not {value!r}")
    return value


def _selection(every: int, most: Optional[int], skip_bad: bool, jobs: int
               ) -> Tuple[int, int, bool, int]:
    threads = integer(jobs, "jobs")
    if not 0 <= threads <= 1024:
        raise ValueError(f"jobs: {threads} is not 0 to 1024")
    return (_at_least_one(every, "every"), 0 if most is None else _at_least_one(most, "most"),
            bool(skip_bad), threads)


def _picture(values: Tuple[Any, ...]) -> Picture:
    path, name, *rest = values
    return Picture(os.fsdecode(path), os.fsdecode(name), *rest)


def _skipped(pairs: Sequence[Tuple[bytes, str]]) -> Tuple[Skipped, ...]:
    return tuple(Skipped(os.fsdecode(name), reason) for name, reason in pairs)


def _picked(frame: Dict[str, Any], path: str) -> PickedFrame:
    moving, found = frame.get("moving"), None
    if moving:
        found = PickedObject(rect_of(moving["rect"], "rect"), moving["area"], moving["blur"],
                             moving["used"])
    return PickedFrame(path, frame["name"], frame["index"], frame["number"], frame["time"],
                       frame["blur"], frame["detail"], frame["width"], frame["height"],
                       frame["chosen"], frame["best"], frame["orientation"],
                       frame["pixel_format"], frame["rendering"] or "", tuple(frame["companions"]), found,
                       Terms(**frame["terms"]))
