// The loops that decide the library's speed: what each takes and gives. Every one is written once,
// in simd/kernels/, for vectors of any length, and compiled for every instruction set of the
// architecture. All give the same bytes.
//
// For all of them: counts and sizes are in bytes where nothing else is said. Nothing is read or
// written outside the rows and sizes that are passed, not even to be ignored. Source and
// destination do not overlap, except where a kernel says that it works in place. Widths may be
// smaller than a vector.
#pragma once

#include "simd/sample_map.h"

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

// A sample in units of 1/128 plus a half, 64..32704, on its way from the horizontal to the vertical
// pass of a resize.
using RowValue = int16_t;

// The horizontal pass of a resize as planned, for the count of samples and the length of rows that
// it was planned for.
struct RowResampler {
    void (*makeValues)(const unsigned char* row, const void* plan, int64_t count, RowValue* out);

    // Finished bytes, of `rowCount` rows that lie `step` apart, to rows that lie `outStep` apart.
    // The memory of a row is asked for during the one before, also of the row after the last.
    void (*makeBytes)(const unsigned char* row, int64_t step, int64_t rowCount, const void* plan,
                      int64_t count, unsigned char* out, int64_t outStep);
};

// A plan's memory belongs to the caller and is aligned to 4 bytes. It holds this for each sample,
// but for what aligning the row values after it takes: less than twice the greatest power of two
// up to 64 that is not above the count of samples.
constexpr int64_t planBytesPerSample = 12;

// Chroma samples, one for every two pixels, `step` bytes apart: 1, or 2 when Cb and Cr alternate.
struct ChromaRow {
    const unsigned char* cb;
    const unsigned char* cr;
    int64_t step;
};

constexpr int boxReciprocalBits = 23; // of the fixed-point reciprocals of window areas

// A row of windows of the box filter. Both radii are below `width`.
struct BoxRow {
    int64_t width;    // in pixels
    int64_t channels; // 1 or 3
    int64_t left;
    int64_t right;
    int64_t shortest;     // window
    int64_t counterBytes; // 2 where the sums of all windows fit 16 bits, otherwise 4
};

// How the rows in the windows change from one row of windows to the next.
struct BoxRowChange {
    const uint8_t* added;   // null if none
    const uint8_t* removed; // null if none
    const uint8_t* saved;   // null, or to be copied to `slot`, which may be the row removed
    uint8_t* slot;
};

// Two rows of windows of the box filter that reach `radius` columns, 1 or 2, to either side.
struct BoxWindows {
    // Those in the windows of the first row, 2 to 5, and below them the last in those of the
    // second.
    const uint8_t* rows[6];
    int64_t count;
    int64_t bytes;    // of a row
    int64_t channels; // 1 or 3
    int64_t radius;
    // The reciprocals of the windows' areas, for each even byte of a row and for each odd one, with
    // `boxFactorBits`. They are read to the end of the last vector.
    const uint16_t* evenFactors;
    const uint16_t* oddFactors;
    uint8_t* means[2]; // the same row twice stands for the first one
    // Rows to be copied before means overwrite them. A slot may be one of the rows.
    const uint8_t* saved[2];
    uint8_t* slots[2];
    int64_t savedCount;
};

// So many make the means exact that have at most 16 bits themselves.
constexpr int boxFactorBits(int64_t radius) { return radius == 1 ? 16 : 18; }

struct Kernels {
    // Plans the horizontal pass of a resize to `count` samples, over source rows of `rowBytes`.
    RowResampler (*planRow)(const SampleMap& map, int64_t count, int64_t rowBytes, void* plan);

    // out[k] = (128 * top[k] + weight * (bottom[k] - top[k]) + 2^13) >> 14, of the samples in units
    // of 1/128, with weight 0..128. Both rows may be the same.
    void (*blendRows)(const RowValue* top, const RowValue* bottom, int32_t weight, int64_t count,
                      unsigned char* out);

    // Enlarges a plane of one channel to twice both sides. Means of neighbours follow the samples
    // and rows; the last ones are followed by themselves.
    void (*doublePlane)(const unsigned char* source, int64_t pitch, int64_t width, int64_t height,
                        unsigned char* out, int64_t outPitch);

    // Writes 3 * `width` bytes. An odd last pixel has a chroma sample of its own.
    void (*writeBgr)(const unsigned char* luma, ChromaRow chroma, int64_t width,
                     unsigned char* out);

    // `sums` are counters in an order of their own, zero at first: one for each byte of a row, of
    // which each has room for 4 bytes.
    void (*moveBoxRows)(void* sums, const BoxRow& row, const BoxRowChange& change);
    // Writes one row of means. `reciprocals` are those of the windows' areas, for each width of
    // windows from the shortest on.
    void (*divideBoxRow)(void* sums, const BoxRow& row, const uint32_t* reciprocals,
                         uint8_t* means);
    // The same of the windows that the ends of a row cut only.
    void (*divideCutWindows)(void* sums, const BoxRow& row, const uint32_t* reciprocals,
                             uint8_t* means);
    // Means may overwrite the rows of the windows.
    void (*filterBoxWindows)(const BoxWindows& windows);

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
// Beside each stands the next narrower one, if there is one, for what does not suit a set.
#if defined(__wasm_simd128__)
namespace simd128 {
extern const Kernels kernels;
static constexpr const Kernels& narrower = kernels;
} // namespace simd128
namespace baseline = simd128;
#elif defined(KELVANE_PORTABLE) || !(defined(__x86_64__) || defined(__aarch64__))
namespace portable {
extern const Kernels kernels;
static constexpr const Kernels& narrower = kernels;
} // namespace portable
namespace baseline = portable;
#elif defined(__aarch64__)
namespace neon {
extern const Kernels kernels;
static constexpr const Kernels& narrower = kernels;
} // namespace neon
namespace baseline = neon;
#else
namespace sse2 {
extern const Kernels kernels;
static constexpr const Kernels& narrower = kernels;
} // namespace sse2
namespace avx2 {
extern const Kernels kernels;
static constexpr const Kernels& narrower = sse2::kernels;
} // namespace avx2
namespace avx512 {
extern const Kernels kernels;
static constexpr const Kernels& narrower = avx2::kernels;
} // namespace avx512
namespace baseline = sse2;
#endif

} // namespace kelvane
