// Vectors of the box filter's row operations: SSE2.
#pragma once

#include "image/box_rows.h"

#include <emmintrin.h>

namespace kelvane {

namespace {

constexpr int64_t vectorLanes = 8; // of a `Vector16`

using Vector16 = __m128i;

// As many 32-bit lanes as a `Vector16` has lanes.
struct Vector32 {
    __m128i low;
    __m128i high;
};

Vector16 zeroVector() { return _mm_setzero_si128(); }

Vector16 widened(const unsigned char* bytes) {
    const __m128i eight = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes));
    return _mm_unpacklo_epi8(eight, _mm_setzero_si128());
}

Vector16 subtract(Vector16 a, Vector16 b) { return _mm_sub_epi16(a, b); }

// Adds to every lane the lane `distance` before it in its group of eight.
template <int distance>
Vector16 addShifted(Vector16 a) {
    return _mm_add_epi16(a, _mm_slli_si128(a, 2 * distance));
}

// The prefix sums of the only group of eight.
template <int channels>
Vector32 joinGroups(Vector16 a) {
    return {_mm_srai_epi32(_mm_unpacklo_epi16(a, a), 16),
            _mm_srai_epi32(_mm_unpackhi_epi16(a, a), 16)};
}

Vector32 zeroVector32() { return {zeroVector(), zeroVector()}; }

Vector32 add(Vector32 a, Vector32 b) {
    return {_mm_add_epi32(a.low, b.low), _mm_add_epi32(a.high, b.high)};
}

Vector32 loadVector32(const uint32_t* lanes) {
    const auto* const vectors = reinterpret_cast<const __m128i*>(lanes);
    return {_mm_loadu_si128(vectors), _mm_loadu_si128(vectors + 1)};
}

void storeVector32(uint32_t* lanes, Vector32 a) {
    auto* const vectors = reinterpret_cast<__m128i*>(lanes);
    _mm_storeu_si128(vectors, a.low);
    _mm_storeu_si128(vectors + 1, a.high);
}

// The last `channels` lanes over and over, in the order in which the next lanes need them.
template <int channels>
Vector32 lastPixelRepeated(Vector32 a) {
    if constexpr (channels == 1) {
        const __m128i last = _mm_shuffle_epi32(a.high, _MM_SHUFFLE(3, 3, 3, 3));
        return {last, last};
    } else {
        return {_mm_shuffle_epi32(a.high, _MM_SHUFFLE(1, 3, 2, 1)),
                _mm_shuffle_epi32(a.high, _MM_SHUFFLE(2, 1, 3, 2))};
    }
}

__m128i difference(const uint32_t* a, const uint32_t* b) {
    return _mm_sub_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(a)),
                         _mm_loadu_si128(reinterpret_cast<const __m128i*>(b)));
}

void storeMeans(unsigned char* destination, __m128i low, __m128i high) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(destination),
                     _mm_packus_epi16(_mm_srli_epi16(low, reciprocalBits - 16),
                                      _mm_srli_epi16(high, reciprocalBits - 16)));
}

// destination[i] = (ahead[i] - behind[i]) * reciprocal >> 23 for as many of the `count` elements
// as fill whole vectors; returns their number. SSE2 multiplies 16-bit lanes alone, but of sum and
// reciprocal one always fits them: small windows have small sums, large ones small reciprocals.
// The product's upper 16 bits, at most 255 << 7, then come from two multiplications.
int64_t divideVectors(const uint32_t* ahead, const uint32_t* behind, int64_t count,
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

} // namespace

} // namespace kelvane
