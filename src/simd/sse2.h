// What the kernels need of the instruction set: SSE2, which every x86-64 processor has.
#pragma once

#define KELVANE_TARGET sse2

#include <cstdint>
#include <emmintrin.h>

namespace kelvane::sse2 {

namespace {

constexpr int64_t vectorBytes = 16;

} // namespace

} // namespace kelvane::sse2

#include "simd/vectors.h"

namespace kelvane::sse2 {

namespace {

// Interleaved channels. `splitTwo` takes two vectors, the others read or write memory.

// Of words below 256.
inline U8 narrowed(U16 low, U16 high) { return (U8)_mm_packus_epi16((__m128i)low, (__m128i)high); }

[[gnu::always_inline]] inline Channels<2> splitTwo(U8 a, U8 b) {
    return {{narrowed((U16)a & 0xFF, (U16)b & 0xFF), narrowed((U16)a >> 8, (U16)b >> 8)}};
}

[[gnu::always_inline]] inline void joinTwo(uint8_t* bytes, const Channels<2>& two) {
    const auto a = (__m128i)two.vectors[0], b = (__m128i)two.vectors[1];
    store(bytes, _mm_unpacklo_epi8(a, b));
    store(bytes + vectorBytes, _mm_unpackhi_epi8(a, b));
}

// A perfect shuffle moves byte i of 48 to 2 i modulo 47. Four of them move it to 16 i, which undoes
// the step of three from pixel to pixel: 3 * 16 is 1 modulo 47.
[[gnu::always_inline]] inline Channels<3> splitThree(const uint8_t* bytes) {
    const auto upper = [](__m128i a) { return _mm_unpackhi_epi64(a, a); };
    auto a = load<__m128i>(bytes);
    auto b = load<__m128i>(bytes + vectorBytes);
    auto c = load<__m128i>(bytes + 2 * vectorBytes);
    for (int round = 0; round < 4; ++round) {
        const __m128i first = _mm_unpacklo_epi8(a, upper(b));
        const __m128i second = _mm_unpacklo_epi8(upper(a), c);
        c = _mm_unpacklo_epi8(b, upper(c));
        a = first;
        b = second;
    }
    return {{(U8)a, (U8)b, (U8)c}};
}

// The same backwards.
[[gnu::always_inline]] inline void joinThree(uint8_t* bytes, const Channels<3>& three) {
    auto a = (U16)three.vectors[0], b = (U16)three.vectors[1], c = (U16)three.vectors[2];
    for (int round = 0; round < 4; ++round) {
        const U8 first = narrowed(a & 0xFF, b & 0xFF);
        const U8 second = narrowed(c & 0xFF, a >> 8);
        c = (U16)narrowed(b >> 8, c >> 8);
        a = (U16)first;
        b = (U16)second;
    }
    store(bytes, a);
    store(bytes + vectorBytes, b);
    store(bytes + 2 * vectorBytes, c);
}

// Sums and packing. What has two arguments packs each block of 16 bytes from those of both, in
// turn.

// Of lanes that fit the narrower ones.
inline I16 packed(I32 a, I32 b) { return (I16)_mm_packs_epi32((__m128i)a, (__m128i)b); }
inline U8 packed(I16 a, I16 b) { return (U8)_mm_packus_epi16((__m128i)a, (__m128i)b); }

inline U16 lowHalves(U32 a, U32 b) { return (U16)packed((I32)a << 16 >> 16, (I32)b << 16 >> 16); }

// Puts into the order of memory what was packed from runs of `run` bytes of every block.
template <int run>
inline U8 inOrder(U8 blocks) {
    return blocks;
}

// a[0] * weights[0] + a[1] * weights[1] of every pair of lanes.
inline I32 weightedPairs(I16 a, I16 weights) {
    return (I32)_mm_madd_epi16((__m128i)a, (__m128i)weights);
}

// Adds |a - b|, of all lanes, to the sums.
inline U64 addDifferences(U64 sums, U8 a, U8 b) {
    return sums + (U64)_mm_sad_epu8((__m128i)a, (__m128i)b);
}

// A bit for every byte, set where a >= b. There is no unsigned comparison.
inline uint64_t notBelow(U8 a, U8 b) {
    return static_cast<uint64_t>(
        _mm_movemask_epi8((__m128i)((U8)_mm_max_epu8((__m128i)a, (__m128i)b) == a)));
}

// The number of set bits in every lane.
inline U64 bitCounts(U64 a) {
    a -= a >> 1 & 0x5555555555555555;
    a = (a & 0x3333333333333333) + (a >> 2 & 0x3333333333333333);
    a = (a + (a >> 4)) & 0x0F0F0F0F0F0F0F0F;
    return (U64)_mm_sad_epu8((__m128i)a, _mm_setzero_si128());
}

// Resized rows.

[[gnu::always_inline]] inline U8 average(U8 a, U8 b) { // rounded up
    return (U8)_mm_avg_epu8((__m128i)a, (__m128i)b);
}

// (a * factor) >> 15, with a factor of -2^14 to 2^14 - 1.
[[gnu::always_inline]] inline I16 highProduct(I16 a, int16_t factor) {
    return (I16)_mm_mulhi_epi16((__m128i)a, _mm_set1_epi16(static_cast<int16_t>(2 * factor)));
}

// Half a vector of bytes as 16-bit lanes.
[[gnu::always_inline]] inline U16 loadWidened(const uint8_t* bytes) {
    return (U16)_mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes)),
                                  _mm_setzero_si128());
}

