"""The functions of libkelvane.so by their exported names, on copies of rows without gaps."""
import ctypes
import os

import numpy as np

LIBRARY = ctypes.CDLL(os.environ["KELVANE_LIBRARY"])
YUV420, BGR24 = 0x601, 0x201


class Rect(ctypes.Structure):
    _fields_ = [(side, ctypes.c_int32) for side in ("left", "top", "right", "bottom")]


class Image(ctypes.Structure):
    _fields_ = [("format", ctypes.c_uint32), ("width", ctypes.c_int32), ("height", ctypes.c_int32),
                ("planes", ctypes.c_void_p * 4), ("pitches", ctypes.c_int32 * 4)]


class Faces(ctypes.Structure):
    _fields_ = [("count", ctypes.c_int64), ("rects", ctypes.POINTER(Rect)),
                ("codes", ctypes.POINTER(ctypes.c_uint64)),
                ("eyes", ctypes.POINTER(ctypes.c_uint64)),
                ("smiles", ctypes.POINTER(ctypes.c_uint64))]


class Param(ctypes.Structure):
    _fields_ = [("alignment", ctypes.c_void_p), ("faces", ctypes.POINTER(Faces))]


class Result(ctypes.Structure):
    _fields_ = [("count", ctypes.c_int64), ("indices", ctypes.POINTER(ctypes.c_int64)),
                ("best", ctypes.c_int64)]


class Object(ctypes.Structure):
    _fields_ = [("rect", Rect), ("mask", ctypes.c_void_p)]


class Objects(ctypes.Structure):
    _fields_ = [("width", ctypes.c_int64), ("height", ctypes.c_int64), ("pitch", ctypes.c_int64),
                ("objects", ctypes.POINTER(Object)), ("count", ctypes.c_int32)]


class Inputs(ctypes.Structure):
    _fields_ = [("count", ctypes.c_int64), ("images", ctypes.POINTER(Image) * 2)]


class Data(ctypes.Structure):
    _fields_ = [("data", ctypes.POINTER(ctypes.c_int32)), ("size", ctypes.c_int64)]


class Region(ctypes.Structure):
    _fields_ = [("rect", Rect), ("share", ctypes.c_float), ("dx", ctypes.c_int64),
                ("dy", ctypes.c_int64)]


def call(name, *arguments):
    function = getattr(LIBRARY, name)
    function.restype = ctypes.c_long
    converted = [ctypes.c_long(a) if isinstance(a, int) else a for a in arguments]
    code = function(*converted)
    assert code == 0, (name, code)


def compact(array):
    return np.array(array, order="C")


def pointer(array):
    return ctypes.c_void_p(array.ctypes.data)


def image_of(*planes, code=YUV420, even=False):
    """Its arrays have to outlive it."""
    height, width = planes[0].shape[:2]
    image = Image(code, width, height)
    if even:
        image.width, image.height = width & ~1, height & ~1
    for i, plane in enumerate(planes):
        image.planes[i], image.pitches[i] = plane.ctypes.data, plane.strides[0]
    return image


def score(luma, region=None):
    luma = compact(luma)
    image = image_of(luma, even=True)
    if region is None:
        return detected(image)
    value, rect = ctypes.c_float(), Rect(*region)
    call("_Z20imgEvaluateSharpnessPvP20__tag_KIRO_OFFSCREENPfP10__tag_rect", None,
         ctypes.byref(image), ctypes.byref(value), ctypes.byref(rect))
    return int(np.float32(np.float64(value.value) * 10000 + 0.5))  # rounded once


def detected(image):
    engine, data = ctypes.c_void_p(), Data()
    call("DRAV_Init", None, ctypes.byref(engine))
    call("DRAV_DetectBlur", engine, ctypes.byref(image), ctypes.byref(data))
    result = data.data[3]
    call("DRAV_Uninit", ctypes.byref(engine))
    return result


def filtered(name, array, *arguments):
    """`arguments` follow the destination; morphology takes channels where smoothing has a format."""
    source = compact(array)
    height, width = source.shape[:2]
    channels = source.shape[2] if source.ndim == 3 else 1
    result = np.empty_like(source)
    kind = channels if name.startswith("sbr") else BGR24 if channels == 3 else 0
    call(name, None, pointer(source), width, height, width * channels, kind, pointer(result),
         *arguments)
    return result


