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

} // namespace

} // namespace kelvane::portable