// (a * aFactor + b * bFactor + 2^13) >> 14, of lanes of -128 to 127.
[[gnu::always_inline]] inline I16 scaledSum(I16 a, int16_t aFactor, I16 b, int16_t bFactor) {
    const __m128i factors = _mm_unpacklo_epi16(_mm_set1_epi16(aFactor), _mm_set1_epi16(bFactor));
    const auto scaledPairs = [factors](__m128i pairs) {
        const __m128i sums = _mm_madd_epi16(pairs, factors);
        return _mm_srai_epi32(_mm_add_epi32(sums, _mm_set1_epi32(1 << 13)), 14);
    };
    return (I16)_mm_packs_epi32(scaledPairs(_mm_unpacklo_epi16((__m128i)a, (__m128i)b)),
                                scaledPairs(_mm_unpackhi_epi16((__m128i)a, (__m128i)b)));
}

// The same of one.
[[gnu::always_inline]] inline I16 scaled(I16 a, int16_t factor) {
    return scaledSum(a, factor, a, 0);
}

// Lanes of both in turn, saturated.
[[gnu::always_inline]] inline U8 saturatedBytes(I16 even, I16 odd) {
    const __m128i bytes = _mm_packus_epi16((__m128i)even, (__m128i)odd);
    return (U8)_mm_unpacklo_epi8(bytes, _mm_unpackhi_epi64(bytes, bytes));
}

struct Gather {
    static constexpr bool isPossible = false;
};

// The box filter.

inline U16 multiplyHigh(U16 a, U16 b) { return (U16)_mm_mulhi_epu16((__m128i)a, (__m128i)b); }

template <int first>
[[gnu::always_inline]] inline U16 lanesFrom(U16 a, U16 b) {
    return (U16)(_mm_srli_si128((__m128i)a, 2 * first) |
                 _mm_slli_si128((__m128i)b, 16 - 2 * first));
}

// The lower bytes of the lanes of both in turn, whose upper bytes are 0.
[[gnu::always_inline]] inline U16 lowerBytes(U16 even, U16 odd) { return even | odd << 8; }

inline U16 prefixSums(U16 a) {
    a += (U16)_mm_slli_si128((__m128i)a, 2);
    a += (U16)_mm_slli_si128((__m128i)a, 4);
    return a + (U16)_mm_slli_si128((__m128i)a, 8);
}

inline U32 prefixSums(U32 a) {
    a += (U32)_mm_slli_si128((__m128i)a, 4);
    return a + (U32)_mm_slli_si128((__m128i)a, 8);
}

inline U32 lastLane(U32 a) { return (U32)_mm_shuffle_epi32((__m128i)a, 0xFF); }
inline U16 lastLane(U16 a) {
    return (U16)_mm_shuffle_epi32(_mm_shufflehi_epi16((__m128i)a, 0xFF), 0xFF);
}

inline U16 sumsOfBytes(U16 a) { return (a & 0xFF) + (a >> 8); }

// A multiplication takes one instruction, and not one of the crowded shifts.
inline U32 weighted(U16 a, int weights) {
    return (U32)_mm_madd_epi16((__m128i)a, _mm_set1_epi32(weights));
}
inline U32 lowerOfPairs(U16 a) { return weighted(a, 1); }
inline U32 upperOfPairs(U16 a) { return weighted(a, 0x10000); }
inline U32 sumsOfPairs(U16 a) { return weighted(a, 0x10001); }

inline U8 upperBytes(U16 a, U16 b) { return (U8)(a >> 8 | (b & 0xFF00)); }
inline U8 upperBytes(U32 a, U32 b, U32 c, U32 d) {
    const auto upperHalves = [](U32 even, U32 odd) {
        return (U16)(even >> 16 | (odd & 0xFFFF0000));
    };
    return upperBytes(upperHalves(a, c), upperHalves(b, d));
}

} // namespace

} // namespace kelvane::sse2
