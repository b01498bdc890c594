// The work on one row of a resize: made from source bytes, blended with another row, and converted
// to packed pixels.
#pragma once

#include "image/sample_map.h"

#include <cstdint>

namespace kelvane {

// A sample in units of 1/128 plus a half, 64..32704, on its way from the horizontal to the vertical
// pass.
using RowValue = int16_t;

// Makes `count` values, or finished bytes, as planned. The next row of source bytes to be finished
// lies `ahead` of this one.
template <typename Output>
using ResampleRow = void(const unsigned char* row, int64_t ahead, const void* plan, int64_t count,
                         Output* out);

// Rows that are finished alone may leave gaps, behind which the processor foresees no row.
template <typename Output>
constexpr bool leavesGaps = sizeof(Output) == 1;

struct RowResampler {
    ResampleRow<RowValue>* makeValues;
    ResampleRow<unsigned char>* makeBytes;
};

// A plan's memory belongs to the caller, is aligned to 4 bytes and holds this for each sample, and
// twice the alignment of the row values less.
constexpr int64_t planBytesPerSample = 12;

// Chroma samples, one for every two pixels, `step` bytes apart: 1, or 2 when Cb and Cr alternate.
struct ChromaRow {
    const unsigned char* cb;
    const unsigned char* cr;
    int64_t step;
};

constexpr unsigned char byteOf(RowValue value) { return static_cast<unsigned char>(value >> 7); }

struct RowOperations {
    int64_t alignment; // of row values, for the sake of speed

    // Plans the horizontal pass over source rows of `rowBytes` bytes.
    RowResampler (*planRow)(const SampleMap& map, int64_t count, int64_t rowBytes, void* plan);

    // out[k] = (128 * top[k] + weight * (bottom[k] - top[k]) + 2^13) >> 14, of the samples in units
    // of 1/128, with weight 0..128. The next row to be written lies `ahead` of this one.
    void (*blendRows)(const RowValue* top, const RowValue* bottom, int32_t weight, int64_t count,
                      unsigned char* out, int64_t ahead);

    // Enlarges to twice both sides: writes two rows of 2 * `count` samples, that of `top` and that
    // of the mean with `bottom`, in which means of neighbours follow the samples. The next two rows
    // lie `ahead`. Takes rows of one sample more than the others; null where blending is as fast.
    void (*doubleRows)(const unsigned char* top, const unsigned char* bottom, int64_t count,
                       unsigned char* upperOut, unsigned char* lowerOut, int64_t ahead);

    // Writes 3 * `width` bytes. An odd last pixel has a chroma sample of its own.
    void (*writeBgr)(const unsigned char* luma, ChromaRow chroma, int64_t width,
                     unsigned char* out);
};

// The fastest ones for rows of `count` samples or pixels.
RowOperations rowOperations(int64_t count);

// BT.601 for full-range luma, scaled by 2^14. The luma is a whole number of that scale, so rounding
// what the chroma adds to it rounds the sum.
constexpr int16_t blueFromCb = 29049;   // 1.773
constexpr int16_t greenFromCb = -5636;  // -0.344
constexpr int16_t greenFromCr = -11698; // -0.714
constexpr int16_t redFromCr = 22987;    // 1.403

// For rows of any length.
RowResampler planRowPlain(const SampleMap& map, int64_t count, int64_t rowBytes, void* plan);
void writeBgrPlain(const unsigned char* luma, ChromaRow chroma, int64_t width, unsigned char* out);

// For rows of at least so many samples or pixels.
constexpr int64_t shortestNeonRow = 16, shortestAvx2Row = 32, shortestAvx512Row = 64;
RowOperations neonRowOperations();
RowOperations avx2RowOperations();
RowOperations avx512RowOperations();

} // namespace kelvane
