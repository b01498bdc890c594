// Operations of all x86-64 instruction sets, whose intrinsics differ in their prefixes only: the
// including file has defined `KELVANE_INTRINSIC` to put its own before a name, and `Register`, the
// type that they work on.
#pragma once

#include "simd/vectors.h"

namespace kelvane::KELVANE_TARGET {

namespace {

inline I16 packed(I32 a, I32 b) {
    return (I16)KELVANE_INTRINSIC(packs_epi32)((Register)a, (Register)b);
}
inline U8 packed(I16 a, I16 b) {
    return (U8)KELVANE_INTRINSIC(packus_epi16)((Register)a, (Register)b);
}

inline U16 multiplyHigh(U16 a, U16 b) {
    return (U16)KELVANE_INTRINSIC(mulhi_epu16)((Register)a, (Register)b);
}

[[gnu::always_inline]] inline I16 highProduct(I16 a, int16_t factor) {
    return (I16)KELVANE_INTRINSIC(mulhi_epi16)((Register)a, (Register)(2 * (I16{} + factor)));
}

inline I32 weightedPairs(I16 a, I16 weights) {
    return (I32)KELVANE_INTRINSIC(madd_epi16)((Register)a, (Register)weights);
}

[[gnu::always_inline]] inline I16 scaledSum(I16 a, int16_t aFactor, I16 b, int16_t bFactor) {
    const auto low = KELVANE_INTRINSIC(unpacklo_epi16)((Register)a, (Register)b);
    const auto high = KELVANE_INTRINSIC(unpackhi_epi16)((Register)a, (Register)b);
    const auto factors = (I16)(I32{} + (bFactor * 0x10000 | (aFactor & 0xFFFF)));
    return packed((weightedPairs((I16)low, factors) + (1 << 13)) >> 14,
                  (weightedPairs((I16)high, factors) + (1 << 13)) >> 14);
}

// A multiplication takes one instruction, and not one of the crowded shifts.
inline U32 lowerOfPairs(U16 a) { return (U32)weightedPairs((I16)a, (I16)(I32{} + 1)); }
inline U32 upperOfPairs(U16 a) { return (U32)weightedPairs((I16)a, (I16)(I32{} + 0x10000)); }
inline U32 sumsOfPairs(U16 a) { return (U32)weightedPairs((I16)a, I16{} + 1); }

inline U64 addDifferences(U64 sums, U8 a, U8 b) {
    return sums + (U64)KELVANE_INTRINSIC(sad_epu8)((Register)a, (Register)b);
}

[[gnu::always_inline]] inline U8 average(U8 a, U8 b) {
    return (U8)KELVANE_INTRINSIC(avg_epu8)((Register)a, (Register)b);
}

// What came after SSE2.
#ifdef __AVX2__

template <int bytes>
[[gnu::always_inline]] inline U8 movedUp(U8 a, Constant<bytes>) {
    return (U8)KELVANE_INTRINSIC(bslli_epi128)((Register)a, bytes);
}

// Three vectors hold as many pixels as a vector has bytes. Of each channel they have different
// bytes: put together, these fill one vector, in an order that a shuffle mends. A shuffle goes
// `shuffledBytes` far.

// The bytes i * step + start modulo that.
template <int step, int start>
[[gnu::always_inline]] inline U8 steps(U8 a) {
    return shuffled(a, a, [](int i) {
        return i / shuffledBytes * shuffledBytes + (i * step + start) % shuffledBytes;
    });
}

// Each byte from the argument that belongs to its place modulo 3.
[[gnu::always_inline]] inline U8 mixed(U8 at0, U8 at1, U8 at2) {
    const U8 first =
        shuffled(at0, at1, [](int i) { return i % shuffledBytes % 3 == 1 ? vectorBytes + i : i; });
    return shuffled(first, at2,
                    [](int i) { return i % shuffledBytes % 3 == 2 ? vectorBytes + i : i; });
}

[[gnu::always_inline]] inline Channels<3> splitThree(U8 a, U8 b, U8 c) {
    return {
        {steps<3, 0>(mixed(a, c, b)), steps<3, 1>(mixed(b, a, c)), steps<3, 2>(mixed(c, b, a))}};
}

// 43 is the inverse of 3 modulo 64 and, like 11, modulo 16.
[[gnu::always_inline]] inline Channels<3> joinedThree(const Channels<3>& three) {
    const U8 first = steps<43, 0>(three.vectors[0]);
    const U8 second = steps<43, 21>(three.vectors[1]);
    const U8 third = steps<43, 42>(three.vectors[2]);
    return {
        {mixed(first, second, third), mixed(second, third, first), mixed(third, first, second)}};
}

inline U16 lowHalves(U32 a, U32 b) {
    return (U16)KELVANE_INTRINSIC(packus_epi32)((Register)(a & 0xFFFF), (Register)(b & 0xFFFF));
}

[[gnu::always_inline]] inline U8 saturatedBytes(I16 even, I16 odd) {
    const U8 turns = generated<U8>([](int i) { return i % 16 / 2 + i % 2 * 8; });
    return (U8)KELVANE_INTRINSIC(shuffle_epi8)((Register)packed(even, odd), (Register)turns);
}

// The instruction shifts by 15.
[[gnu::always_inline]] inline I16 scaled(I16 a, int16_t factor) {
    return (I16)KELVANE_INTRINSIC(mulhrs_epi16)((Register)(a + a), (Register)(I16{} + factor));
}

inline U16 sumsOfBytes(U16 a) {
    return (U16)KELVANE_INTRINSIC(maddubs_epi16)((Register)a, (Register)(U8{} + 1));
}

// Pairs of bytes gathered by shuffles, and multiplied.
struct PairGather {
    static constexpr bool isPossible = true;
    static constexpr int64_t windowDistance = 0; // of the indexes
    static constexpr int64_t tapDistance = 2;
    static constexpr int64_t secondDistance = 1;
    static constexpr int weightSign = -1; // 128 has none with a plus

    // 64 more than each pair's.
    [[gnu::always_inline]] static U16 weightedSums(U8 samples, U8 weights) {
        return 64 - (U16)KELVANE_INTRINSIC(maddubs_epi16)((Register)samples, (Register)weights);
    }
};

#endif

} // namespace

} // namespace kelvane::KELVANE_TARGET
