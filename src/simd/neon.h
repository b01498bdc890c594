// What the kernels need of the instruction set: NEON, which every 64-bit Arm processor has.
#pragma once

#define KELVANE_TARGET neon

#include <arm_neon.h>
#include <cstdint>

namespace kelvane::neon {

namespace {

constexpr int64_t vectorBytes = 16;

} // namespace

} // namespace kelvane::neon

#include "simd/vectors.h"

namespace kelvane::neon {

namespace {

// Interleaved channels. `splitTwo` takes two vectors, the others read or write memory.

inline Channels<2> splitTwo(U8 a, U8 b) {
    return {
        {(U8)vuzp1q_u8((uint8x16_t)a, (uint8x16_t)b), (U8)vuzp2q_u8((uint8x16_t)a, (uint8x16_t)b)}};
}

inline void joinTwo(uint8_t* bytes, const Channels<2>& two) {
    vst2q_u8(bytes, {{(uint8x16_t)two.vectors[0], (uint8x16_t)two.vectors[1]}});
}

inline Channels<3> splitThree(const uint8_t* bytes) {
    const uint8x16x3_t three = vld3q_u8(bytes);
    return {{(U8)three.val[0], (U8)three.val[1], (U8)three.val[2]}};
}

inline void joinThree(uint8_t* bytes, const Channels<3>& three) {
    vst3q_u8(bytes, {{(uint8x16_t)three.vectors[0], (uint8x16_t)three.vectors[1],
                      (uint8x16_t)three.vectors[2]}});
}

// The box filter.

inline U16 multiplyHigh(U16 a, U16 b) {
    const auto low = vmull_u16(vget_low_u16((uint16x8_t)a), vget_low_u16((uint16x8_t)b));
    const auto high = vmull_high_u16((uint16x8_t)a, (uint16x8_t)b);
    return (U16)vuzp2q_u16((uint16x8_t)low, (uint16x8_t)high);
}

template <int first>
[[gnu::always_inline]] inline U16 lanesFrom(U16 a, U16 b) {
    return (U16)vextq_u16((uint16x8_t)a, (uint16x8_t)b, first);
}

inline U16 lowerBytes(U16 even, U16 odd) {
    return (U16)vtrn1q_u8((uint8x16_t)even, (uint8x16_t)odd);
}

inline U16 prefixSums(U16 a) {
    a += lanesFrom<7>(U16{}, a);
    a += lanesFrom<6>(U16{}, a);
    return a + lanesFrom<4>(U16{}, a);
}

inline U32 prefixSums(U32 a) {
    a += (U32)lanesFrom<6>(U16{}, (U16)a);
    return a + (U32)lanesFrom<4>(U16{}, (U16)a);
}

inline U16 lastLane(U16 a) { return (U16)vdupq_laneq_u16((uint16x8_t)a, 7); }
inline U32 lastLane(U32 a) { return (U32)vdupq_laneq_u32((uint32x4_t)a, 3); }

inline U16 sumsOfBytes(U16 a) { return (U16)vpaddlq_u8((uint8x16_t)a); }

inline U32 lowerOfPairs(U16 a) { return (U32)((I32)((U32)a << 16) >> 16); }
inline U32 upperOfPairs(U16 a) { return (U32)((I32)a >> 16); }
inline U32 sumsOfPairs(U16 a) { return (U32)vpaddlq_s16((int16x8_t)a); }

inline U8 upperBytes(U16 a, U16 b) { return (U8)vtrn2q_u8((uint8x16_t)a, (uint8x16_t)b); }
inline U8 upperBytes(U32 a, U32 b, U32 c, U32 d) {
    const auto upperHalves = [](U32 even, U32 odd) {
        return (U16)vtrn2q_u16((uint16x8_t)even, (uint16x8_t)odd);
    };
    return upperBytes(upperHalves(a, c), upperHalves(b, d));
}

} // namespace

} // namespace kelvane::neon
