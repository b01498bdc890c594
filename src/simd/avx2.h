// AVX2. Most instructions work on the halves of a vector one by one.
#pragma once

#define KELVANE_TARGET avx2
#define KELVANE_INTRINSIC(name) _mm256_##name

#include <cstdint>
#include <immintrin.h>

namespace kelvane::avx2 {

namespace {

using Register = __m256i;
constexpr int64_t vectorBytes = 32;
constexpr int shuffledBytes = 16;

} // namespace

} // namespace kelvane::avx2

#include "simd/x86.h"

namespace kelvane::avx2 {

namespace {

[[gnu::always_inline]] inline Channels<3> splitThree(const uint8_t* bytes) {
    const auto blocks = [bytes](int low, int high) {
        return (U8)_mm256_inserti128_si256(_mm256_castsi128_si256(load<__m128i>(bytes + low)),
                                           load<__m128i>(bytes + high), 1);
    };
    return splitThree(blocks(0, 48), blocks(16, 64), blocks(32, 80));
}

[[gnu::always_inline]] inline void joinThree(uint8_t* bytes, const Channels<3>& three) {
    const Channels<3> joined = joinedThree(three);
    const auto a = (__m256i)joined.vectors[0], b = (__m256i)joined.vectors[1],
               c = (__m256i)joined.vectors[2];
    store(bytes, _mm256_permute2x128_si256(a, b, 0x20));
    store(bytes + vectorBytes, _mm256_permute2x128_si256(c, a, 0x30));
    store(bytes + 2 * vectorBytes, _mm256_permute2x128_si256(b, c, 0x31));
}

inline U16 upperHalves(U32 even, U32 odd) {
    return (U16)_mm256_blend_epi16((__m256i)(even >> 16), (__m256i)odd, 0xAA);
}

[[gnu::always_inline]] inline U16 loadWidened(const uint8_t* bytes) {
    return (U16)_mm256_cvtepu8_epi16(load<__m128i>(bytes));
}

// Adds the last sum of the lower half to the upper one.
template <typename Vector>
[[gnu::always_inline]] inline Vector joinBlocks(Vector a) {
    const auto lasts = (__m256i)shuffled(a, a, [](int i) {
        constexpr int half = laneCount<Vector> / 2;
        return i / half * half + half - 1;
    });
    return a + (Vector)_mm256_permute2x128_si256(lasts, lasts, 0x08);
}

// Those of four bits are looked up.
inline U64 bitCounts(U64 a) {
    const auto counts = (__m256i)generated<U8>([](int i) { return __builtin_popcount(i % 16); });
    const __m256i low = _mm256_shuffle_epi8(counts, (__m256i)(a & 0x0F0F0F0F0F0F0F0F));
    const __m256i high = _mm256_shuffle_epi8(counts, (__m256i)(a >> 4 & 0x0F0F0F0F0F0F0F0F));
    return addDifferences(U64{}, (U8)_mm256_add_epi8(low, high), U8{});
}

// There is no unsigned comparison.
inline uint64_t notBelow(U8 a, U8 b) {
    return static_cast<uint32_t>(_mm256_movemask_epi8((__m256i)(larger(a, b) == a)));
}

// Eight taps in either half of a vector, from windows of their own.
struct Gather : PairGather {
    static constexpr int64_t mostWindows = 8;
    static constexpr int64_t windows(int scale) { return 2 * scale; }
    static constexpr int64_t windowBytes(int) { return 16; }

    template <int scale>
    [[gnu::always_inline]] static U8 gather(const uint8_t* row, const uint32_t* starts,
                                            U8 indexes) {
        const auto window = [=](int i) {
            const __m256i halves =
                _mm256_inserti128_si256(_mm256_castsi128_si256(load<__m128i>(row + starts[i])),
                                        load<__m128i>(row + starts[i + scale]), 1);
            return _mm256_shuffle_epi8(halves, (__m256i)indexes);
        };
        if constexpr (scale == 1)
            return (U8)window(0);
        else if constexpr (scale == 2)
            return (U8)_mm256_blend_epi32(window(0), window(1), 0xCC);
        else
            return (U8)_mm256_blend_epi32(_mm256_blend_epi32(window(0), window(1), 0x22),
                                          _mm256_blend_epi32(window(2), window(3), 0x88), 0xCC);
    }

    // Of 16-bit lanes below 256.
    [[gnu::always_inline]] static void storeNarrowed(uint8_t* bytes, U16 values) {
        const auto low = (U16)_mm256_permute4x64_epi64(
            _mm256_packus_epi16((__m256i)values, (__m256i)values), 0x08);
        store(bytes, _mm256_castsi256_si128((__m256i)low));
    }
};

} // namespace

} // namespace kelvane::avx2

#include "simd/operations.h"
