// What the kernels need of the instruction set: AVX-512 with byte permutations and bit counts.
#pragma once

#define KELVANE_TARGET avx512

#include <cstdint>
#include <immintrin.h>

namespace kelvane::avx512 {

namespace {

constexpr int64_t vectorBytes = 64;

} // namespace

} // namespace kelvane::avx512

#include "simd/vectors.h"

namespace kelvane::avx512 {

namespace {

// Sums and packing. What has two arguments packs each block of 16 bytes from those of both, in
// turn.

// Of lanes that fit the narrower ones.
inline I16 packed(I32 a, I32 b) { return (I16)_mm512_packs_epi32((__m512i)a, (__m512i)b); }
inline U8 packed(I16 a, I16 b) { return (U8)_mm512_packus_epi16((__m512i)a, (__m512i)b); }

// Puts into the order of memory what was packed from runs of `run` bytes of every block.
template <int run>
inline U8 inOrder(U8 blocks) {
    static constexpr Indexes indexes = [] {
        Indexes made;
        for (int i = 0; i < vectorBytes; ++i)
            made.bytes[i] = static_cast<uint8_t>(i / run % 4 * 16 + i / (4 * run) * run + i % run);
        return made;
    }();
    return (U8)_mm512_permutexvar_epi8(load<__m512i>(indexes.bytes), (__m512i)blocks);
}

// a[0] * weights[0] + a[1] * weights[1] of every pair of lanes.
inline I32 weightedPairs(I16 a, I16 weights) {
    return (I32)_mm512_madd_epi16((__m512i)a, (__m512i)weights);
}

// Adds |a - b|, of all lanes, to the sums.
inline U64 addDifferences(U64 sums, U8 a, U8 b) {
    return sums + (U64)_mm512_sad_epu8((__m512i)a, (__m512i)b);
}

// A bit for every byte, set where a >= b.
inline uint64_t notBelow(U8 a, U8 b) { return _mm512_cmpge_epu8_mask((__m512i)a, (__m512i)b); }

// The number of set bits in every lane.
inline U64 bitCounts(U64 a) { return (U64)_mm512_popcnt_epi64((__m512i)a); }

} // namespace

} // namespace kelvane::avx512
