// Vector steps of the box filter's row operations, for SSE2 and NEON.
#pragma once

#include "image/box_rows.h"

#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#elif defined(__aarch64__)
#include <arm_neon.h>
#else
#error "The box filter has vector code for x86-64 and 64-bit Arm"
#endif

namespace kelvane {

constexpr int64_t vectorLanes = 8; // 16-bit lanes of one vector

#if defined(__SSE2__)

using Vector16 = __m128i;

// As many 32-bit lanes as a `Vector16` has lanes.
struct Vector32Pair {
    __m128i low;
    __m128i high;
};

inline Vector16 zeroVector() { return _mm_setzero_si128(); }

inline Vector16 widened(const unsigned char* bytes) {
    const __m128i eight = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes));
    return _mm_unpacklo_epi8(eight, _mm_setzero_si128());
}

inline Vector16 subtract(Vector16 a, Vector16 b) { return _mm_sub_epi16(a, b); }

// Adds to every lane the lane `distance` before it.
template <int distance>
Vector16 addShifted(Vector16 a) {
    return _mm_add_epi16(a, _mm_slli_si128(a, 2 * distance));
}

inline Vector32Pair signExtended(Vector16 a) {
    return {_mm_srai_epi32(_mm_unpacklo_epi16(a, a), 16),
            _mm_srai_epi32(_mm_unpackhi_epi16(a, a), 16)};
}

inline Vector32Pair zeroPair() { return {zeroVector(), zeroVector()}; }

inline Vector32Pair add(Vector32Pair a, Vector32Pair b) {
    return {_mm_add_epi32(a.low, b.low), _mm_add_epi32(a.high, b.high)};
}

inline Vector32Pair loadPair(const uint32_t* lanes) {
    const auto* const vectors = reinterpret_cast<const __m128i*>(lanes);
    return {_mm_loadu_si128(vectors), _mm_loadu_si128(vectors + 1)};
}

inline void storePair(uint32_t* lanes, Vector32Pair a) {
    auto* const vectors = reinterpret_cast<__m128i*>(lanes);
    _mm_storeu_si128(vectors, a.low);
    _mm_storeu_si128(vectors + 1, a.high);
}

// The last `channels` lanes over and over, in the order in which the next lanes need them.
template <int channels>
Vector32Pair lastPixelRepeated(Vector32Pair a) {
    if constexpr (channels == 1) {
        const __m128i last = _mm_shuffle_epi32(a.high, _MM_SHUFFLE(3, 3, 3, 3));
        return {last, last};
    } else {
        return {_mm_shuffle_epi32(a.high, _MM_SHUFFLE(1, 3, 2, 1)),
                _mm_shuffle_epi32(a.high, _MM_SHUFFLE(2, 1, 3, 2))};
    }
}

inline __m128i difference(const uint32_t* a, const uint32_t* b) {
    return _mm_sub_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(a)),
                         _mm_loadu_si128(reinterpret_cast<const __m128i*>(b)));
}

inline void storeMeans(unsigned char* destination, __m128i low, __m128i high) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(destination),
                     _mm_packus_epi16(_mm_srli_epi16(low, reciprocalBits - 16),
                                      _mm_srli_epi16(high, reciprocalBits - 16)));
}

