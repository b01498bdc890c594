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

} // namespace

} // namespace kelvane::portable
