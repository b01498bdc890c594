// Compiled for AVX2: to be called only where the processor has it.
#include "image/mono_vectors.h"

#include <immintrin.h>

namespace kelvane {

namespace {

// From the sums within both halves, and the last of each throughout its half.
template <typename Vector>
Prefix<Vector> joinHalves(Vector sums, __m256i last) {
    const __m256i swapped = _mm256_permute4x64_epi64(last, _MM_SHUFFLE(1, 0, 3, 2));
    const __m256i before = _mm256_blend_epi32(_mm256_setzero_si256(), swapped, 0xF0);
    return {sums + (Vector)before, (Vector)last + (Vector)swapped};
}

Prefix<Words> prefixSums(Words a) {
    a += (Words)_mm256_slli_si256((__m256i)a, 2);
    a += (Words)_mm256_slli_si256((__m256i)a, 4);
    a += (Words)_mm256_slli_si256((__m256i)a, 8);
    return joinHalves(a, _mm256_shuffle_epi8((__m256i)a, _mm256_set1_epi16(0x0F0E)));
}

Prefix<Longs> prefixSums(Longs a) {
    a += (Longs)_mm256_slli_si256((__m256i)a, 4);
    a += (Longs)_mm256_slli_si256((__m256i)a, 8);
    return joinHalves(a, _mm256_shuffle_epi32((__m256i)a, 0xFF));
}

Words sumsOfBytes(Words a) { return (Words)_mm256_maddubs_epi16((__m256i)a, _mm256_set1_epi8(1)); }

// A multiplication takes one instruction, and not one of the crowded shifts.
Longs weighted(Words a, int weights) {
    return (Longs)_mm256_madd_epi16((__m256i)a, _mm256_set1_epi32(weights));
}

Longs sumsOfPairs(Words a) { return weighted(a, 0x10001); }
Longs lowerOfPairs(Words a) { return weighted(a, 1); }
Longs upperOfPairs(Words a) { return weighted(a, 0x10000); }

Words multiplyHigh(Words a, Words b) { return (Words)_mm256_mulhi_epu16((__m256i)a, (__m256i)b); }

Words upperHalves(Longs even, Longs odd) {
    return (Words)_mm256_blend_epi16((__m256i)(even >> 16), (__m256i)odd, 0xAA);
}

} // namespace

} // namespace kelvane

#include "image/mono_rows_kernel.h"

namespace kelvane {

BoxRowOperations monoRowOperationsAvx2(int64_t area) { return operationsFor(area); }

} // namespace kelvane
