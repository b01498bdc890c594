// Arguments that are pictures, whatever Python object holds them.
#pragma once

#include "kelvane/kelvane.h"

#include <pybind11/numpy.h>

#include <cstdint>
#include <string>
#include <vector>

namespace py = pybind11;

// Rows of interleaved 8-bit samples. Those of the object are used where they lie when each row is
// without gaps and rows do not overlap, whatever their distance and direction, and else copied.
// Needs the GIL at both ends of its life.
struct Pixels {
    // Refuses all but `uint8` arrays of (height, width), or with up to `mostChannels` samples a
    // pixel of (height, width, channels). `name` is that of the argument.
    Pixels(py::handle argument, const std::string& name, int mostChannels);
    Pixels(Pixels&&) = default;

    bool isCompact() const { return pitch == int64_t{width} * channels; }

    py::object owner;
    const unsigned char* data = nullptr;
    int32_t width = 0;
    int32_t height = 0;
    int32_t channels = 1;
    int64_t pitch = 0;
    bool hasChannelAxis = false;
    bool isRgb = false; // an image of Pillow says so itself
    std::vector<unsigned char> copy;
};

// Of the channels of colour pictures that do not say it themselves.
enum class Order { bgr, rgb };
Order orderOf(const std::string& channels);

// The luma of a grey picture, a colour picture or a `Frame`. Colour is converted with the weights
// of ITU-R BT.601, in units of 2^-15 and rounded.
class Luma {
public:
    Luma(py::handle argument, const std::string& name, Order order);

    int32_t width() const { return pixels_.width; }
    int32_t height() const { return pixels_.height; }

    // For the library, which does not write to it.
    __tag_KIRO_OFFSCREEN view() const;

    // Without an odd last column or row, for the functions that need even sides.
    __tag_KIRO_OFFSCREEN evenView() const;

private:
    Pixels pixels_;
    std::vector<unsigned char> grey_;
};

// Throws ValueError unless both have one size.
void checkSameSize(const Luma& first, const Luma& second, const std::string& secondName);

// A new array of rows without gaps, with as many samples a pixel and as many axes as the source.
py::array_t<unsigned char> makeArrayLike(const Pixels& source, int64_t height, int64_t width);