def resized(array, width, height):
    source = compact(array)
    rows, columns = source.shape[:2]
    channels = source.shape[2] if source.ndim == 3 else 1
    result = np.empty((height, width) + source.shape[2:], np.uint8)
    buffer = ctypes.c_void_p()
    call("ImageResize_AllocMem_BL", None, columns, rows, channels, width, height,
         ctypes.byref(buffer))
    call("ImageResize_BL", pointer(source), columns, rows, columns * channels, channels,
         pointer(result), width, height, width * channels, ctypes.byref(buffer))
    LIBRARY.VantMemFree(None, buffer)
    return result


def to_bgr(code, planes, width, height):
    planes = [compact(plane) for plane in planes]
    result = np.empty((height, width, 3), np.uint8)
    image = image_of(*planes, code=code)
    call("ImageResize_BL_ToBGR24", None, ctypes.byref(image), pointer(result), width, height,
         3 * width)
    return result


def shift(first, second):
    first, second, context = compact(first), compact(second), ctypes.c_void_p()
    images = [image_of(first), image_of(second)]
    inputs = Inputs(2, (ctypes.POINTER(Image) * 2)(*[ctypes.pointer(i) for i in images]))
    pairs = [(ctypes.c_long * 2)(), (ctypes.c_long * 2)()]
    results = (ctypes.POINTER(ctypes.c_long) * 2)(
        *[ctypes.cast(pair, ctypes.POINTER(ctypes.c_long)) for pair in pairs])
    call("_Z14Alignment_InitPvPS_", None, ctypes.byref(context))
    call("_Z21Image_Alignment_VideoPvP21_tag_ZEP_NS_INPUTINFOlPPll", context,
         ctypes.byref(inputs), 0, results, 1)
    call("_Z16Alignment_UninitPPv", ctypes.byref(context))
    return tuple(pairs[1])


def region(first, second):
    """Box, share and shift."""
    first, second, context = compact(first), compact(second), ctypes.c_void_p()
    height, width = first.shape
    images, unread, found = [image_of(first), image_of(second)], (ctypes.c_int64 * 3)(), Region()
    call("_Z7roiInitPvlllPS_", None, width, height, YUV420, ctypes.byref(context))
    call("_Z12roiCalculatePvP20__tag_KIRO_OFFSCREENS1_P19_tag_DRAV_ALIGNMENTP13_tag_ROI_INFO",
         context, ctypes.byref(images[0]), ctypes.byref(images[1]), unread, ctypes.byref(found))
    LIBRARY._Z9roiUninitPPv(ctypes.byref(context))
    box = tuple(getattr(found.rect, side) for side, _ in Rect._fields_)
    return box, found.share, (found.dx, found.dy)


def numbers(values):
    return (ctypes.c_uint64 * max(1, len(values)))(*values)


def ranking(lumas, keep, faces=None, objects=None):
    """The best frame and the kept ones, measured and ranked by the library itself.

    `faces` holds for each frame tuples of rectangle, code, eyes and smile, as the library counts
    them; `objects` for each frame None or a tuple of rectangle and mask.
    """
    lumas, count = [compact(luma) for luma in lumas], len(lumas)
    frames = (Image * count)(*[image_of(luma, even=True) for luma in lumas])
    blocks = []
    for entries in faces or [[]] * count:
        rects = (Rect * max(1, len(entries)))(*[Rect(*entry[0]) for entry in entries])
        blocks.append(Faces(len(entries), rects, *[numbers([e[i] for e in entries])
                                                   for i in (1, 2, 3)]))
    params = (Param * count)(*[Param(None, ctypes.pointer(block)) for block in blocks])
    engine, kept = ctypes.c_void_p(), (ctypes.c_int64 * keep)()
    result = Result(keep, kept, -1)
    call("DRAV_Init", None, ctypes.byref(engine))
    if objects:
        masks = [compact(item[1]) if item else None for item in objects]
        entries = (Object * count)(*[Object(Rect(*item[0]), mask.ctypes.data) if item else Object()
                                     for item, mask in zip(objects, masks)])
        width, height = frames[0].width, frames[0].height
        pitch = lumas[0].shape[1]
        call("SetMovingObjectInfo", engine,
             ctypes.byref(Objects(width, height, pitch, entries, count)))
    call("DRAV_Kelvane", engine, frames, params, count, ctypes.byref(result))
    call("DRAV_Uninit", ctypes.byref(engine))
    return result.best, tuple(kept[:result.count])
