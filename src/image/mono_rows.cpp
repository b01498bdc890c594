#include "image/mono_vectors.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#else
#include <arm_neon.h>
#endif

namespace kelvane {

namespace {

#if defined(__SSE2__)

Prefix<Words> prefixSums(Words a) {
    a += (Words)_mm_slli_si128((__m128i)a, 2);
    a += (Words)_mm_slli_si128((__m128i)a, 4);
    a += (Words)_mm_slli_si128((__m128i)a, 8);
    return {a, (Words)_mm_shuffle_epi32(_mm_shufflehi_epi16((__m128i)a, 0xFF), 0xFF)};
}

Prefix<Longs> prefixSums(Longs a) {
    a += (Longs)_mm_slli_si128((__m128i)a, 4);
    a += (Longs)_mm_slli_si128((__m128i)a, 8);
    return {a, (Longs)_mm_shuffle_epi32((__m128i)a, 0xFF)};
}

Words sumsOfBytes(Words a) { return (a & 0xFF) + (a >> 8); }

Longs weighted(Words a, int weights) {
    return (Longs)_mm_madd_epi16((__m128i)a, _mm_set1_epi32(weights));
}

Longs sumsOfPairs(Words a) { return weighted(a, 0x10001); }
Longs lowerOfPairs(Words a) { return weighted(a, 1); }
Longs upperOfPairs(Words a) { return weighted(a, 0x10000); }

Words multiplyHigh(Words a, Words b) { return (Words)_mm_mulhi_epu16((__m128i)a, (__m128i)b); }

Words upperHalves(Longs even, Longs odd) { return (Words)((even >> 16) | (odd & 0xFFFF0000)); }

#else

Prefix<Words> prefixSums(Words a) {
    const uint16x8_t zero = vdupq_n_u16(0);
    a += (Words)vextq_u16(zero, (uint16x8_t)a, 7);
    a += (Words)vextq_u16(zero, (uint16x8_t)a, 6);
    a += (Words)vextq_u16(zero, (uint16x8_t)a, 4);
    return {a, (Words)vdupq_laneq_u16((uint16x8_t)a, 7)};
}

Prefix<Longs> prefixSums(Longs a) {
    const uint32x4_t zero = vdupq_n_u32(0);
    a += (Longs)vextq_u32(zero, (uint32x4_t)a, 3);
    a += (Longs)vextq_u32(zero, (uint32x4_t)a, 2);
    return {a, (Longs)vdupq_laneq_u32((uint32x4_t)a, 3)};
}

Words sumsOfBytes(Words a) { return (Words)vpaddlq_u8((uint8x16_t)a); }

Longs sumsOfPairs(Words a) { return (Longs)vpaddlq_s16((int16x8_t)a); }
Longs lowerOfPairs(Words a) { return (Longs)vshrq_n_s32((int32x4_t)((Longs)a << 16), 16); }
Longs upperOfPairs(Words a) { return (Longs)vshrq_n_s32((int32x4_t)a, 16); }

Words multiplyHigh(Words a, Words b) {
    const uint32x4_t low = vmull_u16(vget_low_u16((uint16x8_t)a), vget_low_u16((uint16x8_t)b));
    const uint32x4_t high = vmull_high_u16((uint16x8_t)a, (uint16x8_t)b);
    return (Words)vuzp2q_u16((uint16x8_t)low, (uint16x8_t)high);
}

Words upperHalves(Longs even, Longs odd) {
    return (Words)vtrn2q_u16((uint16x8_t)even, (uint16x8_t)odd);
}

#endif

} // namespace

} // namespace kelvane

#include "image/mono_rows_kernel.h"

namespace kelvane {

BoxRowOperations monoRowOperations(int64_t area) { return operationsFor(area); }

} // namespace kelvane
