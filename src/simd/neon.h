// NEON, which every 64-bit Arm processor has.
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

inline Channels<3> splitThree(const uint8_t* bytes) {
    const uint8x16x3_t three = vld3q_u8(bytes);
    return {{(U8)three.val[0], (U8)three.val[1], (U8)three.val[2]}};
}

inline void joinThree(uint8_t* bytes, const Channels<3>& three) {
    const uint8x16x3_t all = {
        {(uint8x16_t)three.vectors[0], (uint8x16_t)three.vectors[1], (uint8x16_t)three.vectors[2]}};
    vst3q_u8(bytes, all);
}

inline U16 lowerBytes(U16 even, U16 odd) {
    return (U16)vtrn1q_u8((uint8x16_t)even, (uint8x16_t)odd);
}

inline U16 upperHalves(U32 even, U32 odd) {
    return (U16)vtrn2q_u16((uint16x8_t)even, (uint16x8_t)odd);
}

inline U8 upperBytes(U16 even, U16 odd) { return (U8)vtrn2q_u8((uint8x16_t)even, (uint8x16_t)odd); }

inline U8 saturatedBytes(I16 even, I16 odd) {
    const uint8x8_t a = vqmovun_s16((int16x8_t)even), b = vqmovun_s16((int16x8_t)odd);
    return (U8)vcombine_u8(vzip1_u8(a, b), vzip2_u8(a, b));
}

inline U16 loadWidened(const uint8_t* bytes) { return (U16)vmovl_u8(vld1_u8(bytes)); }

inline U16 multiplyHigh(U16 a, U16 b) {
    const auto low = vmull_u16(vget_low_u16((uint16x8_t)a), vget_low_u16((uint16x8_t)b));
    const auto high = vmull_high_u16((uint16x8_t)a, (uint16x8_t)b);
    return (U16)vuzp2q_u16((uint16x8_t)low, (uint16x8_t)high);
}

inline I16 highProduct(I16 a, int16_t factor) { return (I16)vqdmulhq_n_s16((int16x8_t)a, factor); }

inline I16 scaledSum(I16 a, int16_t aFactor, I16 b, int16_t bFactor) {
    int32x4_t low = vmull_n_s16(vget_low_s16((int16x8_t)a), aFactor);
    int32x4_t high = vmull_high_n_s16((int16x8_t)a, aFactor);
    low = vmlal_n_s16(low, vget_low_s16((int16x8_t)b), bFactor);
    high = vmlal_high_n_s16(high, (int16x8_t)b, bFactor);
    return (I16)vrshrn_high_n_s32(vrshrn_n_s32(low, 14), high, 14);
}

// The instruction shifts by 15.
inline I16 scaled(I16 a, int16_t factor) {
    return (I16)vqrdmulhq_n_s16((int16x8_t)(a + a), factor);
}

inline I32 weightedPairs(I16 a, I16 weights) {
    const int32x4_t low = vmull_s16(vget_low_s16((int16x8_t)a), vget_low_s16((int16x8_t)weights));
    return (I32)vpaddq_s32(low, vmull_high_s16((int16x8_t)a, (int16x8_t)weights));
}

inline U16 sumsOfBytes(U16 a) { return (U16)vpaddlq_u8((uint8x16_t)a); }

inline U32 sumsOfPairs(U16 a) { return (U32)vpaddlq_s16((int16x8_t)a); }

inline U64 addDifferences(U64 sums, U8 a, U8 b) {
    const uint8x16_t differences = vabdq_u8((uint8x16_t)a, (uint8x16_t)b);
    return (U64)vpadalq_u32((uint64x2_t)sums, vpaddlq_u16(vpaddlq_u8(differences)));
}

inline U64 bitCounts(U64 a) {
    return (U64)vpaddlq_u32(vpaddlq_u16(vpaddlq_u8(vcntq_u8((uint8x16_t)a))));
}

inline U8 average(U8 a, U8 b) { return (U8)vrhaddq_u8((uint8x16_t)a, (uint8x16_t)b); }

inline uint64_t notBelow(U8 a, U8 b) {
    constexpr uint8x16_t weights = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
    const uint8x16_t bits = vandq_u8(vcgeq_u8((uint8x16_t)a, (uint8x16_t)b), weights);
    return static_cast<uint64_t>(vaddv_u8(vget_low_u8(bits)) | vaddv_u8(vget_high_u8(bits)) << 8);
}

// One table look-up spans all pieces. All first bytes, then all second ones.
struct Gather {
    static constexpr bool isPossible = true;
    static constexpr int64_t mostPieces = 4;
    static constexpr int64_t pieces(int scale) { return scale; }
    static constexpr int64_t pieceBytes(int) { return 16; }
    static constexpr int64_t pieceDistance = 16; // of the indexes
    static constexpr int64_t tapDistance = 1;
    static constexpr int64_t secondDistance = 8;
    static constexpr int weightSign = 1;

    template <int scale>
    static U8 gather(const uint8_t* row, const uint32_t* starts, U8 indexes) {
        const auto piece = [=](int i) { return vld1q_u8(row + starts[i]); };
        const auto places = (uint8x16_t)indexes;
        if constexpr (scale == 1)
            return (U8)vqtbl1q_u8(piece(0), places);
        else if constexpr (scale == 2)
            return (U8)vqtbl2q_u8({{piece(0), piece(1)}}, places);
        else
            return (U8)vqtbl4q_u8({{piece(0), piece(1), piece(2), piece(3)}}, places);
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

#include "simd/operations.h"
