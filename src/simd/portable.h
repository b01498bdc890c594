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
