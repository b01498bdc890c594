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

} // namespace

} // namespace kelvane::portable