// destination[i] = (ahead[i] - behind[i]) * reciprocal >> 23 for as many of the `count` elements
// as fill whole vectors; returns their number. SSE2 multiplies 16-bit lanes alone, but of sum and
// reciprocal one always fits them: small windows have small sums, large ones small reciprocals.
// The product's upper 16 bits, at most 255 << 7, then come from two multiplications.
inline int64_t divideVectors(const uint32_t* ahead, const uint32_t* behind, int64_t count,
                             uint32_t reciprocal, unsigned char* destination) {
    const __m128i lower = _mm_set1_epi16(static_cast<short>(reciprocal & 0xFFFF));
    const __m128i upper = _mm_set1_epi16(static_cast<short>(reciprocal >> 16));
    const auto smallWindows = [&](int64_t i) {
        const __m128i sums = _mm_packs_epi32(difference(ahead + i, behind + i),
                                             difference(ahead + i + 4, behind + i + 4));
        return _mm_add_epi16(_mm_mulhi_epu16(sums, lower), _mm_mullo_epi16(sums, upper));
    };
    const auto largeWindowsHalf = [&](int64_t i) {
        const __m128i sums = difference(ahead + i, behind + i);
        return _mm_add_epi32(_mm_mulhi_epu16(sums, lower),
                             _mm_srli_epi32(_mm_mullo_epi16(sums, lower), 16));
    };
    const auto largeWindows = [&](int64_t i) {
        return _mm_packs_epi32(largeWindowsHalf(i), largeWindowsHalf(i + 4));
    };
    constexpr int64_t step = 2 * vectorLanes;
    int64_t i = 0;
    if (reciprocal > 0xFFFF) {
        for (; i + step <= count; i += step)
            storeMeans(destination + i, smallWindows(i), smallWindows(i + vectorLanes));
    } else {
        for (; i + step <= count; i += step)
            storeMeans(destination + i, largeWindows(i), largeWindows(i + vectorLanes));
    }
    return i;
}

#else

using Vector16 = int16x8_t;

struct Vector32Pair {
    uint32x4_t low;
    uint32x4_t high;
};

inline Vector16 zeroVector() { return vdupq_n_s16(0); }

inline Vector16 widened(const unsigned char* bytes) {
    return vreinterpretq_s16_u16(vmovl_u8(vld1_u8(bytes)));
}

inline Vector16 subtract(Vector16 a, Vector16 b) { return vsubq_s16(a, b); }

// Adds to every lane the lane `distance` before it.
template <int distance>
Vector16 addShifted(Vector16 a) {
    return vaddq_s16(a, vextq_s16(zeroVector(), a, 8 - distance));
}

inline Vector32Pair signExtended(Vector16 a) {
    return {vreinterpretq_u32_s32(vmovl_s16(vget_low_s16(a))),
            vreinterpretq_u32_s32(vmovl_high_s16(a))};
}

inline Vector32Pair zeroPair() { return {vdupq_n_u32(0), vdupq_n_u32(0)}; }

inline Vector32Pair add(Vector32Pair a, Vector32Pair b) {
    return {vaddq_u32(a.low, b.low), vaddq_u32(a.high, b.high)};
}

inline Vector32Pair loadPair(const uint32_t* lanes) {
    return {vld1q_u32(lanes), vld1q_u32(lanes + 4)};
}

inline void storePair(uint32_t* lanes, Vector32Pair a) {
    vst1q_u32(lanes, a.low);
    vst1q_u32(lanes + 4, a.high);
}

// The last `channels` lanes over and over, in the order in which the next lanes need them.
template <int channels>
Vector32Pair lastPixelRepeated(Vector32Pair a) {
    if constexpr (channels == 1) {
        const uint32x4_t last = vdupq_laneq_u32(a.high, 3);
        return {last, last};
    } else {
        const uint32x4_t rotated = vextq_u32(a.high, a.high, 1); // lanes 1, 2, 3, 0
        const uint32x4_t low = vcopyq_laneq_u32(rotated, 3, rotated, 0);
        return {low, vextq_u32(low, vdupq_laneq_u32(low, 1), 1)};
    }
}

// The compiler's own vectors do as well here: NEON multiplies 32-bit lanes.
inline int64_t divideVectors(const uint32_t* ahead, const uint32_t* behind, int64_t count,
                             uint32_t reciprocal, unsigned char* __restrict destination) {
    for (int64_t i = 0; i < count; ++i)
        destination[i] =
            static_cast<unsigned char>(((ahead[i] - behind[i]) * reciprocal) >> reciprocalBits);
    return count;
}

#endif

// Sums over every `channels`-th lane up to and including each; the sums of eight differences of
// bytes fit 16 bits.
template <int channels>
Vector32Pair prefixSums(Vector16 differences) {
    Vector16 sums = addShifted<channels>(differences);
    sums = addShifted<2 * channels>(sums);
    if constexpr (4 * channels < vectorLanes)
        sums = addShifted<4 * channels>(sums);
    return signExtended(sums);
}

} // namespace kelvane
