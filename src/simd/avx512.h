// What the kernels need of the instruction set: AVX-512 with byte permutations and bit counts.
#pragma once

#define KELVANE_TARGET avx512
#define KELVANE_MASKS_BYTES

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

// Interleaved channels. `splitTwo` takes two vectors, the others read or write memory.

struct Indexes {
    alignas(vectorBytes) uint8_t bytes[vectorBytes] = {};
};

// The byte indexes i * step + start modulo `range`.
template <int step, int start, int range>
constexpr Indexes steps = [] {
    Indexes made;
    for (int i = 0; i < vectorBytes; ++i)
        made.bytes[i] = static_cast<uint8_t>((i * step + start) % range);
    return made;
}();

template <int step, int start>
[[gnu::always_inline]] inline __m512i shuffled(__m512i a) {
    return _mm512_permutexvar_epi8(load<__m512i>(steps<step, start, 64>.bytes), a);
}

template <int start>
[[gnu::always_inline]] inline U8 everySecond(U8 a, U8 b) {
    return (U8)_mm512_permutex2var_epi8((__m512i)a, load<__m512i>(steps<2, start, 128>.bytes),
                                        (__m512i)b);
}

[[gnu::always_inline]] inline Channels<2> splitTwo(U8 a, U8 b) {
    return {{everySecond<0>(a, b), everySecond<1>(a, b)}};
}

[[gnu::always_inline]] inline void joinTwo(uint8_t* bytes, const Channels<2>& two) {
    const __m512i blocks = _mm512_setr_epi64(0, 4, 1, 5, 2, 6, 3, 7);
    const __m512i a = _mm512_permutexvar_epi64(blocks, (__m512i)two.vectors[0]);
    const __m512i b = _mm512_permutexvar_epi64(blocks, (__m512i)two.vectors[1]);
    store(bytes, _mm512_unpacklo_epi8(a, b));
    store(bytes + vectorBytes, _mm512_unpackhi_epi8(a, b));
}

// Each byte from the argument that belongs to its place modulo 3.
[[gnu::always_inline]] inline __m512i mixed(__m512i at0, __m512i at1, __m512i at2) {
    constexpr __mmask64 isAt1 = 0x2492492492492492, isAt2 = 0x4924924924924924;
    return _mm512_mask_mov_epi8(_mm512_mask_mov_epi8(at0, isAt1, at1), isAt2, at2);
}

// Three vectors hold 64 pixels. Of each channel they have different bytes: put together, these fill
// one vector, in an order that a permutation mends.
[[gnu::always_inline]] inline Channels<3> splitThree(__m512i a, __m512i b, __m512i c) {
    return {{(U8)shuffled<3, 0>(mixed(a, c, b)), (U8)shuffled<3, 1>(mixed(b, a, c)),
             (U8)shuffled<3, 2>(mixed(c, b, a))}};
}

[[gnu::always_inline]] inline Channels<3> splitThree(const uint8_t* bytes) {
    return splitThree(load<__m512i>(bytes), load<__m512i>(bytes + vectorBytes),
                      load<__m512i>(bytes + 2 * vectorBytes));
}

// 43 is the inverse of 3 modulo 64.
[[gnu::always_inline]] inline void joinThree(uint8_t* bytes, const Channels<3>& three) {
    const __m512i first = shuffled<43, 0>((__m512i)three.vectors[0]);
    const __m512i second = shuffled<43, 21>((__m512i)three.vectors[1]);
    const __m512i third = shuffled<43, 42>((__m512i)three.vectors[2]);
    store(bytes, mixed(first, second, third));
    store(bytes + vectorBytes, mixed(second, third, first));
    store(bytes + 2 * vectorBytes, mixed(third, first, second));
}

// Sums and packing. What has two arguments packs each block of 16 bytes from those of both, in
// turn.

// Of lanes that fit the narrower ones.
inline I16 packed(I32 a, I32 b) { return (I16)_mm512_packs_epi32((__m512i)a, (__m512i)b); }
inline U8 packed(I16 a, I16 b) { return (U8)_mm512_packus_epi16((__m512i)a, (__m512i)b); }

inline U16 lowHalves(U32 a, U32 b) {
    return (U16)_mm512_packus_epi32((__m512i)(a & 0xFFFF), (__m512i)(b & 0xFFFF));
}

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

// Resized rows.

[[gnu::always_inline]] inline U8 average(U8 a, U8 b) { // rounded up
    return (U8)_mm512_avg_epu8((__m512i)a, (__m512i)b);
}

