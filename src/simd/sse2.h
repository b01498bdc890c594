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

// Sums and packing. What has two arguments packs each block of 16 bytes from those of both, in
// turn.

// Of lanes that fit the narrower ones.
inline I16 packed(I32 a, I32 b) { return (I16)_mm_packs_epi32((__m128i)a, (__m128i)b); }
inline U8 packed(I16 a, I16 b) { return (U8)_mm_packus_epi16((__m128i)a, (__m128i)b); }

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
