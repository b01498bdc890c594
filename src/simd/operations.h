// The operations that the kernels are made of beside the operators of vectors, for vectors of any
// length. The including file may have declared better versions of some for its instruction set.
// They are no templates, or more specialised ones, and so take precedence over those in here, which
// are templates for this reason only.
//
// Some instructions work on blocks of 16 bytes one by one; the operations that do so say it.
#pragma once

#include "simd/vectors.h"

namespace kelvane::KELVANE_TARGET {

namespace {

// Parts of vectors.

// The first bytes, at most a vector's, and zeros.
template <typename = void>
[[gnu::always_inline]] inline U8 loadFirst(const uint8_t* bytes, int64_t count) {
    U8 value = {};
    std::memcpy(&value, bytes, static_cast<size_t>(count));
    return value;
}

template <typename = void>
[[gnu::always_inline]] inline void storeFirst(uint8_t* bytes, U8 value, int64_t count) {
    std::memcpy(bytes, &value, static_cast<size_t>(count));
}

// A vector that begins `distance` lanes after `a`, which `b` follows.
template <typename Distance>
[[gnu::always_inline]] inline U16 lanesAfter(U16 a, U16 b, Distance) {
    return shuffled(a, b, [](int i) { return Distance::value + i; });
}

// Every block moved up by so many bytes, after zeros; here for vectors of one block.
template <typename Bytes>
[[gnu::always_inline]] inline U8 movedUp(U8 a, Bytes) {
    return (U8)lanesAfter(U16{}, (U16)a, Constant<8 - Bytes::value / 2>());
}

// The last lane in all.
template <typename Vector>
[[gnu::always_inline]] inline Vector lastLane(Vector a) {
    return shuffled(a, a, [](int) { return laneCount<Vector> - 1; });
}

// Interleaved channels.

// The bytes of two channels that alternate.
template <typename = void>
[[gnu::always_inline]] inline Channels<2> splitTwo(U8 a, U8 b) {
    return {{shuffled(a, b, [](int i) { return 2 * i; }),
             shuffled(a, b, [](int i) { return 2 * i + 1; })}};
}

template <typename = void>
[[gnu::always_inline]] inline void joinTwo(uint8_t* bytes, const Channels<2>& two) {
    const auto [a, b] = two.vectors;
    store(bytes, shuffled(a, b, [](int i) { return i % 2 * vectorBytes + i / 2; }));
    store(bytes + vectorBytes,
          shuffled(a, b, [](int i) { return i % 2 * vectorBytes + (vectorBytes + i) / 2; }));
}

// The same of three channels in three vectors.
template <typename = void>
inline Channels<3> splitThree(const uint8_t* bytes) {
    Channels<3> three;
    for (int i = 0; i < 3 * vectorBytes; ++i)
        three.vectors[i % 3][i / 3] = bytes[i];
    return three;
}

template <typename = void>
inline void joinThree(uint8_t* bytes, const Channels<3>& three) {
    for (int i = 0; i < 3 * vectorBytes; ++i)
        bytes[i] = three.vectors[i % 3][i / 3];
}

// Packing: of each block the lanes of the one argument, then those of the other.

template <int first, typename Vector>
[[gnu::always_inline]] inline Vector everySecond(Vector a, Vector b) {
    return shuffled(a, b, [](int i) {
        constexpr int size = laneCount<Vector>, block = size * 16 / vectorBytes;
        const int lane = i % block * 2 + first; // in the two blocks
        return i / block * block + lane % block + lane / block * size;
    });
}

[[gnu::always_inline]] inline U32 evenLanes(U32 a, U32 b) { return everySecond<0>(a, b); }
[[gnu::always_inline]] inline U32 oddLanes(U32 a, U32 b) { return everySecond<1>(a, b); }

// Of lanes that fit the narrower ones.
template <typename = void>
inline I16 packed(I32 a, I32 b) {
    return everySecond<0>((I16)a, (I16)b);
}
template <typename = void>
inline U8 packed(I16 a, I16 b) {
    return everySecond<0>((U8)a, (U8)b);
}

template <typename = void>
inline U16 lowHalves(U32 a, U32 b) {
    return everySecond<0>((U16)a, (U16)b);
}

// Puts into the order of memory what was packed from runs of `run` bytes of every block.
template <int run>
inline U8 inOrder(U8 packed) {
    return shuffled(packed, packed, [](int i) {
        constexpr int blocks = vectorBytes / 16;
        return i / run % blocks * 16 + i / (blocks * run) * run + i % run;
    });
}

// Packing in turn: a lane of each argument after the other.

// The lower bytes, where the upper ones are 0.
template <typename = void>
[[gnu::always_inline]] inline U16 lowerBytes(U16 even, U16 odd) {
    return even | odd << 8;
}

template <typename = void>
inline U16 upperHalves(U32 even, U32 odd) {
    return (U16)(even >> 16 | (odd & 0xFFFF0000));
}

template <typename = void>
inline U8 upperBytes(U16 even, U16 odd) {
    return (U8)(even >> 8 | (odd & 0xFF00));
}
template <typename = void>
inline U8 upperBytes(U32 a, U32 b, U32 c, U32 d) {
    return upperBytes(upperHalves(a, c), upperHalves(b, d));
}

// Saturated.
template <typename = void>
[[gnu::always_inline]] inline U8 saturatedBytes(I16 even, I16 odd) {
    const I16 least = {}, most = least + 255;
    return (U8)(smaller(larger(even, least), most) | smaller(larger(odd, least), most) << 8);
}

// Half a vector of bytes as 16-bit lanes.
template <typename = void>
[[gnu::always_inline]] inline U16 loadWidened(const uint8_t* bytes) {
    using Half [[gnu::vector_size(vectorBytes / 2)]] = uint8_t;
    return __builtin_convertvector(load<Half>(bytes), U16);
}

// Products.

// The upper halves.
template <typename = void>
inline U16 multiplyHigh(U16 a, U16 b) {
    for (int i = 0; i < laneCount<U16>; ++i)
        a[i] = static_cast<uint16_t>(a[i] * uint32_t{b[i]} >> 16);
    return a;
}

using WideI32 [[gnu::vector_size(2 * vectorBytes)]] = int32_t;

// (a * factor) >> 15, with a factor of -2^14 to 2^14 - 1.
template <typename = void>
[[gnu::always_inline]] inline I16 highProduct(I16 a, int16_t factor) {
    return __builtin_convertvector((__builtin_convertvector(a, WideI32) * factor) >> 15, I16);
}

// (a * aFactor + b * bFactor + 2^13) >> 14, of lanes of -128 to 127.
template <typename = void>
[[gnu::always_inline]] inline I16 scaledSum(I16 a, int16_t aFactor, I16 b, int16_t bFactor) {
    const WideI32 sums = __builtin_convertvector(a, WideI32) * aFactor +
                         __builtin_convertvector(b, WideI32) * bFactor;
    return __builtin_convertvector((sums + (1 << 13)) >> 14, I16);
}

// The same of one.
template <typename = void>
[[gnu::always_inline]] inline I16 scaled(I16 a, int16_t factor) {
    return scaledSum(a, factor, a, 0);
}

// a[0] * weights[0] + a[1] * weights[1] of every pair of lanes.
template <typename = void>
inline I32 weightedPairs(I16 a, I16 weights) {
    return ((I32)a << 16 >> 16) * ((I32)weights << 16 >> 16) +
           ((I32)a >> 16) * ((I32)weights >> 16);
}

// Sums.

// Of both bytes in every lane.
template <typename = void>
inline U16 sumsOfBytes(U16 a) {
    return (a & 0xFF) + (a >> 8);
}

// Of the signed lanes in every pair: the lower one, the upper one, and both.
template <typename = void>
inline U32 lowerOfPairs(U16 a) {
    return (U32)((I32)a << 16 >> 16);
}
template <typename = void>
inline U32 upperOfPairs(U16 a) {
    return (U32)((I32)a >> 16);
}
template <typename = void>
inline U32 sumsOfPairs(U16 a) {
    return lowerOfPairs(a) + upperOfPairs(a);
}

// Over the lanes up to and including each.
template <typename Vector>
inline Vector prefixSums(Vector a) {
    if constexpr (sizeof(Lane<Vector>) == 2)
        a += (Vector)movedUp((U8)a, Constant<2>());
    a += (Vector)movedUp((U8)a, Constant<4>());
    a += (Vector)movedUp((U8)a, Constant<8>());
    if constexpr (vectorBytes > 16)
        a = joinBlocks(a); // adds to each block the last sums of those before it
    return a;
}

// Adds |a - b|, of all lanes, to the sums.
template <typename = void>
inline U64 addDifferences(U64 sums, U8 a, U8 b) {
    const U8 differences = larger(a, b) - smaller(a, b);
    const U16 pairs = sumsOfBytes((U16)differences);
    const U32 fours = ((U32)pairs & 0xFFFF) + ((U32)pairs >> 16);
    return sums + ((U64)fours & 0xFFFFFFFF) + ((U64)fours >> 32);
}

// The number of set bits in every lane.
template <typename = void>
inline U64 bitCounts(U64 a) {
    a -= a >> 1 & 0x5555555555555555;
    a = (a & 0x3333333333333333) + (a >> 2 & 0x3333333333333333);
    a = (a + (a >> 4)) & 0x0F0F0F0F0F0F0F0F;
    return addDifferences(U64{}, (U8)a, U8{});
}

// Bytes.

// Rounded up.
template <typename = void>
[[gnu::always_inline]] inline U8 average(U8 a, U8 b) {
    return (a | b) - ((a ^ b) >> 1);
}

// A bit for every byte, set where a >= b.
template <typename = void>
inline uint64_t notBelow(U8 a, U8 b) {
    uint64_t bits = 0;
    for (int i = 0; i < vectorBytes; ++i)
        bits |= static_cast<uint64_t>(a[i] >= b[i]) << i;
    return bits;
}

} // namespace

} // namespace kelvane::KELVANE_TARGET
