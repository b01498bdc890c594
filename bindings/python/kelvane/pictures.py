"""What is measured in, and made of, one picture."""
from __future__ import annotations

from typing import Optional, Sequence, Tuple, Union

from . import _core
from .arguments import integer, integers, rect_of, size_of
from .records import Bits, Bytes, Frame, ImageLike, Rect


def version() -> str:
    """The version of the library.

    Returns
    -------
    str
        Such as the command `kelvane version` prints.
    """
    return _core.version()


def blur(image: ImageLike, region: Optional[Rect] = None, *, channels: str = "bgr") -> int:
    """Blur score of a picture: how sharp it is.

    Fine detail raises it, blur lowers it, and noise raises it too. Compare pictures of one scene
    and size.

    Parameters
    ----------
    image : array_like of uint8, or Frame
        Of (height, width) or (height, width, 3). An odd last column or row is left out.
    region : tuple of int, optional
        Left, top, right and bottom of the part to measure, in pixels; right and bottom are
        exclusive and all are rounded down to multiples of 4. Without it, a centred crop that is
        smaller than the picture by a fifth of its shorter side.
    channels : {'bgr', 'rgb'}
        Of colour arrays.

    Returns
    -------
    int
        0 (flat) to 5,099,999, higher is sharper: 10,000 times the mean absolute difference of
        neighbours, in grey levels, of the picture sampled every 4 pixels.

    Raises
    ------
    ValueError
        A shape that is no picture, a region that is empty or leaves the picture.
    TypeError
        Samples that are not of uint8.

    References
    ----------
    Groen, Young and Ligthart (1985), A comparison of different focus functions.

    Examples
    --------
    >>> blur(np.zeros((64, 64), np.uint8))
    0
    """
    if region is not None:
        region = rect_of(region, "region")
    return _core.blur(image, region, channels)


def resize(image: ImageLike, size: Tuple[int, int]) -> Bytes:
    """A picture resized bilinearly.

    Parameters
    ----------
    image : array_like of uint8
        Of (height, width), or (height, width, channels) with up to 3 channels.
    size : tuple of int
        Width and height in pixels, as OpenCV has them; 1 to 65535.

    Returns
    -------
    ndarray of uint8
        Of as many axes as the picture. With 1 or 2 channels the first samples of both pictures
        coincide, with 3 the centres of their pixels (as `cv2.resize` has it). A reduction to less
        than half skips samples.

    Raises
    ------
    ValueError
        A shape that is no picture, a side that is out of range.
    TypeError
        Samples that are not of uint8.
    MemoryError
        When there is no memory for the result.
    """
    return _core.resize(image, size_of(size))


def to_bgr(yuv: Frame, size: Optional[Tuple[int, int]] = None) -> Bytes:
    """A camera's frame as blue, green and red, resized bilinearly.

    Parameters
    ----------
    yuv : Frame
        Of `Frame.yuv420` or `Frame.nv21`.
    size : tuple of int, optional
        Width and height in pixels, 1 to 65535; those of the frame by default.

    Returns
    -------
    ndarray of uint8
        Of (height, width, 3), by the full-range coefficients of ITU-R BT.601. Each pair of pixels
        shares its chroma.

    Raises
    ------
    ValueError
        A side that is out of range.
    TypeError
        Anything but a Frame.
    MemoryError
        When there is no memory for the result.
    """
    if not isinstance(yuv, Frame):
        raise TypeError(f"yuv: must be a Frame, not {type(yuv).__name__}; "
                        "make one with Frame.yuv420 or Frame.nv21")
    return _core.frame_to_bgr(yuv.format, yuv.planes, yuv.size if size is None else size_of(size))


