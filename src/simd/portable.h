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

} // namespace

} // namespace kelvane::portable
