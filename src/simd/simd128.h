// WebAssembly's vectors of 128 bits.
#pragma once

#define KELVANE_TARGET simd128

#include <cstdint>
#include <wasm_simd128.h>

namespace kelvane::simd128 {

namespace {

constexpr int64_t vectorBytes = 16;

} // namespace

} // namespace kelvane::simd128

#include "simd/vectors.h"

namespace kelvane::simd128 {

namespace {

inline I16 packed(I32 a, I32 b) { return (I16)wasm_i16x8_narrow_i32x4((v128_t)a, (v128_t)b); }
inline U8 packed(I16 a, I16 b) { return (U8)wasm_u8x16_narrow_i16x8((v128_t)a, (v128_t)b); }

[[gnu::always_inline]] inline U8 saturatedBytes(I16 even, I16 odd) {
    const U8 bytes = packed(even, odd);
    return shuffled(bytes, bytes, [](int i) { return i % 2 * 8 + i / 2; });
}

[[gnu::always_inline]] inline U16 loadWidened(const uint8_t* bytes) {
    return (U16)wasm_u16x8_load8x8(bytes);
}

inline U16 multiplyHigh(U16 a, U16 b) {
    const auto low = (U16)wasm_u32x4_extmul_low_u16x8((v128_t)a, (v128_t)b);
    const auto high = (U16)wasm_u32x4_extmul_high_u16x8((v128_t)a, (v128_t)b);
    return shuffled(low, high, [](int i) { return 2 * i + 1; });
}

inline I32 weightedPairs(I16 a, I16 weights) {
    return (I32)wasm_i32x4_dot_i16x8((v128_t)a, (v128_t)weights);
}

inline U16 sumsOfBytes(U16 a) { return (U16)wasm_u16x8_extadd_pairwise_u8x16((v128_t)a); }

inline U32 sumsOfPairs(U16 a) { return (U32)wasm_i32x4_extadd_pairwise_i16x8((v128_t)a); }

inline U64 addBytes(U64 sums, v128_t bytes) {
    const v128_t pairs = wasm_u16x8_extadd_pairwise_u8x16(bytes);
    const auto fours = (U64)wasm_u32x4_extadd_pairwise_u16x8(pairs);
    return sums + (fours & 0xFFFFFFFF) + (fours >> 32);
}

inline U64 addDifferences(U64 sums, U8 a, U8 b) {
    const v128_t least = wasm_u8x16_min((v128_t)a, (v128_t)b);
    return addBytes(sums, wasm_i8x16_sub(wasm_u8x16_max((v128_t)a, (v128_t)b), least));
}

inline U64 bitCounts(U64 a) { return addBytes(U64{}, wasm_i8x16_popcnt((v128_t)a)); }

inline U8 average(U8 a, U8 b) { return (U8)wasm_u8x16_avgr((v128_t)a, (v128_t)b); }

inline uint64_t notBelow(U8 a, U8 b) {
    return wasm_i8x16_bitmask(wasm_u8x16_ge((v128_t)a, (v128_t)b)) & 0xFFFF;
}

using Gather = NoGather;

} // namespace

} // namespace kelvane::simd128

#include "simd/operations.h"
