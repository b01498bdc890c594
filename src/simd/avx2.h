// What the kernels need of the instruction set: AVX2.
#pragma once

#define KELVANE_TARGET avx2

#include <cstdint>
#include <immintrin.h>

namespace kelvane::avx2 {

namespace {

constexpr int64_t vectorBytes = 32;

} // namespace

} // namespace kelvane::avx2

#include "simd/vectors.h"

namespace kelvane::avx2 {

namespace {

// Sums and packing. What has two arguments packs each block of 16 bytes from those of both, in
// turn.

// Of lanes that fit the narrower ones.
inline I16 packed(I32 a, I32 b) { return (I16)_mm256_packs_epi32((__m256i)a, (__m256i)b); }
inline U8 packed(I16 a, I16 b) { return (U8)_mm256_packus_epi16((__m256i)a, (__m256i)b); }

// Puts into the order of memory what was packed from runs of `run` bytes of every block.
template <int run>
inline U8 inOrder(U8 blocks) {
    if constexpr (run == 4)
        return (U8)_mm256_permutevar8x32_epi32((__m256i)blocks,
                                               _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
    const __m256i halves = _mm256_permute4x64_epi64((__m256i)blocks, 0xD8);
    const __m256i other = _mm256_bsrli_epi128(halves, 8);
    return (U8)(run == 2 ? _mm256_unpacklo_epi16(halves, other)
                         : _mm256_unpacklo_epi8(halves, other));
}

// a[0] * weights[0] + a[1] * weights[1] of every pair of lanes.
inline I32 weightedPairs(I16 a, I16 weights) {
    return (I32)_mm256_madd_epi16((__m256i)a, (__m256i)weights);
}

// Adds |a - b|, of all lanes, to the sums.
inline U64 addDifferences(U64 sums, U8 a, U8 b) {
    return sums + (U64)_mm256_sad_epu8((__m256i)a, (__m256i)b);
}

// A bit for every byte, set where a >= b. There is no unsigned comparison.
inline uint64_t notBelow(U8 a, U8 b) {
    const auto lanes = (U8)_mm256_max_epu8((__m256i)a, (__m256i)b) == a;
    return static_cast<uint32_t>(_mm256_movemask_epi8((__m256i)lanes));
}

// The number of set bits in every lane: those of four bits are looked up.
inline U64 bitCounts(U64 a) {
    const __m256i counts = _mm256_setr_epi8(0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4, //
                                            0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4);
    const __m256i low = _mm256_shuffle_epi8(counts, (__m256i)(a & 0x0F0F0F0F0F0F0F0F));
    const __m256i high = _mm256_shuffle_epi8(counts, (__m256i)(a >> 4 & 0x0F0F0F0F0F0F0F0F));
    return (U64)_mm256_sad_epu8(_mm256_add_epi8(low, high), _mm256_setzero_si256());
}

} // namespace

} // namespace kelvane::avx2
