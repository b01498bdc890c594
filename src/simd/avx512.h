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

} // namespace

} // namespace kelvane::avx512
