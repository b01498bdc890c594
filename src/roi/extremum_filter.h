// Minimum and maximum over a rectangle around every pixel.
#pragma once

#include <cstdint>

namespace kelvane {

// The rectangle of pixel (x, y) covers the columns x - radius to x + radius and the rows
// y - radius to y + radius + 1, as far as they lie in the image. The destination is the source or
// does not overlap it.
struct ExtremumTask {
    const unsigned char* source;
    unsigned char* destination;
    int64_t width; // at least 1, like the height and the radius
    int64_t height;
    int64_t pitch;
    int64_t channels;
    int64_t radius;
};

// `working` holds 2 * radius + 4 rows of channels * (width + 2 * radius) bytes.
using ExtremumFilter = void(const ExtremumTask& task, unsigned char* working);

ExtremumFilter filterMinimum;
ExtremumFilter filterMaximum;

// The same with AVX2, which the two above use where it pays. On x86-64 alone.
ExtremumFilter filterMinimumAvx2;
ExtremumFilter filterMaximumAvx2;

} // namespace kelvane
