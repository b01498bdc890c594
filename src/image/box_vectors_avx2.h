// Vectors of the box filter's row operations: AVX2.
#pragma once

#include "image/box_rows.h"

#include <immintrin.h>

namespace kelvane {

namespace {

constexpr int64_t vectorLanes = 16; // of a `Vector16`

using Vector16 = __m256i;

// As many 32-bit lanes as a `Vector16` has lanes.
struct Vector32 {
    __m256i low;
    __m256i high;
};

Vector16 zeroVector() { return _mm256_setzero_si256(); }

Vector16 widened(const unsigned char* bytes) {
    return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes)));
}

Vector16 subtract(Vector16 a, Vector16 b) { return _mm256_sub_epi16(a, b); }

// Adds to every lane the lane `distance` before it in its group of eight.
template <int distance>
Vector16 addShifted(Vector16 a) {
    return _mm256_add_epi16(a, _mm256_slli_si256(a, 2 * distance));
}

// The last `channels` lanes over and over, in the order in which the next lanes need them.
template <int channels>
__m256i lastPixelRepeated(__m256i a) {
    return _mm256_permutevar8x32_epi32(
        a, channels == 1 ? _mm256_set1_epi32(7) : _mm256_setr_epi32(5, 6, 7, 5, 6, 7, 5, 6));
}

template <int channels>
Vector32 lastPixelRepeated(Vector32 a) {
    const __m256i low = lastPixelRepeated<channels>(a.high);
    return {low, channels == 1 ? low : lastPixelRepeated<channels>(low)};
}

// Makes one run of prefix sums from those of two groups of eight.
template <int channels>
Vector32 joinGroups(Vector16 a) {
    const __m256i low = _mm256_cvtepi16_epi32(_mm256_castsi256_si128(a));
    const __m256i high = _mm256_cvtepi16_epi32(_mm256_extracti128_si256(a, 1));
    return {low, _mm256_add_epi32(high, lastPixelRepeated<channels>(low))};
}

Vector32 zeroVector32() { return {zeroVector(), zeroVector()}; }

Vector32 add(Vector32 a, Vector32 b) {
    return {_mm256_add_epi32(a.low, b.low), _mm256_add_epi32(a.high, b.high)};
}

Vector32 loadVector32(const uint32_t* lanes) {
    const auto* const vectors = reinterpret_cast<const __m256i*>(lanes);
    return {_mm256_loadu_si256(vectors), _mm256_loadu_si256(vectors + 1)};
}

void storeVector32(uint32_t* lanes, Vector32 a) {
    auto* const vectors = reinterpret_cast<__m256i*>(lanes);
    _mm256_storeu_si256(vectors, a.low);
    _mm256_storeu_si256(vectors + 1, a.high);
}

// AVX2 multiplies 32-bit lanes: the compiler's own vectors do.
int64_t divideVectors(const uint32_t*, const uint32_t*, int64_t, uint32_t, unsigned char*) {
    return 0;
}

} // namespace

} // namespace kelvane
