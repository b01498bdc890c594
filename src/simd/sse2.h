// SSE2, which every x86-64 processor has.
#pragma once

#define KELVANE_TARGET sse2
#define KELVANE_INTRINSIC(name) _mm_##name

#include <cstdint>
#include <emmintrin.h>

namespace kelvane::sse2 {

namespace {

using Register = __m128i;
constexpr int64_t vectorBytes = 16;

} // namespace

} // namespace kelvane::sse2

#include "simd/x86.h"

namespace kelvane::sse2 {

namespace {

// There is no shuffle that reaches two vectors.
template <int distance>
[[gnu::always_inline]] inline U16 lanesAfter(U16 a, U16 b, Constant<distance>) {
    return (U16)(_mm_srli_si128((__m128i)a, 2 * distance) |
                 _mm_slli_si128((__m128i)b, 16 - 2 * distance));
}

inline U16 lastLane(U16 a) {
    return (U16)_mm_shuffle_epi32(_mm_shufflehi_epi16((__m128i)a, 0xFF), 0xFF);
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
    const auto even = [](U16 a) { return (I16)(a & 0xFF); };
    const auto odd = [](U16 a) { return (I16)(a >> 8); };
    auto a = (U16)three.vectors[0], b = (U16)three.vectors[1], c = (U16)three.vectors[2];
    for (int round = 0; round < 4; ++round) {
        const U8 first = packed(even(a), even(b));
        const U8 second = packed(even(c), odd(a));
        c = (U16)packed(odd(b), odd(c));
        a = (U16)first;
        b = (U16)second;
    }
    store(bytes, a);
    store(bytes + vectorBytes, b);
    store(bytes + 2 * vectorBytes, c);
}

inline U16 lowHalves(U32 a, U32 b) { return (U16)packed((I32)a << 16 >> 16, (I32)b << 16 >> 16); }

[[gnu::always_inline]] inline U8 saturatedBytes(I16 even, I16 odd) {
    const auto bytes = (__m128i)packed(even, odd);
    return (U8)_mm_unpacklo_epi8(bytes, _mm_unpackhi_epi64(bytes, bytes));
}

[[gnu::always_inline]] inline U16 loadWidened(const uint8_t* bytes) {
    return (U16)_mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes)),
                                  __m128i());
}

// There is no unsigned comparison.
inline uint64_t notBelow(U8 a, U8 b) {
    return static_cast<uint64_t>(_mm_movemask_epi8((__m128i)(larger(a, b) == a)));
}

using Gather = NoGather;

} // namespace

} // namespace kelvane::sse2

#include "simd/operations.h"
