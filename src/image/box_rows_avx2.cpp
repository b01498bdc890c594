// Compiled for AVX2: to be called only where the processor has it.
#include "image/box_vectors.h"

#include <immintrin.h>

namespace kelvane {

namespace {

// The lower half in the place of the upper one, and zeros.
__m256i lowerHalfAbove(__m256i a) { return _mm256_permute2x128_si256(a, a, 0x08); }

Words lastOfHalves(Words a) {
    return (Words)_mm256_shuffle_epi8((__m256i)a, _mm256_set1_epi16(0x0F0E));
}
Longs lastOfHalves(Longs a) { return (Longs)_mm256_shuffle_epi32((__m256i)a, 0xFF); }

template <typename Vector>
Vector joinHalves(Vector a) {
    return a + (Vector)lowerHalfAbove((__m256i)lastOfHalves(a));
}

Words prefixSums(Words a) {
    a += (Words)_mm256_slli_si256((__m256i)a, 2);
    a += (Words)_mm256_slli_si256((__m256i)a, 4);
    a += (Words)_mm256_slli_si256((__m256i)a, 8);
    return joinHalves(a);
}

Longs prefixSums(Longs a) {
    a += (Longs)_mm256_slli_si256((__m256i)a, 4);
    a += (Longs)_mm256_slli_si256((__m256i)a, 8);
    return joinHalves(a);
}

Words lastLane(Words a) { return lastOfHalves((Words)_mm256_permute4x64_epi64((__m256i)a, 0xFF)); }
Longs lastLane(Longs a) {
    return (Longs)_mm256_permutevar8x32_epi32((__m256i)a, _mm256_set1_epi32(7));
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

Words upperBytes(Words even, Words odd) { return (even >> 8) | (odd & 0xFF00); }
Words upperBytes(Longs first, Longs second, Longs third, Longs fourth) {
    return upperBytes(upperHalves(first, third), upperHalves(second, fourth));
}

// Three blocks of 16 bytes hold 16 pixels. Of each channel they have different bytes: put together,
// these fill one block, in an order that a shuffle mends.
template <int channel>
__m256i isOfChannel() { // in the first block
    constexpr auto at = [](int i) { return static_cast<char>(i % 3 == channel ? -1 : 0); };
    return _mm256_broadcastsi128_si256(_mm_setr_epi8(at(0), at(1), at(2), at(3), at(4), at(5),
                                                     at(6), at(7), at(8), at(9), at(10), at(11),
                                                     at(12), at(13), at(14), at(15)));
}

// The bytes i * step + start modulo 16.
template <int step, int start>
__m256i shuffled(__m256i a) {
    constexpr auto at = [](int i) { return static_cast<char>((i * step + start) % 16); };
    return _mm256_shuffle_epi8(a, _mm256_broadcastsi128_si256(_mm_setr_epi8(
                                      at(0), at(1), at(2), at(3), at(4), at(5), at(6), at(7), at(8),
                                      at(9), at(10), at(11), at(12), at(13), at(14), at(15))));
}

// Each byte from the argument that belongs to its place modulo 3.
__m256i mixed(__m256i at0, __m256i at1, __m256i at2) {
    return _mm256_blendv_epi8(_mm256_blendv_epi8(at0, at1, isOfChannel<1>()), at2,
                              isOfChannel<2>());
}

__m256i loadBlocks(const unsigned char* low, const unsigned char* high) {
    return _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(high),
                               reinterpret_cast<const __m128i*>(low));
}

Channels<3> splitChannels(const unsigned char* bytes) {
    const __m256i a = loadBlocks(bytes, bytes + 48);
    const __m256i b = loadBlocks(bytes + 16, bytes + 64);
    const __m256i c = loadBlocks(bytes + 32, bytes + 80);
    return {{(Words)shuffled<3, 0>(mixed(a, c, b)), (Words)shuffled<3, 1>(mixed(b, a, c)),
             (Words)shuffled<3, 2>(mixed(c, b, a))}};
}

void storeBlocks(__m256i a, unsigned char* low, unsigned char* high) {
    _mm256_storeu2_m128i(reinterpret_cast<__m128i*>(high), reinterpret_cast<__m128i*>(low), a);
}

// 11 is the inverse of 3 modulo 16.
void storeChannels(const Channels<3>& channels, unsigned char* bytes) {
    const __m256i first = shuffled<11, 0>((__m256i)channels.bytes[0]);
    const __m256i second = shuffled<11, 5>((__m256i)channels.bytes[1]);
    const __m256i third = shuffled<11, 10>((__m256i)channels.bytes[2]);
    storeBlocks(mixed(first, second, third), bytes, bytes + 48);
    storeBlocks(mixed(second, third, first), bytes + 16, bytes + 64);
    storeBlocks(mixed(third, first, second), bytes + 32, bytes + 80);
}

} // namespace

} // namespace kelvane

#include "image/box_rows_kernel.h"

namespace kelvane {

namespace {

template <typename Counter>
void useAvx2(int channels, BoxRowOperations* operations) {
    operations->replaceRow =
        channels == 1 ? accumulateRows<Counter, 1, true> : accumulateRows<Counter, 3, true>;
    operations->divideWhole = channels == 1 ? divideWhole<Counter, 1> : divideWhole<Counter, 3>;
}

} // namespace

// What is rare is not worth a copy for AVX2: the counters are the same.
BoxRowOperations boxRowOperationsAvx2(int channels, int64_t largestArea) {
    BoxRowOperations operations = boxRowOperations(channels, largestArea);
    if (largestArea <= largestWordArea)
        useAvx2<uint16_t>(channels, &operations);
    else
        useAvx2<uint32_t>(channels, &operations);
    return operations;
}

} // namespace kelvane
