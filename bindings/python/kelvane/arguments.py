"""What the functions ask of their arguments."""
from __future__ import annotations

from operator import index
from typing import Any, Iterator, List, Optional, Sequence, Tuple

from .records import Face, Faces, MovingObject, Rect


def integer(value: Any, name: str) -> int:
    try:
        number = index(value)
    except TypeError:
        raise TypeError(f"{name}: must be an integer, not {type(value).__name__}") from None
    if not -2**31 <= number < 2**31:
        raise ValueError(f"{name}: {number} is out of range")
    return number


def integers(values: Any, name: str, what: str) -> Tuple[int, ...]:
    """As many as the comma-separated words of `what`."""
    count = what.count(",") + 1
    try:
        numbers = tuple(values)
    except TypeError:
        numbers = ()
    if len(numbers) != count:
        raise TypeError(f"{name}: must be ({what}), not {values!r}")
    return tuple([integer(number, name) for number in numbers])


def rect_of(value: Any, name: str) -> Rect:
    left, top, right, bottom = integers(value, name, "left, top, right, bottom")
    return left, top, right, bottom


def size_of(value: Any) -> Tuple[int, int]:
    width, height = integers(value, "size", "width, height")
    return width, height


def iterator(frames: Any) -> Iterator[Any]:
    try:
        return iter(frames)
    except TypeError:
        raise TypeError("frames: must be an iterable of pictures, "
                        f"not {type(frames).__name__}") from None


def budget_of(value: Optional[int]) -> Optional[int]:
    if value is None:
        return None
    number = index(value)
    if not 0 < number < 2**62:
        raise ValueError(f"budget: {number} bytes are too few, or more than there are")
    return number


def _face_numbers(face: Any, name: str) -> Tuple[int, ...]:
    if not isinstance(face, Face):
        face = Face(face)
    rect = rect_of(face.rect, f"{name}.rect")
    if rect[0] < 0 or rect[1] < 0 or rect[0] >= rect[2] or rect[1] >= rect[3]:
        raise ValueError(f"{name}.rect: {rect} is empty or leaves the frame")
    code = integer(face.code, f"{name}.code")
    if not 0 <= code <= 16:
        raise ValueError(f"{name}.code: {code} is not 0 to 16")
    if face.smile not in (None, 0, 30, 80):
        raise ValueError(f"{name}.smile: must be 0, 30, 80 or None, not {face.smile!r}")
    smile = -1 if face.smile is None else int(face.smile)
    eyes = -1 if face.eyes_open is None else int(bool(face.eyes_open))
    return (*rect, code, smile, eyes)


def face_numbers(faces: Optional[Faces]) -> Optional[List[List[Tuple[int, ...]]]]:
    """Rectangle, code, smile and open eyes of each face; -1 for what is not known."""
    if faces is None:
        return None
    result = []
    for i, of_frame in enumerate(faces):
        if len(of_frame) > 10:
            raise ValueError(f"faces[{i}]: {len(of_frame)} faces, where at most 10 are taken")
        result.append([_face_numbers(face, f"faces[{i}][{j}]")
                       for j, face in enumerate(of_frame)])
    return result


def object_pairs(moving: Optional[Sequence[Optional[MovingObject]]]
                 ) -> Optional[List[Optional[Tuple[Tuple[int, ...], Any]]]]:
    if moving is None:
        return None
    pairs: List[Optional[Tuple[Tuple[int, ...], Any]]] = []
    for i, item in enumerate(moving):
        if item is not None and not isinstance(item, MovingObject):
            raise TypeError(f"moving[{i}]: must be a MovingObject or None, "
                            f"not {type(item).__name__}")
        pairs.append(None if item is None
                     else (rect_of(item.rect, f"moving[{i}].rect"), item.mask))
    return pairs
