// Minimum or maximum over a rectangle around every pixel.
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
    unsigned char inverted; // 0 for the minimum, 255 for the maximum
};

// `working` holds 2 * radius + 4 rows of channels * (width + 2 * radius + 18) + 8 bytes, and 128
// bytes more.
void filterExtremum(const ExtremumTask& task, unsigned char* working);

// The same with wider vectors, which the above uses where it pays, for rows that hold a vector
// between the first pixel and the last one, of up to 4 bytes each. On x86-64 alone.
constexpr int64_t shortestAvx2Filtered = 40, shortestAvx512Filtered = 72;
void filterExtremumAvx2(const ExtremumTask& task, unsigned char* working);
void filterExtremumAvx512(const ExtremumTask& task, unsigned char* working);

} // namespace kelvane
