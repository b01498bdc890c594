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

// Interleaved channels. `splitTwo` takes two vectors, the others read or write memory.

// Of words below 256. Instructions work on the halves of a vector one by one.
[[gnu::always_inline]] inline U8 narrowed(U16 low, U16 high) {
    const __m256i halves = _mm256_packus_epi16((__m256i)low, (__m256i)high);
    return (U8)_mm256_permute4x64_epi64(halves, 0xD8);
}

[[gnu::always_inline]] inline Channels<2> splitTwo(U8 a, U8 b) {
    return {{narrowed((U16)a & 0xFF, (U16)b & 0xFF), narrowed((U16)a >> 8, (U16)b >> 8)}};
}

[[gnu::always_inline]] inline void joinTwo(uint8_t* bytes, const Channels<2>& two) {
    const __m256i a = _mm256_permute4x64_epi64((__m256i)two.vectors[0], 0xD8);
    const __m256i b = _mm256_permute4x64_epi64((__m256i)two.vectors[1], 0xD8);
    store(bytes, _mm256_unpacklo_epi8(a, b));
    store(bytes + vectorBytes, _mm256_unpackhi_epi8(a, b));
}

// Three blocks of 16 bytes hold 16 pixels. Of each channel they have different bytes: put together,
// these fill one block, in an order that a shuffle mends.
struct BlockIndexes {
    alignas(16) uint8_t bytes[16] = {};
};

// The bytes i * step + start modulo 16.
template <int step, int start>
[[gnu::always_inline]] inline __m256i shuffled(__m256i a) {
    static constexpr BlockIndexes indexes = [] {
        BlockIndexes made;
        for (int i = 0; i < 16; ++i)
            made.bytes[i] = static_cast<uint8_t>((i * step + start) % 16);
        return made;
    }();
    return _mm256_shuffle_epi8(a, _mm256_broadcastsi128_si256(load<__m128i>(indexes.bytes)));
}

// Each byte from the argument that belongs to its place in a block modulo 3.
[[gnu::always_inline]] inline __m256i mixed(__m256i at0, __m256i at1, __m256i at2) {
    const auto is = [](char k0, char k1, char k2) {
        return _mm256_broadcastsi128_si256(
            _mm_setr_epi8(k0, k1, k2, k0, k1, k2, k0, k1, k2, k0, k1, k2, k0, k1, k2, k0));
    };
    return _mm256_blendv_epi8(_mm256_blendv_epi8(at0, at1, is(0, -1, 0)), at2, is(0, 0, -1));
}

[[gnu::always_inline]] inline Channels<3> splitThree(const uint8_t* bytes) {
    const auto blocks = [bytes](int low, int high) {
        return _mm256_inserti128_si256(_mm256_castsi128_si256(load<__m128i>(bytes + low)),
                                       load<__m128i>(bytes + high), 1);
    };
    const __m256i a = blocks(0, 48), b = blocks(16, 64), c = blocks(32, 80);
    return {{(U8)shuffled<3, 0>(mixed(a, c, b)), (U8)shuffled<3, 1>(mixed(b, a, c)),
             (U8)shuffled<3, 2>(mixed(c, b, a))}};
}

// 11 is the inverse of 3 modulo 16.
[[gnu::always_inline]] inline void joinThree(uint8_t* bytes, const Channels<3>& three) {
    const __m256i first = shuffled<11, 0>((__m256i)three.vectors[0]);
    const __m256i second = shuffled<11, 5>((__m256i)three.vectors[1]);
    const __m256i third = shuffled<11, 10>((__m256i)three.vectors[2]);
    const __m256i a = mixed(first, second, third);
    const __m256i b = mixed(second, third, first);
    const __m256i c = mixed(third, first, second);
    store(bytes, _mm256_permute2x128_si256(a, b, 0x20));
    store(bytes + vectorBytes, _mm256_permute2x128_si256(c, a, 0x30));
    store(bytes + 2 * vectorBytes, _mm256_permute2x128_si256(b, c, 0x31));
}

// Sums and packing. What has two arguments packs each block of 16 bytes from those of both, in
// turn.

// Of lanes that fit the narrower ones.
inline I16 packed(I32 a, I32 b) { return (I16)_mm256_packs_epi32((__m256i)a, (__m256i)b); }
inline U8 packed(I16 a, I16 b) { return (U8)_mm256_packus_epi16((__m256i)a, (__m256i)b); }

inline U16 lowHalves(U32 a, U32 b) {
    return (U16)_mm256_packus_epi32((__m256i)(a & 0xFFFF), (__m256i)(b & 0xFFFF));
}

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