def box_blur(image: ImageLike, radius: Union[int, Sequence[int]]) -> Bytes:
    """Every pixel replaced by the mean of the window around it.

    Parameters
    ----------
    image : array_like of uint8
        Of (height, width) or (height, width, 3).
    radius : int, or tuple of int
        How far the window reaches in all directions, in pixels; or to the left, top, right and
        bottom. At the border it ends with the picture.

    Returns
    -------
    ndarray of uint8
        Of the picture's shape. The means are truncated, and one less under most windows where all
        is 255: see the header of the library.

    Raises
    ------
    ValueError
        A shape that is no picture, radii below 0, a window of a single row or column or of
        more than 2^23 pixels.
    TypeError
        Samples that are not of uint8.
    MemoryError
        When there is no memory for the result.

    References
    ----------
    McDonnell (1981), Box-filtering techniques.
    """
    radii = integers(radius, "radius", "left, top, right, bottom") \
        if isinstance(radius, (tuple, list)) else (integer(radius, "radius"),) * 4
    return _core.box_blur(image, radii)


def gaussian_blur(image: ImageLike, size: int) -> Bytes:
    """A picture smoothed about as by a Gaussian: by repeated box filters.

    Parameters
    ----------
    image : array_like of uint8
        Of (height, width), which takes three passes, or (height, width, 3), which takes two.
    size : int
        Of the kernel in pixels, 1 to 2895, with 2 * (size // 2) below the width; an even one counts
        as the next odd one.

    Returns
    -------
    ndarray of uint8
        Of the picture's shape.

    Raises
    ------
    ValueError
        A shape that is no picture, a size that is out of range.
    TypeError
        Samples that are not of uint8.
    MemoryError
        When there is no memory for the result.

    References
    ----------
    Wells (1986), Efficient synthesis of Gaussian filters by cascaded uniform filters.
    """
    return _core.gaussian_blur(image, integer(size, "size"))


def erode(image: ImageLike, radius: int) -> Bytes:
    """Every byte replaced by the smallest one under a rectangle around it.

    Parameters
    ----------
    image : array_like of uint8
        Of (height, width), or (height, width, channels) with up to 4 channels, each filtered by
        itself.
    radius : int
        1 to 1000 pixels. The rectangle reaches `radius` columns to both sides and `radius` rows
        up, but `radius` + 1 rows down. What lies outside the picture takes no part.

    Returns
    -------
    ndarray of uint8
        Of the picture's shape.

    Raises
    ------
    ValueError
        A shape that is no picture, a radius that is out of range.
    TypeError
        Samples that are not of uint8.
    MemoryError
        When there is no memory for the result.

    References
    ----------
    van Herk (1992); Gil and Werman (1993).
    """
    return _core.erode(image, integer(radius, "radius"))


def dilate(image: ImageLike, radius: int) -> Bytes:
    """Every byte replaced by the largest one under a rectangle around it.

    Parameters, result and errors are those of `erode`.
    """
    return _core.dilate(image, integer(radius, "radius"))


def open(image: ImageLike, radius: int) -> Bytes:
    """An erosion followed by a dilation, which removes what is bright and small.

    Parameters, result and errors are those of `erode`.
    """
    return _core.open(image, integer(radius, "radius"))


def close(image: ImageLike, radius: int) -> Bytes:
    """A dilation followed by an erosion, which fills what is dark and small.

    Parameters, result and errors are those of `erode`.
    """
    return _core.close(image, integer(radius, "radius"))


def threshold_bitmap(image: ImageLike, threshold: Optional[int] = None, *,
                     channels: str = "bgr") -> Bits:
    """Where a picture is brighter than its median, which a change of exposure hardly alters.

    Parameters
    ----------
    image : array_like of uint8, or Frame
        Of (height, width) or (height, width, 3).
    threshold : int, optional
        0 to 255; by default the cut next to the median that splits the pixels more evenly.
    channels : {'bgr', 'rgb'}
        Of colour arrays.

    Returns
    -------
    ndarray of bool
        Of (height, width), true where the luma is above the threshold.

    Raises
    ------
    ValueError
        A shape that is no picture, a threshold that is out of range.
    TypeError
        Samples that are not of uint8.

    References
    ----------
    Ward (2003), Fast, robust image registration for compositing high dynamic range photographs.
    """
    if threshold is not None:
        threshold = integer(threshold, "threshold")
    return _core.threshold_bitmap(image, threshold, channels)
