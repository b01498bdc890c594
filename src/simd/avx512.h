// AVX-512 with byte permutations and bit counts.
#pragma once

#define KELVANE_TARGET avx512
#define KELVANE_INTRINSIC(name) _mm512_##name

#include <cstdint>
#include <immintrin.h>

namespace kelvane::avx512 {

namespace {

using Register = __m512i;
constexpr int64_t vectorBytes = 64;
constexpr int shuffledBytes = 64;

} // namespace

} // namespace kelvane::avx512

#include "simd/x86.h"

namespace kelvane::avx512 {

namespace {

[[gnu::always_inline]] inline __mmask64 firstBytes(int64_t count) {
    return count < vectorBytes ? (__mmask64{1} << count) - 1 : ~__mmask64{0};
}

[[gnu::always_inline]] inline U8 loadFirst(const uint8_t* bytes, int64_t count) {
    return (U8)_mm512_maskz_loadu_epi8(firstBytes(count), bytes);
}

[[gnu::always_inline]] inline void storeFirst(uint8_t* bytes, U8 value, int64_t count) {
    _mm512_mask_storeu_epi8(bytes, firstBytes(count), (__m512i)value);
}

// An even distance needs no table.
template <int distance>
requires(distance % 2 == 0) [[gnu::always_inline]] inline U16
    lanesAfter(U16 a, U16 b, Constant<distance>) {
    return (U16)_mm512_alignr_epi32((__m512i)b, (__m512i)a, distance / 2);
}

[[gnu::always_inline]] inline void joinTwo(uint8_t* bytes, const Channels<2>& two) {
    const __m512i blocks = _mm512_setr_epi64(0, 4, 1, 5, 2, 6, 3, 7);
    const __m512i a = _mm512_permutexvar_epi64(blocks, (__m512i)two.vectors[0]);
    const __m512i b = _mm512_permutexvar_epi64(blocks, (__m512i)two.vectors[1]);
    store(bytes, _mm512_unpacklo_epi8(a, b));
    store(bytes + vectorBytes, _mm512_unpackhi_epi8(a, b));
}

[[gnu::always_inline]] inline Channels<3> splitThree(const uint8_t* bytes) {
    return splitThree(load<U8>(bytes), load<U8>(bytes + vectorBytes),
                      load<U8>(bytes + 2 * vectorBytes));
}

[[gnu::always_inline]] inline void joinThree(uint8_t* bytes, const Channels<3>& three) {
    const Channels<3> joined = joinedThree(three);
    for (int i = 0; i < 3; ++i)
        store(bytes + i * vectorBytes, joined.vectors[i]);
}

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

[[gnu::always_inline]] inline U16 loadWidened(const uint8_t* bytes) {
    return (U16)_mm512_cvtepu8_epi16(load<__m256i>(bytes));
}

// Adds the last sum of the block `from` to the other blocks that the mask names; a negative one
// stands for the block before.
template <int from, typename Vector>
[[gnu::always_inline]] inline Vector addLast(Vector a, __mmask64 to) {
    const U8 indexes = generated<U8>([](int i) {
        constexpr int size = sizeof(Lane<Vector>);
        return (from < 0 ? i / 16 : from + 1) * 16 - size + i % size;
    });
    return a + (Vector)_mm512_maskz_permutexvar_epi8(to, (__m512i)indexes, (__m512i)a);
}

template <typename Vector>
[[gnu::always_inline]] inline Vector joinBlocks(Vector a) {
    return addLast<1>(addLast<-1>(a, 0xFFFF0000FFFF0000), 0xFFFFFFFF00000000);
}

inline U64 bitCounts(U64 a) { return (U64)_mm512_popcnt_epi64((__m512i)a); }

inline uint64_t notBelow(U8 a, U8 b) { return _mm512_cmpge_epu8_mask((__m512i)a, (__m512i)b); }

// All taps of a vector from one to four vectors that follow each other.
struct Gather : PairGather {
    static constexpr int64_t mostWindows = 1;
    static constexpr int64_t windows(int) { return 1; }
    static constexpr int64_t windowBytes(int scale) { return vectorBytes * scale; }

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

    // Of 16-bit lanes below 256.
    [[gnu::always_inline]] static void storeNarrowed(uint8_t* bytes, U16 values) {
        store(bytes, _mm512_cvtepi16_epi8((__m512i)values));
    }
};

} // namespace

} // namespace kelvane::avx512

#include "simd/operations.h"
