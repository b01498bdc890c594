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

// The box filter.

inline U16 multiplyHigh(U16 a, U16 b) { return (U16)_mm512_mulhi_epu16((__m512i)a, (__m512i)b); }

struct LaneIndexes {
    alignas(vectorBytes) uint16_t lanes[vectorBytes / 2] = {};
};

template <int first>
constexpr LaneIndexes indexesFrom = [] {
    LaneIndexes made;
    for (int i = 0; i < vectorBytes / 2; ++i)
        made.lanes[i] = static_cast<uint16_t>(first + i);
    return made;
}();

template <int first>
[[gnu::always_inline]] inline U16 lanesFrom(U16 a, U16 b) {
    if constexpr (first % 2 == 0)
        return (U16)_mm512_alignr_epi32((__m512i)b, (__m512i)a, first / 2);
    else
        return (U16)_mm512_permutex2var_epi16((__m512i)a, load<__m512i>(indexesFrom<first>.lanes),
                                              (__m512i)b);
}

// The lower bytes of the lanes of both in turn, whose upper bytes are 0.
[[gnu::always_inline]] inline U16 lowerBytes(U16 even, U16 odd) { return even | odd << 8; }

[[gnu::always_inline]] inline U8 loadFirst(const uint8_t* bytes, int64_t count) {
    return (U8)_mm512_maskz_loadu_epi8((__mmask64{1} << count) - 1, bytes);
}

[[gnu::always_inline]] inline void storeFirst(uint8_t* bytes, U8 value, int64_t count) {
    _mm512_mask_storeu_epi8(bytes, (__mmask64{1} << count) - 1, (__m512i)value);
}

} // namespace

} // namespace kelvane::avx512
