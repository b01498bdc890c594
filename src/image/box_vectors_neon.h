// Vectors of the box filter's row operations: NEON.
#pragma once

#include "image/box_rows.h"

#include <arm_neon.h>

namespace kelvane {

namespace {

constexpr int64_t vectorLanes = 8; // of a `Vector16`

using Vector16 = int16x8_t;

// As many 32-bit lanes as a `Vector16` has lanes.
struct Vector32 {
    uint32x4_t low;
    uint32x4_t high;
};

Vector16 zeroVector() { return vdupq_n_s16(0); }

Vector16 widened(const unsigned char* bytes) {
    return vreinterpretq_s16_u16(vmovl_u8(vld1_u8(bytes)));
}

Vector16 subtract(Vector16 a, Vector16 b) { return vsubq_s16(a, b); }

// Adds to every lane the lane `distance` before it in its group of eight.
template <int distance>
Vector16 addShifted(Vector16 a) {
    return vaddq_s16(a, vextq_s16(zeroVector(), a, 8 - distance));
}

// The prefix sums of the only group of eight.
template <int channels>
Vector32 joinGroups(Vector16 a) {
    return {vreinterpretq_u32_s32(vmovl_s16(vget_low_s16(a))),
            vreinterpretq_u32_s32(vmovl_high_s16(a))};
}

Vector32 zeroVector32() { return {vdupq_n_u32(0), vdupq_n_u32(0)}; }

Vector32 add(Vector32 a, Vector32 b) {
    return {vaddq_u32(a.low, b.low), vaddq_u32(a.high, b.high)};
}

Vector32 loadVector32(const uint32_t* lanes) { return {vld1q_u32(lanes), vld1q_u32(lanes + 4)}; }

void storeVector32(uint32_t* lanes, Vector32 a) {
    vst1q_u32(lanes, a.low);
    vst1q_u32(lanes + 4, a.high);
}

// The last `channels` lanes over and over, in the order in which the next lanes need them.
template <int channels>
Vector32 lastPixelRepeated(Vector32 a) {
    if constexpr (channels == 1) {
        const uint32x4_t last = vdupq_laneq_u32(a.high, 3);
        return {last, last};
    } else {
        const uint32x4_t rotated = vextq_u32(a.high, a.high, 1); // lanes 1, 2, 3, 0
        const uint32x4_t low = vcopyq_laneq_u32(rotated, 3, rotated, 0);
        return {low, vextq_u32(low, vdupq_laneq_u32(low, 1), 1)};
    }
}

// NEON multiplies 32-bit lanes: the compiler's own vectors do.
int64_t divideVectors(const uint32_t*, const uint32_t*, int64_t, uint32_t, unsigned char*) {
    return 0;
}

} // namespace

} // namespace kelvane
