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

// Sums and packing. What has two arguments packs each block of 16 bytes from those of both, in
// turn.

// Of lanes that fit the narrower ones.
inline I16 packed(I32 a, I32 b) { return (I16)vuzp1q_s16((int16x8_t)a, (int16x8_t)b); }
inline U8 packed(I16 a, I16 b) { return (U8)vuzp1q_u8((uint8x16_t)a, (uint8x16_t)b); }

inline U16 lowHalves(U32 a, U32 b) { return (U16)packed((I32)a, (I32)b); }

// Puts into the order of memory what was packed from runs of `run` bytes of every block.
template <int run>
inline U8 inOrder(U8 blocks) {
    return blocks;
}

// a[0] * weights[0] + a[1] * weights[1] of every pair of lanes.
inline I32 weightedPairs(I16 a, I16 weights) {
    const int32x4_t low = vmull_s16(vget_low_s16((int16x8_t)a), vget_low_s16((int16x8_t)weights));
    return (I32)vpaddq_s32(low, vmull_high_s16((int16x8_t)a, (int16x8_t)weights));
}

// Adds |a - b|, of all lanes, to the sums.
inline U64 addDifferences(U64 sums, U8 a, U8 b) {
    const uint8x16_t differences = vabdq_u8((uint8x16_t)a, (uint8x16_t)b);
    return (U64)vpadalq_u32((uint64x2_t)sums, vpaddlq_u16(vpaddlq_u8(differences)));
}

// A bit for every byte, set where a >= b.
inline uint64_t notBelow(U8 a, U8 b) {
    constexpr uint8x16_t weights = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
    const uint8x16_t bits = vandq_u8(vcgeq_u8((uint8x16_t)a, (uint8x16_t)b), weights);
    return static_cast<uint64_t>(vaddv_u8(vget_low_u8(bits)) | vaddv_u8(vget_high_u8(bits)) << 8);
}

// The number of set bits in every lane.
inline U64 bitCounts(U64 a) {
    return (U64)vpaddlq_u32(vpaddlq_u16(vpaddlq_u8(vcntq_u8((uint8x16_t)a))));
}

} // namespace

} // namespace kelvane::neon
