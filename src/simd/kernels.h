// The loops that decide the library's speed: what each takes and gives. Every one is written once,
// in simd/kernels/, for vectors of any length, and compiled for every instruction set of the
// architecture. All give the same bytes.
//
// For all of them: counts and sizes are in bytes where nothing else is said. Nothing is read or
// written outside the rows and sizes that are passed, not even to be ignored. Source and
// destination do not overlap, except where a kernel says that it works in place. Widths may be
// smaller than a vector.
#pragma once

#include <cstdint>

namespace kelvane {

// The rectangle of pixel (x, y) covers the columns x - radius to x + radius and the rows
// y - radius to y + radius + 1, as far as they lie in the image.
struct ExtremumTask {
    const unsigned char* source;
    unsigned char* destination; // the source itself, or does not overlap it
    int64_t width;              // at least 1, like the height and the radius
    int64_t height;
    int64_t pitch;
    int64_t channels;       // 1 to 4
    int64_t radius;         // in pixels
    unsigned char inverted; // 0 for the minimum, 255 for the maximum
};

// How the pixels of an image hold their luma.
enum class PixelLayout { Luma, PackedLuma, Rgb565, Xrgb32 };

// A grid of samples, one for each 4 x 4 pixels.
struct SampledArea {
    const unsigned char* first; // pixel of the first sample
    int64_t pitch;
    int64_t columns; // at least 1, like the rows
    int64_t rows;
};

// Pixels at every `step` bytes of every row.
struct PixelGrid {
    const unsigned char* pixels;
    int64_t pitch; // from row to row of the grid
    int64_t step;
    int64_t columns; // 1 to 512
    int64_t rows;
};

// Rows of two bitmaps, of which bit i of the one stands against bit i + shift of the other.
struct BitArea {
    const unsigned char* a;
    const unsigned char* b; // the byte after the last one compared is read as well
    int64_t pitch;          // of both
    int64_t bytes;          // of every row
    int64_t rows;
    int shift; // 0 to 7
};

struct Kernels {
    // How many pixels are less than each of three limits. Steps are 1, 2 or 4.
    void (*countBelow)(const PixelGrid& grid, const unsigned char limits[3], int64_t counts[3]);

    // Bit x of `bits` (bit 0 of a byte first) becomes 1 where pixel x is at least `lowest`. Writes
    // ceil(count / 8) bytes, the bits after the last pixel being 0. Reads `count` pixels that lie
    // `step` bytes apart.
    void (*packAbove)(const unsigned char* pixels, int64_t step, int64_t count,
                      unsigned char lowest, unsigned char* bits);

    // The number of bits that differ, of the last byte of each row those that `lastByte` names.
    int64_t (*countDifferences)(const BitArea& area, unsigned char lastByte);

    // The same of the bits that `counted`, a row of bytes, names.
    int64_t (*countMaskedDifferences)(const BitArea& area, const unsigned char* counted);

    // The same of the bits 1 to 30 of every 32-bit word, after the other bitmap was moved to the
    // right by one, not at all, and to the left by one. `bytes` is a multiple of 4.
    void (*countThreeDifferences)(const BitArea& area, int64_t counts[3]);

    // The sum, over all samples but those of the first row and column, of the differences to the
    // left and to the upper neighbour, for each `PixelLayout`. A sample is the rounded mean luma of
    // the pixels (0, 0), (2, 0), (0, 2) and (2, 2) of its square; nothing after them is read of a
    // row's last square. `scratch` holds two rows of `columns` bytes, each rounded up to 4.
    int64_t (*sumSampleDifferences[4])(const SampledArea& area, unsigned char* scratch);

    // Minimum or maximum over the rectangle of every pixel. `working` holds 2 * radius + 4 rows of
    // channels * (width + 2 * radius + 18) + 8 bytes, and 128 bytes more.
    void (*filterExtremum)(const ExtremumTask& task, unsigned char* working);
};

// Those for rows of `rowBytes`: of the widest instruction set of this processor of which a row
// fills at least one vector, otherwise of the one that all processors have.
const Kernels& kernelsFor(int64_t rowBytes);

// One table for each instruction set. Those of one that the processor lacks must not be called.
#if defined(KELVANE_PORTABLE) || !(defined(__x86_64__) || defined(__aarch64__))
namespace portable {
extern const Kernels kernels;
}
namespace baseline = portable;
#elif defined(__aarch64__)
namespace neon {
extern const Kernels kernels;
}
namespace baseline = neon;
#else
namespace sse2 {
extern const Kernels kernels;
}
namespace avx2 {
extern const Kernels kernels;
}
namespace avx512 {
extern const Kernels kernels;
}
namespace baseline = sse2;
#endif

} // namespace kelvane
