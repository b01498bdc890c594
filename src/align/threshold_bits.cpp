#include "align/threshold_bits.h"

#include "align/luma.h"
#include "platform/unaligned.h"

#include <algorithm>

#if defined(__SSE2__)
#include <emmintrin.h>
#elif defined(__aarch64__)
#include <arm_neon.h>
#endif

namespace kelvane {

namespace {

// Compilers do not find the move-mask idiom, which packs 16 pixels in three instructions.
#if defined(__SSE2__)

struct Comparer {
    __m128i lowest; // the smallest value that counts as above

    explicit Comparer(unsigned char value) : lowest(_mm_set1_epi8(static_cast<char>(value))) {}

    uint16_t mask16(const unsigned char* pixels) const {
        const __m128i values = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pixels));
        // There is no unsigned comparison: v >= t where max(v, t) = v.
        const __m128i above = _mm_cmpeq_epi8(_mm_max_epu8(values, lowest), values);
        return static_cast<uint16_t>(_mm_movemask_epi8(above));
    }
};

#elif defined(__aarch64__)

struct Comparer {
    uint8x16_t lowest;

    explicit Comparer(unsigned char value) : lowest(vdupq_n_u8(value)) {}

    uint16_t mask16(const unsigned char* pixels) const {
        constexpr uint8x16_t weights = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
        const uint8x16_t bits = vandq_u8(vcgeq_u8(vld1q_u8(pixels), lowest), weights);
        return static_cast<uint16_t>(vaddv_u8(vget_low_u8(bits)) | vaddv_u8(vget_high_u8(bits))
                                                                       << 8);
    }
};

#else

struct Comparer {
    unsigned char lowest;

    explicit Comparer(unsigned char value) : lowest(value) {}

    uint16_t mask16(const unsigned char* pixels) const {
        uint32_t mask = 0;
        for (int x = 0; x < 16; ++x)
            mask |= static_cast<uint32_t>(pixels[x] >= lowest) << x;
        return static_cast<uint16_t>(mask);
    }
};

#endif

void packContiguous(const unsigned char* pixels, int64_t count, unsigned char lowest,
                    unsigned char* bits) {
    const Comparer comparer(lowest);
    int64_t x = 0;
    for (; x + 16 <= count; x += 16) {
        storeUnaligned(bits + x / 8, comparer.mask16(pixels + x));
    }
    const int64_t rest = count - x;
    if (rest == 0)
        return;
    uint32_t mask = 0;
    if (x > 0) { // the last 16 pixels, of which some are done
        mask = static_cast<uint32_t>(comparer.mask16(pixels + count - 16)) >> (16 - rest);
    } else {
        for (int64_t i = 0; i < rest; ++i)
            mask |= static_cast<uint32_t>(pixels[i] >= lowest) << i;
    }
    for (; x < count; x += 8, mask >>= 8)
        bits[x / 8] = static_cast<unsigned char>(mask & 0xFF);
}

// A constant comparison: all pixels are above a negative threshold, none above 255.
void fillBits(int64_t count, bool above, unsigned char* bits) {
    VantMemSet(bits, above ? 0xFF : 0, (count + 7) / 8);
    if (above && count % 8 != 0)
        bits[count / 8] = static_cast<unsigned char>((1 << count % 8) - 1);
}

} // namespace

void packAbove(const unsigned char* pixels, int64_t step, int64_t count, int64_t threshold,
               unsigned char* bits) {
    if (threshold < 0 || threshold >= 255)
        return fillBits(count, threshold < 0, bits);
    const auto lowest = static_cast<unsigned char>(threshold + 1);
    if (step == 1)
        return packContiguous(pixels, count, lowest, bits);
    constexpr int64_t run = 512;
    unsigned char samples[run];
    for (int64_t x = 0; x < count; x += run) {
        const int64_t length = std::min(run, count - x);
        samplePixels(pixels + x * step, step, length, samples);
        packContiguous(samples, length, lowest, bits + x / 8);
    }
}

} // namespace kelvane
