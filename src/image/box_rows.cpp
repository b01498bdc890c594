#include "image/box_vectors.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#else
#include <arm_neon.h>
#endif

namespace kelvane {

namespace {

#if defined(__SSE2__)

Words prefixSums(Words a) {
    a += (Words)_mm_slli_si128((__m128i)a, 2);
    a += (Words)_mm_slli_si128((__m128i)a, 4);
    a += (Words)_mm_slli_si128((__m128i)a, 8);
    return a;
}

Longs prefixSums(Longs a) {
    a += (Longs)_mm_slli_si128((__m128i)a, 4);
    a += (Longs)_mm_slli_si128((__m128i)a, 8);
    return a;
}

Words lastLane(Words a) {
    return (Words)_mm_shuffle_epi32(_mm_shufflehi_epi16((__m128i)a, 0xFF), 0xFF);
}
Longs lastLane(Longs a) { return (Longs)_mm_shuffle_epi32((__m128i)a, 0xFF); }

Words sumsOfBytes(Words a) { return (a & 0xFF) + (a >> 8); }

Longs weighted(Words a, int weights) {
    return (Longs)_mm_madd_epi16((__m128i)a, _mm_set1_epi32(weights));
}

Longs sumsOfPairs(Words a) { return weighted(a, 0x10001); }
Longs lowerOfPairs(Words a) { return weighted(a, 1); }
Longs upperOfPairs(Words a) { return weighted(a, 0x10000); }

Words multiplyHigh(Words a, Words b) { return (Words)_mm_mulhi_epu16((__m128i)a, (__m128i)b); }

Words upperHalves(Longs even, Longs odd) { return (Words)((even >> 16) | (odd & 0xFFFF0000)); }

// A perfect shuffle moves byte i of 48 to 2 i modulo 47. Four of them move it to 16 i, which undoes
// the step of three from pixel to pixel: 3 * 16 is 1 modulo 47.
Channels<3> splitChannels(const unsigned char* bytes) {
    const auto upper = [](__m128i a) { return _mm_unpackhi_epi64(a, a); };
    const auto* const blocks = reinterpret_cast<const __m128i*>(bytes);
    __m128i a = _mm_loadu_si128(blocks);
    __m128i b = _mm_loadu_si128(blocks + 1);
    __m128i c = _mm_loadu_si128(blocks + 2);
    for (int round = 0; round < 4; ++round) {
        const __m128i first = _mm_unpacklo_epi8(a, upper(b));
        const __m128i second = _mm_unpacklo_epi8(upper(a), c);
        c = _mm_unpacklo_epi8(b, upper(c));
        a = first;
        b = second;
    }
    return {{(Words)a, (Words)b, (Words)c}};
}

// The same backwards.
void storeChannels(const Channels<3>& channels, unsigned char* bytes) {
    const auto packed = [](Words low, Words high) {
        return (Words)_mm_packus_epi16((__m128i)low, (__m128i)high);
    };
    Words a = channels.bytes[0];
    Words b = channels.bytes[1];
    Words c = channels.bytes[2];
    for (int round = 0; round < 4; ++round) {
        const Words first = packed(a & 0xFF, b & 0xFF);
        const Words second = packed(c & 0xFF, a >> 8);
        c = packed(b >> 8, c >> 8);
        a = first;
        b = second;
    }
    storeVector(bytes, a);
    storeVector(bytes + 16, b);
    storeVector(bytes + 32, c);
}

#else

Words prefixSums(Words a) {
    const uint16x8_t zero = vdupq_n_u16(0);
    a += (Words)vextq_u16(zero, (uint16x8_t)a, 7);
    a += (Words)vextq_u16(zero, (uint16x8_t)a, 6);
    a += (Words)vextq_u16(zero, (uint16x8_t)a, 4);
    return a;
}

Longs prefixSums(Longs a) {
    const uint32x4_t zero = vdupq_n_u32(0);
    a += (Longs)vextq_u32(zero, (uint32x4_t)a, 3);
    a += (Longs)vextq_u32(zero, (uint32x4_t)a, 2);
    return a;
}

Words lastLane(Words a) { return (Words)vdupq_laneq_u16((uint16x8_t)a, 7); }
Longs lastLane(Longs a) { return (Longs)vdupq_laneq_u32((uint32x4_t)a, 3); }

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

Channels<3> splitChannels(const unsigned char* bytes) {
    const uint8x16x3_t split = vld3q_u8(bytes);
    return {{(Words)split.val[0], (Words)split.val[1], (Words)split.val[2]}};
}

void storeChannels(const Channels<3>& channels, unsigned char* bytes) {
    const Words* const c = channels.bytes;
    const uint8x16x3_t three = {{(uint8x16_t)c[0], (uint8x16_t)c[1], (uint8x16_t)c[2]}};
    vst3q_u8(bytes, three);
}

#endif

Words upperBytes(Words even, Words odd) { return (even >> 8) | (odd & 0xFF00); }
Words upperBytes(Longs first, Longs second, Longs third, Longs fourth) {
    return upperBytes(upperHalves(first, third), upperHalves(second, fourth));
}

} // namespace

} // namespace kelvane

#include "image/box_rows_kernel.h"

namespace kelvane {

namespace {

template <typename Counter, int channels>
BoxRowOperations operations() {
    return {.replaceRow = accumulateRows<Counter, channels, true>,
            .addOrRemoveRow = accumulateRows<Counter, channels, false>,
            .divideWhole = divideWhole<Counter, channels>,
            .divideCut = cutWindowDivision(sizeof(Counter))};
}

} // namespace

BoxRowOperations boxRowOperations(int channels, int64_t largestArea) {
    if (largestArea <= largestWordArea)
        return channels == 1 ? operations<uint16_t, 1>() : operations<uint16_t, 3>();
    return channels == 1 ? operations<uint32_t, 1>() : operations<uint32_t, 3>();
}

} // namespace kelvane
