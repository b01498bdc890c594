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

// Resized rows.

[[gnu::always_inline]] inline U8 average(U8 a, U8 b) { // rounded up
    return (U8)_mm256_avg_epu8((__m256i)a, (__m256i)b);
}

// (a * factor) >> 15, with a factor of -2^14 to 2^14 - 1.
[[gnu::always_inline]] inline I16 highProduct(I16 a, int16_t factor) {
    return (I16)_mm256_mulhi_epi16((__m256i)a, _mm256_set1_epi16(static_cast<int16_t>(2 * factor)));
}

// Half a vector of bytes as 16-bit lanes.
[[gnu::always_inline]] inline U16 loadWidened(const uint8_t* bytes) {
    return (U16)_mm256_cvtepu8_epi16(load<__m128i>(bytes));
}

// (a * aFactor + b * bFactor + 2^13) >> 14, of lanes of -128 to 127.
[[gnu::always_inline]] inline I16 scaledSum(I16 a, int16_t aFactor, I16 b, int16_t bFactor) {
    const __m256i factors =
        _mm256_unpacklo_epi16(_mm256_set1_epi16(aFactor), _mm256_set1_epi16(bFactor));
    const auto scaledPairs = [factors](__m256i pairs) {
        const __m256i sums = _mm256_madd_epi16(pairs, factors);
        return _mm256_srai_epi32(_mm256_add_epi32(sums, _mm256_set1_epi32(1 << 13)), 14);
    };
    return (I16)_mm256_packs_epi32(scaledPairs(_mm256_unpacklo_epi16((__m256i)a, (__m256i)b)),
                                   scaledPairs(_mm256_unpackhi_epi16((__m256i)a, (__m256i)b)));
}

// The same of one. The instruction shifts by 15.
[[gnu::always_inline]] inline I16 scaled(I16 a, int16_t factor) {
    return (I16)_mm256_mulhrs_epi16((__m256i)(a + a), _mm256_set1_epi16(factor));
}

// Lanes of both in turn, saturated.
[[gnu::always_inline]] inline U8 saturatedBytes(I16 even, I16 odd) {
    const __m128i turns = _mm_setr_epi8(0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15);
    return (U8)_mm256_shuffle_epi8(_mm256_packus_epi16((__m256i)even, (__m256i)odd),
                                   _mm256_broadcastsi128_si256(turns));
}

// Eight taps in either half of a vector, from windows of their own.
struct Gather {
    static constexpr bool isPossible = true;
    static constexpr int64_t mostWindows = 8;
    static constexpr int64_t windows(int scale) { return 2 * scale; }
    static constexpr int64_t windowBytes(int) { return 16; }
    static constexpr int64_t windowDistance = 0; // of the indexes
    static constexpr int64_t tapDistance = 2;
    static constexpr int64_t secondDistance = 1;
    static constexpr int weightSign = -1; // 128 has none with a plus

    template <int scale>
    [[gnu::always_inline]] static U8 gather(const uint8_t* row, const uint32_t* starts,
                                            U8 indexes) {
        const auto window = [=](int i) {
            const __m256i halves =
                _mm256_inserti128_si256(_mm256_castsi128_si256(load<__m128i>(row + starts[i])),
                                        load<__m128i>(row + starts[i + scale]), 1);
            return _mm256_shuffle_epi8(halves, (__m256i)indexes);
        };
        if constexpr (scale == 1)
            return (U8)window(0);
        else if constexpr (scale == 2)
            return (U8)_mm256_blend_epi32(window(0), window(1), 0xCC);
        else
            return (U8)_mm256_blend_epi32(_mm256_blend_epi32(window(0), window(1), 0x22),
                                          _mm256_blend_epi32(window(2), window(3), 0x88), 0xCC);
    }

    // 64 more than each pair's.
    [[gnu::always_inline]] static U16 weightedSums(U8 samples, U8 weights) {
        return 64 - (U16)_mm256_maddubs_epi16((__m256i)samples, (__m256i)weights);
    }

    // Of 16-bit lanes below 256.
    [[gnu::always_inline]] static void storeNarrowed(uint8_t* bytes, U16 values) {
        const auto low = (U16)_mm256_permute4x64_epi64(
            _mm256_packus_epi16((__m256i)values, (__m256i)values), 0x08);
        store(bytes, _mm256_castsi256_si128((__m256i)low));
    }
};

// The box filter.

inline U16 multiplyHigh(U16 a, U16 b) { return (U16)_mm256_mulhi_epu16((__m256i)a, (__m256i)b); }

template <int first>
[[gnu::always_inline]] inline U16 lanesFrom(U16 a, U16 b) {
    const __m256i halves = _mm256_permute2x128_si256((__m256i)a, (__m256i)b, 0x21);
    if constexpr (first < 8)
        return (U16)_mm256_alignr_epi8(halves, (__m256i)a, 2 * first);
    else
        return (U16)_mm256_alignr_epi8((__m256i)b, halves, 2 * first - 16);
}

// The lower bytes of the lanes of both in turn, whose upper bytes are 0.
[[gnu::always_inline]] inline U16 lowerBytes(U16 even, U16 odd) { return even | odd << 8; }

// The sums within both halves, and in the upper one those of the lower one as well.
template <typename Vector>
[[gnu::always_inline]] inline Vector joinHalves(Vector a, __m256i last) {
    return a + (Vector)_mm256_permute2x128_si256(last, last, 0x08);
}

inline __m256i lastOfHalves(U16 a) {
    return _mm256_shuffle_epi8((__m256i)a, _mm256_set1_epi16(0x0F0E));
}

inline U16 prefixSums(U16 a) {
    a += (U16)_mm256_slli_si256((__m256i)a, 2);
    a += (U16)_mm256_slli_si256((__m256i)a, 4);
    a += (U16)_mm256_slli_si256((__m256i)a, 8);
    return joinHalves(a, lastOfHalves(a));
}

inline U32 prefixSums(U32 a) {
    a += (U32)_mm256_slli_si256((__m256i)a, 4);
    a += (U32)_mm256_slli_si256((__m256i)a, 8);
    return joinHalves(a, _mm256_shuffle_epi32((__m256i)a, 0xFF));
}

inline U16 lastLane(U16 a) {
    return (U16)lastOfHalves((U16)_mm256_permute4x64_epi64((__m256i)a, 0xFF));
}
inline U32 lastLane(U32 a) {
    return (U32)_mm256_permutevar8x32_epi32((__m256i)a, _mm256_set1_epi32(7));
}

inline U16 sumsOfBytes(U16 a) { return (U16)_mm256_maddubs_epi16((__m256i)a, _mm256_set1_epi8(1)); }

// A multiplication takes one instruction, and not one of the crowded shifts.
inline U32 weighted(U16 a, int weights) {
    return (U32)_mm256_madd_epi16((__m256i)a, _mm256_set1_epi32(weights));
}
inline U32 lowerOfPairs(U16 a) { return weighted(a, 1); }
inline U32 upperOfPairs(U16 a) { return weighted(a, 0x10000); }
inline U32 sumsOfPairs(U16 a) { return weighted(a, 0x10001); }

inline U8 upperBytes(U16 a, U16 b) { return (U8)(a >> 8 | (b & 0xFF00)); }
inline U8 upperBytes(U32 a, U32 b, U32 c, U32 d) {
    const auto upperHalves = [](U32 even, U32 odd) {
        return (U16)_mm256_blend_epi16((__m256i)(even >> 16), (__m256i)odd, 0xAA);
    };
    return upperBytes(upperHalves(a, c), upperHalves(b, d));
}

} // namespace

} // namespace kelvane::avx2