// (a * factor) >> 15, with a factor of -2^14 to 2^14 - 1.
[[gnu::always_inline]] inline I16 highProduct(I16 a, int16_t factor) {
    return (I16)_mm512_mulhi_epi16((__m512i)a, _mm512_set1_epi16(static_cast<int16_t>(2 * factor)));
}

// Half a vector of bytes as 16-bit lanes.
[[gnu::always_inline]] inline U16 loadWidened(const uint8_t* bytes) {
    return (U16)_mm512_cvtepu8_epi16(load<__m256i>(bytes));
}

// (a * aFactor + b * bFactor + 2^13) >> 14, of lanes of -128 to 127.
[[gnu::always_inline]] inline I16 scaledSum(I16 a, int16_t aFactor, I16 b, int16_t bFactor) {
    const __m512i factors =
        _mm512_unpacklo_epi16(_mm512_set1_epi16(aFactor), _mm512_set1_epi16(bFactor));
    const auto scaledPairs = [factors](__m512i pairs) {
        const __m512i sums = _mm512_madd_epi16(pairs, factors);
        return _mm512_srai_epi32(_mm512_add_epi32(sums, _mm512_set1_epi32(1 << 13)), 14);
    };
    return (I16)_mm512_packs_epi32(scaledPairs(_mm512_unpacklo_epi16((__m512i)a, (__m512i)b)),
                                   scaledPairs(_mm512_unpackhi_epi16((__m512i)a, (__m512i)b)));
}

// The same of one. The instruction shifts by 15.
[[gnu::always_inline]] inline I16 scaled(I16 a, int16_t factor) {
    return (I16)_mm512_mulhrs_epi16((__m512i)(a + a), _mm512_set1_epi16(factor));
}

// Lanes of both in turn, saturated.
[[gnu::always_inline]] inline U8 saturatedBytes(I16 even, I16 odd) {
    const __m128i turns = _mm_setr_epi8(0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15);
    return (U8)_mm512_shuffle_epi8(_mm512_packus_epi16((__m512i)even, (__m512i)odd),
                                   _mm512_broadcast_i32x4(turns));
}

// All taps of a vector from one to four vectors that follow each other.
struct Gather {
    static constexpr bool isPossible = true;
    static constexpr int64_t mostWindows = 1;
    static constexpr int64_t windows(int) { return 1; }
    static constexpr int64_t windowBytes(int scale) { return vectorBytes * scale; }
    static constexpr int64_t windowDistance = 0; // of the indexes
    static constexpr int64_t tapDistance = 2;
    static constexpr int64_t secondDistance = 1;
    static constexpr int weightSign = -1; // 128 has none with a plus

    template <int scale>
    [[gnu::always_inline]] static U8 gather(const uint8_t* row, const uint32_t* starts,
                                            U8 indexes) {
        const auto permuted = (__m512i)indexes;
        const auto vector = [bytes = row + *starts](int i) {
            return load<__m512i>(bytes + vectorBytes * i);
        };
        const auto ofTwo = [=](int i) {
            return _mm512_permutex2var_epi8(vector(i), permuted, vector(i + 1));
        };
        if constexpr (scale == 1)
            return (U8)_mm512_permutexvar_epi8(permuted, vector(0));
        else if constexpr (scale == 2)
            return (U8)ofTwo(0);
        else
            return (U8)_mm512_mask_mov_epi8(ofTwo(0), _mm512_movepi8_mask(permuted), ofTwo(2));
    }

    // 64 more than each pair's.
    [[gnu::always_inline]] static U16 weightedSums(U8 samples, U8 weights) {
        return 64 - (U16)_mm512_maddubs_epi16((__m512i)samples, (__m512i)weights);
    }

    // Of 16-bit lanes below 256.
    [[gnu::always_inline]] static void storeNarrowed(uint8_t* bytes, U16 values) {
        store(bytes, _mm512_cvtepi16_epi8((__m512i)values));
    }
};

// The box filter.

inline U16 multiplyHigh(U16 a, U16 b) { return (U16)_mm512_mulhi_epu16((__m512i)a, (__m512i)b); }

template <int first>
[[gnu::always_inline]] inline U16 lanesFrom(U16 a, U16 b) {
    if constexpr (first % 2 == 0)
        return (U16)_mm512_alignr_epi32((__m512i)b, (__m512i)a, first / 2);
    else
        return (U16)_mm512_permutex2var_epi16(
            (__m512i)a, load<__m512i>(numbersFrom<uint16_t, first>.lanes), (__m512i)b);
}

// The lower bytes of the lanes of both in turn, whose upper bytes are 0.
[[gnu::always_inline]] inline U16 lowerBytes(U16 even, U16 odd) { return even | odd << 8; }

