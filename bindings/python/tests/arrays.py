"""Random pictures, and the ways in which an array can lie in memory."""
import numpy as np


def picture(rng, height, width, *channels):
    """Smooth at random, with some noise: sharpness and alignment have something to find."""
    coarse = rng.integers(0, 256, (height // 8 + 2, width // 8 + 2, *channels), np.uint8)
    large = coarse.repeat(8, axis=0).repeat(8, axis=1)[:height, :width].astype(int)
    return np.clip(large + rng.integers(-12, 13, large.shape), 0, 255).astype(np.uint8)


def _padded(array):
    block = np.zeros((array.shape[0] + 3, array.shape[1] + 5, *array.shape[2:]), np.uint8)
    view = block[1:-2, 2:-3]
    view[...] = array
    return view


def _read_only(array):
    array = array.copy()
    array.flags.writeable = False
    return array


def _every_second(array):
    view = np.zeros((array.shape[0], 2 * array.shape[1], *array.shape[2:]), np.uint8)[:, ::2]
    view[...] = array
    return view


class Interface:
    """Has nothing but `__array_interface__`."""

    def __init__(self, array):
        self._array = array
        self.__array_interface__ = array.__array_interface__


LAYOUTS = {
    "compact": np.ascontiguousarray,
    "padded": _padded,
    "rows upwards": lambda array: array[::-1].copy()[::-1],
    "padded, upwards": lambda array: _padded(array[::-1])[::-1],
    "columns backwards": lambda array: array[:, ::-1].copy()[:, ::-1],
    "every second column": _every_second,
    "Fortran": np.asfortranarray,
    "read-only": _read_only,
    "memoryview": lambda array: memoryview(array.copy()),
    "array interface": Interface,
}


def laid_out(rng, array):
    return LAYOUTS[list(LAYOUTS)[rng.integers(len(LAYOUTS))]](array)
