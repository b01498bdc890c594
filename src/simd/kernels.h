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
// but for what aligning the row values behind it takes: less than twice the greatest power of two
// up to 64 that is not above the count of samples.
constexpr int64_t planBytesPerSample = 12;

// Chroma samples, one for every two pixels, `step` bytes apart: 1, or 2 when Cb and Cr alternate.
struct ChromaRow {
    const unsigned char* cb;
    const unsigned char* cr;
    int64_t step;
};

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
};

// Those for rows of `rowBytes`: of the widest instruction set of this processor of which a row
// fills at least one vector, otherwise of the one that all processors have.
const Kernels& kernelsFor(int64_t rowBytes);

// One table for each instruction set. Those of one that the processor lacks must not be called.
// Beside each stands the next narrower one, if there is one, for what does not suit a set.
#if defined(KELVANE_PORTABLE) || !(defined(__x86_64__) || defined(__aarch64__))
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