[[gnu::always_inline]] inline __mmask64 firstBytes(int64_t count) {
    return count < vectorBytes ? (__mmask64{1} << count) - 1 : ~__mmask64{0};
}

[[gnu::always_inline]] inline U8 loadFirst(const uint8_t* bytes, int64_t count) {
    return (U8)_mm512_maskz_loadu_epi8(firstBytes(count), bytes);
}

[[gnu::always_inline]] inline void storeFirst(uint8_t* bytes, U8 value, int64_t count) {
    _mm512_mask_storeu_epi8(bytes, firstBytes(count), (__m512i)value);
}

// For every lane of the four blocks of 16 bytes, the last one of the block named.
template <typename Lane, int... named>
constexpr Indexes lastIndexes = [] {
    constexpr int size = sizeof(Lane), blocks[] = {named...};
    Indexes made;
    for (int i = 0; i < vectorBytes; ++i)
        made.bytes[i] = static_cast<uint8_t>(blocks[i / 16] * 16 + 16 - size + i % size);
    return made;
}();

template <typename Lane, int... named>
[[gnu::always_inline]] inline __m512i lastLanes(__m512i a, __mmask64 kept) {
    const auto indexes = load<__m512i>(lastIndexes<Lane, named...>.bytes);
    return _mm512_maskz_permutexvar_epi8(kept, indexes, a);
}

// From the sums within every block.
template <typename Lane, typename Vector>
[[gnu::always_inline]] inline Vector joinBlocks(Vector a) {
    a += (Vector)lastLanes<Lane, 0, 0, 2, 2>((__m512i)a, 0xFFFF0000FFFF0000);
    return a + (Vector)lastLanes<Lane, 1, 1, 1, 1>((__m512i)a, 0xFFFFFFFF00000000);
}

inline U16 prefixSums(U16 a) {
    a += (U16)_mm512_bslli_epi128((__m512i)a, 2);
    a += (U16)_mm512_bslli_epi128((__m512i)a, 4);
    a += (U16)_mm512_bslli_epi128((__m512i)a, 8);
    return joinBlocks<uint16_t>(a);
}

inline U32 prefixSums(U32 a) {
    a += (U32)_mm512_bslli_epi128((__m512i)a, 4);
    a += (U32)_mm512_bslli_epi128((__m512i)a, 8);
    return joinBlocks<uint32_t>(a);
}

inline U16 lastLane(U16 a) {
    return (U16)_mm512_permutexvar_epi16(_mm512_set1_epi16(31), (__m512i)a);
}
inline U32 lastLane(U32 a) {
    return (U32)_mm512_permutexvar_epi32(_mm512_set1_epi32(15), (__m512i)a);
}

inline U16 sumsOfBytes(U16 a) { return (U16)_mm512_maddubs_epi16((__m512i)a, _mm512_set1_epi8(1)); }

inline U32 weighted(U16 a, int weights) {
    return (U32)_mm512_madd_epi16((__m512i)a, _mm512_set1_epi32(weights));
}
inline U32 lowerOfPairs(U16 a) { return weighted(a, 1); }
inline U32 upperOfPairs(U16 a) { return weighted(a, 0x10000); }
inline U32 sumsOfPairs(U16 a) { return weighted(a, 0x10001); }

// Replaces the places in `to` that the mask names by bytes of `from`, which the two halves of a
// block's indexes choose.
[[gnu::always_inline]] inline __m512i replaceBytes(__m512i to, __mmask64 places, __m512i from,
                                                   int64_t lower, int64_t upper) {
    const __m512i indexes = _mm512_broadcast_i32x4(_mm_set_epi64x(upper, lower));
    return _mm512_mask_shuffle_epi8(to, places, from, indexes);
}

inline U8 upperBytes(U16 a, U16 b) {
    return (U8)replaceBytes((__m512i)b, 0x5555555555555555, (__m512i)a, 0x0707050503030101,
                            0x0F0F0D0D0B0B0909);
}

inline U8 upperBytes(U32 a, U32 b, U32 c, U32 d) {
    constexpr __mmask64 first = 0x1111111111111111;
    constexpr int64_t lower = 0x0707070703030303, upper = 0x0F0F0F0F0B0B0B0B;
    auto bytes = replaceBytes((__m512i)d, first << 2, (__m512i)c, lower, upper);
    bytes = replaceBytes(bytes, first << 1, (__m512i)b, lower, upper);
    return (U8)replaceBytes(bytes, first, (__m512i)a, lower, upper);
}

} // namespace

} // namespace kelvane::avx512
