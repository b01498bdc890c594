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

// Resized rows.

inline U8 average(U8 a, U8 b) { // rounded up
    return (U8)vrhaddq_u8((uint8x16_t)a, (uint8x16_t)b);
}

// (a * factor) >> 15, with a factor of -2^14 to 2^14 - 1.
inline I16 highProduct(I16 a, int16_t factor) { return (I16)vqdmulhq_n_s16((int16x8_t)a, factor); }

// Half a vector of bytes as 16-bit lanes.
inline U16 loadWidened(const uint8_t* bytes) { return (U16)vmovl_u8(vld1_u8(bytes)); }

// (a * aFactor + b * bFactor + 2^13) >> 14, of lanes of -128 to 127.
inline I16 scaledSum(I16 a, int16_t aFactor, I16 b, int16_t bFactor) {
    int32x4_t low = vmull_n_s16(vget_low_s16((int16x8_t)a), aFactor);
    int32x4_t high = vmull_high_n_s16((int16x8_t)a, aFactor);
    low = vmlal_n_s16(low, vget_low_s16((int16x8_t)b), bFactor);
    high = vmlal_high_n_s16(high, (int16x8_t)b, bFactor);
    return (I16)vrshrn_high_n_s32(vrshrn_n_s32(low, 14), high, 14);
}

// The same of one. The instruction shifts by 15.
inline I16 scaled(I16 a, int16_t factor) {
    return (I16)vqrdmulhq_n_s16((int16x8_t)(a + a), factor);
}

// Lanes of both in turn, saturated.
inline U8 saturatedBytes(I16 even, I16 odd) {
    const uint8x8_t a = vqmovun_s16((int16x8_t)even), b = vqmovun_s16((int16x8_t)odd);
    return (U8)vcombine_u8(vzip1_u8(a, b), vzip2_u8(a, b));
}

// One table look-up spans all windows. All first bytes, then all second ones.
struct Gather {
    static constexpr bool isPossible = true;
    static constexpr int64_t mostWindows = 4;
    static constexpr int64_t windows(int scale) { return scale; }
    static constexpr int64_t windowBytes(int) { return 16; }
    static constexpr int64_t windowDistance = 16; // of the indexes
    static constexpr int64_t tapDistance = 1;
    static constexpr int64_t secondDistance = 8;
    static constexpr int weightSign = 1;

    template <int scale>
    static U8 gather(const uint8_t* row, const uint32_t* starts, U8 indexes) {
        const auto window = [=](int i) { return vld1q_u8(row + starts[i]); };
        const auto places = (uint8x16_t)indexes;
        if constexpr (scale == 1)
            return (U8)vqtbl1q_u8(window(0), places);
        else if constexpr (scale == 2)
            return (U8)vqtbl2q_u8({{window(0), window(1)}}, places);
        else
            return (U8)vqtbl4q_u8({{window(0), window(1), window(2), window(3)}}, places);
    }

    // 64 more than each pair's.
    static U16 weightedSums(U8 samples, U8 weights) {
        const auto s = (uint8x16_t)samples, w = (uint8x16_t)weights;
        const uint16x8_t first = vmlal_u8(vdupq_n_u16(64), vget_low_u8(s), vget_low_u8(w));
        return (U16)vmlal_high_u8(first, s, w);
    }

    // Of 16-bit lanes below 256.
    static void storeNarrowed(uint8_t* bytes, U16 values) {
        vst1_u8(bytes, vmovn_u16((uint16x8_t)values));
    }
};

} // namespace

} // namespace kelvane::neon
