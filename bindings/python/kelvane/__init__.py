"""Image analysis for camera applications, on NumPy arrays.

    pick(frames)              the best frame of a burst, and which to keep
    blur(image)               how sharp a picture is
    align(a, b)               the shift between two pictures
    changes(a, b)             where two pictures differ
    resize, to_bgr            bilinear, also from YUV to BGR
    box_blur, gaussian_blur   smoothing
    erode, dilate, open, close, threshold_bitmap

    pick_files(paths)         the ranking of the command `kelvane pick`, as data
    read(path), burst(paths)  pictures as that command sees them

    Ranker, Aligner, ChangeDetector   the same with memory that is kept between calls, or fixed

Pictures
--------
Any object with 8-bit samples is a picture: NumPy arrays of (height, width) or
(height, width, 3), what has the buffer protocol or `__array_interface__`, images of Pillow
(of mode L or RGB), `Frame`, which stands for the planes of a
camera's YUV, and what `read` and `burst` give. Colour arrays are
taken as BGR, as OpenCV reads them; say ``channels="rgb"`` for others. Images of Pillow say it
themselves.

Nothing is copied when the samples of a row lie side by side, whatever the distance of the rows and
also when it is negative: slices of rows and columns, flipped rows, padded frames. Other strides
(every second column, flipped columns, transposed) take one copy. The filters copy all but whole
arrays once, into their result. Measurements look at the luma, which of colour is
0.299 R + 0.587 G + 0.114 B (ITU-R BT.601), in units of 2**-15 and rounded, as OpenCV has it.

Sizes are (width, height), rectangles (left, top, right, bottom) with right and bottom exclusive,
all in pixels.

Threads
-------
While the library works other threads run. Functions may be called from several threads at the same
time; those that share a `Ranker`, `Aligner` or `ChangeDetector` take turns.

Errors
------
ValueError, TypeError and MemoryError, with the name of the argument or file and the reason; OSError
for files that are not there.
"""
from .bursts import Aligner, ChangeDetector, Ranker, align, changes, pick
from .files import FilesPick, PickedFrame, PickedObject, Picture, Pictures, burst, pick_files, read
from .pictures import (blur, box_blur, close, dilate, erode, gaussian_blur, open, resize,
                       threshold_bitmap, to_bgr, version)
from .records import (Alignment, Changes, Face, Frame, MovingObject, Pick, Shift, Skipped, Terms)

__all__ = [
    "Aligner", "Alignment", "ChangeDetector", "Changes", "Face", "FilesPick", "Frame",
    "MovingObject", "Pick", "PickedFrame", "PickedObject", "Picture", "Pictures", "Ranker", "Shift",
    "Skipped", "Terms", "align", "blur", "box_blur", "burst", "changes", "close", "dilate", "erode",
    "gaussian_blur", "open", "pick", "pick_files", "read", "resize", "threshold_bitmap", "to_bgr",
    "version",
]
