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

} // namespace

} // namespace kelvane::sse2
