// What the kernels need of the instruction set: plain vectors of GCC and Clang, for processors
// without a header of their own.
#pragma once

#define KELVANE_TARGET portable

#include <cstdint>

namespace kelvane::portable {

namespace {

constexpr int64_t vectorBytes = 16;

} // namespace

} // namespace kelvane::portable

#include "simd/vectors.h"

namespace kelvane::portable {

namespace {

// Interleaved channels. `splitTwo` takes two vectors, the others read or write memory.

inline Channels<2> splitTwo(U8 a, U8 b) {
    Channels<2> two;
    for (int i = 0; i < vectorBytes; ++i)
        two.vectors[i % 2][i / 2] = a[i], two.vectors[i % 2][i / 2 + vectorBytes / 2] = b[i];
    return two;
}

template <int count>
[[gnu::always_inline]] inline void join(uint8_t* bytes, const Channels<count>& channels) {
    for (int i = 0; i < count * vectorBytes; ++i)
        bytes[i] = channels.vectors[i % count][i / count];
}

inline void joinTwo(uint8_t* bytes, const Channels<2>& two) { join(bytes, two); }
inline void joinThree(uint8_t* bytes, const Channels<3>& three) { join(bytes, three); }

inline Channels<3> splitThree(const uint8_t* bytes) {
    Channels<3> three;
    for (int i = 0; i < 3 * vectorBytes; ++i)
        three.vectors[i % 3][i / 3] = bytes[i];
    return three;
}

// Sums and packing. What has two arguments packs each block of 16 bytes from those of both, in
// turn.

// Of lanes that fit the narrower ones.
inline I16 packed(I32 a, I32 b) {
    I16 both = {};
    for (int i = 0; i < vectorBytes / 4; ++i)
        both[i] = static_cast<int16_t>(a[i]),
        both[i + vectorBytes / 4] = static_cast<int16_t>(b[i]);
    return both;
}

inline U8 packed(I16 a, I16 b) {
    U8 both = {};
    for (int i = 0; i < vectorBytes / 2; ++i)
        both[i] = static_cast<uint8_t>(a[i]),
        both[i + vectorBytes / 2] = static_cast<uint8_t>(b[i]);
    return both;
}

inline U16 lowHalves(U32 a, U32 b) { return (U16)packed((I32)a, (I32)b); }

// Puts into the order of memory what was packed from runs of `run` bytes of every block.
template <int run>
inline U8 inOrder(U8 blocks) {
    return blocks;
}

// a[0] * weights[0] + a[1] * weights[1] of every pair of lanes.
inline I32 weightedPairs(I16 a, I16 weights) {
    return ((I32)a << 16 >> 16) * ((I32)weights << 16 >> 16) +
           ((I32)a >> 16) * ((I32)weights >> 16);
}

// Adds |a - b|, of all lanes, to the sums.
inline U64 addDifferences(U64 sums, U8 a, U8 b) {
    const U8 differences = larger(a, b) - smaller(a, b);
    const U16 pairs = ((U16)differences & 0xFF) + ((U16)differences >> 8);
    const U32 fours = ((U32)pairs & 0xFFFF) + ((U32)pairs >> 16);
    return sums + ((U64)fours & 0xFFFFFFFF) + ((U64)fours >> 32);
}

// A bit for every byte, set where a >= b.
inline uint64_t notBelow(U8 a, U8 b) {
    uint64_t bits = 0;
    for (int i = 0; i < vectorBytes; ++i)
        bits |= static_cast<uint64_t>(a[i] >= b[i]) << i;
    return bits;
}

// The number of set bits in every lane.
inline U64 bitCounts(U64 a) {
    a -= a >> 1 & 0x5555555555555555;
    a = (a & 0x3333333333333333) + (a >> 2 & 0x3333333333333333);
    a = (a + (a >> 4)) & 0x0F0F0F0F0F0F0F0F;
    a += a >> 8;
    a += a >> 16;
    return (a + (a >> 32)) & 0xFF;
}

// Resized rows.

inline U8 average(U8 a, U8 b) { return (a | b) - ((a ^ b) >> 1); } // rounded up

using WideI32 [[gnu::vector_size(2 * vectorBytes)]] = int32_t;

// (a * factor) >> 15, with a factor of -2^14 to 2^14 - 1.
inline I16 highProduct(I16 a, int16_t factor) {
    return __builtin_convertvector((__builtin_convertvector(a, WideI32) * factor) >> 15, I16);
}

// Half a vector of bytes as 16-bit lanes.
inline U16 loadWidened(const uint8_t* bytes) {
    using Half [[gnu::vector_size(vectorBytes / 2)]] = uint8_t;
    return __builtin_convertvector(load<Half>(bytes), U16);
}

// (a * aFactor + b * bFactor + 2^13) >> 14, of lanes of -128 to 127.
inline I16 scaledSum(I16 a, int16_t aFactor, I16 b, int16_t bFactor) {
    const WideI32 sums = __builtin_convertvector(a, WideI32) * aFactor +
                         __builtin_convertvector(b, WideI32) * bFactor;
    return __builtin_convertvector((sums + (1 << 13)) >> 14, I16);
}

// The same of one.
inline I16 scaled(I16 a, int16_t factor) { return scaledSum(a, factor, a, 0); }

// Lanes of both in turn, saturated.
inline U8 saturatedBytes(I16 even, I16 odd) {
    const I16 least = {}, most = least + 255;
    return (U8)(smaller(larger(even, least), most) | smaller(larger(odd, least), most) << 8);
}

struct Gather {
    static constexpr bool isPossible = false;
};

// The box filter.

// The upper halves of the products.
inline U16 multiplyHigh(U16 a, U16 b) {
    for (int i = 0; i < vectorBytes / 2; ++i)
        a[i] = static_cast<uint16_t>(a[i] * uint32_t{b[i]} >> 16);
    return a;
}

// From the lane `first` on, those of both one after the other.
template <int first>
inline U16 lanesFrom(U16 a, U16 b) {
    U16 lanes = a;
    for (int i = 0; i < vectorBytes / 2; ++i)
        lanes[i] = first + i < vectorBytes / 2 ? a[first + i] : b[first + i - vectorBytes / 2];
    return lanes;
}

// The lower bytes of the lanes of both in turn, whose upper bytes are 0.
[[gnu::always_inline]] inline U16 lowerBytes(U16 even, U16 odd) { return even | odd << 8; }

// Sums over the lanes up to and including each.
template <typename Vector>
inline Vector prefixSums(Vector a) {
    for (uint64_t i = 1; i < sizeof a / sizeof a[0]; ++i)
        a[i] += a[i - 1];
    return a;
}

// In every lane.
template <typename Vector>
inline Vector lastLane(Vector a) {
    return Vector{} + a[sizeof a / sizeof a[0] - 1];
}

// Of both bytes in every lane.
inline U16 sumsOfBytes(U16 a) { return (a & 0xFF) + (a >> 8); }

// Of the signed words in every lane: the lower one, the upper one, and both.
inline U32 lowerOfPairs(U16 a) { return (U32)((I32)((U32)a << 16) >> 16); }
inline U32 upperOfPairs(U16 a) { return (U32)((I32)a >> 16); }
inline U32 sumsOfPairs(U16 a) { return lowerOfPairs(a) + upperOfPairs(a); }

// The upper bytes of the lanes of two or four in turn.
inline U8 upperBytes(U16 a, U16 b) { return (U8)(a >> 8 | (b & 0xFF00)); }
inline U8 upperBytes(U32 a, U32 b, U32 c, U32 d) {
    const auto upperHalves = [](U32 even, U32 odd) {
        return (U16)(even >> 16 | (odd & 0xFFFF0000));
    };
    return upperBytes(upperHalves(a, c), upperHalves(b, d));
}

} // namespace

} // namespace kelvane::portable
