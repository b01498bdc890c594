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

// Resized rows.

[[gnu::always_inline]] inline U8 average(U8 a, U8 b) { // rounded up
    return (U8)_mm_avg_epu8((__m128i)a, (__m128i)b);
}

// (a * factor) >> 15, with a factor of -2^14 to 2^14 - 1.
[[gnu::always_inline]] inline I16 highProduct(I16 a, int16_t factor) {
    return (I16)_mm_mulhi_epi16((__m128i)a, _mm_set1_epi16(static_cast<int16_t>(2 * factor)));
}

// Half a vector of bytes as 16-bit lanes.
[[gnu::always_inline]] inline U16 loadWidened(const uint8_t* bytes) {
    return (U16)_mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes)),
                                  _mm_setzero_si128());
}

// (a * aFactor + b * bFactor + 2^13) >> 14, of lanes of -128 to 127.
[[gnu::always_inline]] inline I16 scaledSum(I16 a, int16_t aFactor, I16 b, int16_t bFactor) {
    const __m128i factors = _mm_unpacklo_epi16(_mm_set1_epi16(aFactor), _mm_set1_epi16(bFactor));
    const auto scaledPairs = [factors](__m128i pairs) {
        const __m128i sums = _mm_madd_epi16(pairs, factors);
        return _mm_srai_epi32(_mm_add_epi32(sums, _mm_set1_epi32(1 << 13)), 14);
    };
    return (I16)_mm_packs_epi32(scaledPairs(_mm_unpacklo_epi16((__m128i)a, (__m128i)b)),
                                scaledPairs(_mm_unpackhi_epi16((__m128i)a, (__m128i)b)));
}

// The same of one.
[[gnu::always_inline]] inline I16 scaled(I16 a, int16_t factor) {
    return scaledSum(a, factor, a, 0);
}

// Lanes of both in turn, saturated.
[[gnu::always_inline]] inline U8 saturatedBytes(I16 even, I16 odd) {
    const __m128i bytes = _mm_packus_epi16((__m128i)even, (__m128i)odd);
    return (U8)_mm_unpacklo_epi8(bytes, _mm_unpackhi_epi64(bytes, bytes));
}

struct Gather {
    static constexpr bool isPossible = false;
};

} // namespace

} // namespace kelvane::sse2
