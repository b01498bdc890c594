// Compiled for AVX-512 with byte permutations: to be called only where the processor has them.
#include "image/box_vectors.h"

#include <immintrin.h>

namespace kelvane {

namespace {

// The bytes i * step + start modulo 64.
template <int step, int start>
struct Steps {
    alignas(vectorBytes) unsigned char indexes[vectorBytes] = {};
    consteval Steps() {
        for (int i = 0; i < vectorBytes; ++i)
            indexes[i] = static_cast<unsigned char>((i * step + start) % vectorBytes);
    }
};

template <int step, int start>
Words shuffled(__m512i a) {
    static constexpr Steps<step, start> steps;
    return (Words)_mm512_permutexvar_epi8(_mm512_load_si512(steps.indexes), a);
}

// For every lane of the four blocks of 16 bytes, the last one of the block named.
template <typename Lane, int... named>
struct LastLanes {
    alignas(vectorBytes) unsigned char indexes[vectorBytes] = {};
    consteval LastLanes() {
        constexpr int size = sizeof(Lane);
        constexpr int blocks[] = {named...};
        for (int i = 0; i < vectorBytes; ++i)
            indexes[i] = static_cast<unsigned char>(blocks[i / 16] * 16 + 16 - size + i % size);
    }
};

template <typename Lane, int... named>
__m512i lastLanes(__mmask64 kept, __m512i a) {
    static constexpr LastLanes<Lane, named...> lanes;
    return _mm512_maskz_permutexvar_epi8(kept, _mm512_load_si512(lanes.indexes), a);
}

// From the sums within every block.
template <typename Lane, typename Vector>
Vector joinBlocks(Vector a) {
    constexpr __mmask64 oddBlocks = 0xFFFF0000FFFF0000, upperBlocks = 0xFFFFFFFF00000000;
    a += (Vector)lastLanes<Lane, 0, 0, 2, 2>(oddBlocks, (__m512i)a);
    a += (Vector)lastLanes<Lane, 1, 1, 1, 1>(upperBlocks, (__m512i)a);
    return a;
}

Words prefixSums(Words a) {
    a += (Words)_mm512_bslli_epi128((__m512i)a, 2);
    a += (Words)_mm512_bslli_epi128((__m512i)a, 4);
    a += (Words)_mm512_bslli_epi128((__m512i)a, 8);
    return joinBlocks<uint16_t>(a);
}

Longs prefixSums(Longs a) {
    a += (Longs)_mm512_bslli_epi128((__m512i)a, 4);
    a += (Longs)_mm512_bslli_epi128((__m512i)a, 8);
    return joinBlocks<uint32_t>(a);
}

Words lastLane(Words a) {
    return (Words)lastLanes<uint16_t, 3, 3, 3, 3>(~__mmask64{0}, (__m512i)a);
}
Longs lastLane(Longs a) {
    return (Longs)lastLanes<uint32_t, 3, 3, 3, 3>(~__mmask64{0}, (__m512i)a);
}

Words sumsOfBytes(Words a) { return (Words)_mm512_maddubs_epi16((__m512i)a, _mm512_set1_epi8(1)); }

Longs weighted(Words a, int weights) {
    return (Longs)_mm512_madd_epi16((__m512i)a, _mm512_set1_epi32(weights));
}

Longs sumsOfPairs(Words a) { return weighted(a, 0x10001); }
Longs lowerOfPairs(Words a) { return weighted(a, 1); }
Longs upperOfPairs(Words a) { return weighted(a, 0x10000); }

Words multiplyHigh(Words a, Words b) { return (Words)_mm512_mulhi_epu16((__m512i)a, (__m512i)b); }

// Replaces the places in `to` that the mask names by bytes of `from`, which the two halves of a
// block's indexes choose.
__m512i replaceBytes(__m512i to, __mmask64 places, __m512i from, int64_t lower, int64_t upper) {
    const __m512i indexes = _mm512_broadcast_i32x4(_mm_set_epi64x(upper, lower));
    return _mm512_mask_shuffle_epi8(to, places, from, indexes);
}

Words upperBytes(Words even, Words odd) {
    return (Words)replaceBytes((__m512i)odd, 0x5555555555555555, (__m512i)even, 0x0707050503030101,
                               0x0F0F0D0D0B0B0909);
}

Words upperBytes(Longs first, Longs second, Longs third, Longs fourth) {
    constexpr __mmask64 firstOfFour = 0x1111111111111111;
    constexpr int64_t lower = 0x0707070703030303, upper = 0x0F0F0F0F0B0B0B0B;
    auto bytes = (__m512i)fourth;
    bytes = replaceBytes(bytes, firstOfFour << 2, (__m512i)third, lower, upper);
    bytes = replaceBytes(bytes, firstOfFour << 1, (__m512i)second, lower, upper);
    return (Words)replaceBytes(bytes, firstOfFour, (__m512i)first, lower, upper);
}

// Each byte from the argument that belongs to its place modulo 3.
__m512i mixed(__m512i at0, __m512i at1, __m512i at2) {
    constexpr __mmask64 isAt1 = 0x2492492492492492, isAt2 = 0x4924924924924924;
    return _mm512_mask_mov_epi8(_mm512_mask_mov_epi8(at0, isAt1, at1), isAt2, at2);
}

// Three vectors hold 64 pixels. Of each channel they have different bytes: put together, these fill
// one vector, in an order that a permutation mends.
Channels<3> splitVectors(__m512i a, __m512i b, __m512i c) {
    return {{shuffled<3, 0>(mixed(a, c, b)), shuffled<3, 1>(mixed(b, a, c)),
             shuffled<3, 2>(mixed(c, b, a))}};
}

Channels<3> splitChannels(const unsigned char* bytes) {
    return splitVectors(_mm512_loadu_si512(bytes), _mm512_loadu_si512(bytes + vectorBytes),
                        _mm512_loadu_si512(bytes + 2 * vectorBytes));
}

__mmask64 firstLanes(int64_t count) {
    return count < vectorBytes ? (__mmask64{1} << count) - 1 : ~__mmask64{0};
}

// The bytes from `start` to `end`, as far as they fill the vector, and zeros.
__m512i loadUpTo(const unsigned char* bytes, int64_t start, int64_t end) {
    const int64_t from = start < end ? start : end;
    return _mm512_maskz_loadu_epi8(firstLanes(end - from), bytes + from);
}

template <int channels>
Channels<channels> loadFirstPixels(const unsigned char* bytes, int64_t count) {
    if constexpr (channels == 1)
        return {{(Words)loadUpTo(bytes, 0, count)}};
    else
        return splitVectors(loadUpTo(bytes, 0, 3 * count), loadUpTo(bytes, vectorBytes, 3 * count),
                            loadUpTo(bytes, 2 * vectorBytes, 3 * count));
}

void addToFirst(uint16_t* counters, Words sums, int64_t count) {
    const auto lanes = static_cast<__mmask32>(firstLanes(count));
    const __m512i before = _mm512_maskz_loadu_epi16(lanes, counters);
    _mm512_mask_storeu_epi16(counters, lanes, (__m512i)((Words)before + sums));
}

void addToFirst(uint32_t* counters, Longs sums, int64_t count) {
    const auto lanes = static_cast<__mmask16>(firstLanes(count));
    const __m512i before = _mm512_maskz_loadu_epi32(lanes, counters);
    _mm512_mask_storeu_epi32(counters, lanes, (__m512i)((Longs)before + sums));
}

// 43 is the inverse of 3 modulo 64.
void storeChannels(const Channels<3>& channels, unsigned char* bytes) {
    const auto first = (__m512i)shuffled<43, 0>((__m512i)channels.bytes[0]);
    const auto second = (__m512i)shuffled<43, 21>((__m512i)channels.bytes[1]);
    const auto third = (__m512i)shuffled<43, 42>((__m512i)channels.bytes[2]);
    _mm512_storeu_si512(bytes, mixed(first, second, third));
    _mm512_storeu_si512(bytes + vectorBytes, mixed(second, third, first));
    _mm512_storeu_si512(bytes + 2 * vectorBytes, mixed(third, first, second));
}

} // namespace

} // namespace kelvane

#include "image/box_rows_kernel.h"

namespace kelvane {

namespace {

template <typename Counter>
void useAvx512(int channels, BoxRowOperations* operations) {
    operations->replaceRow =
        channels == 1 ? accumulateRows<Counter, 1, true> : accumulateRows<Counter, 3, true>;
    if (channels == 1)
        operations->addOrRemoveRow = accumulateRows<Counter, 1, false>;
    operations->divideWhole = channels == 1 ? divideWhole<Counter, 1> : divideWhole<Counter, 3>;
}

} // namespace

// What is rare is not worth a copy for AVX-512: the counters are the same. Of one channel, the rows
// at the top and at the bottom of a frame count as well.
BoxRowOperations boxRowOperationsAvx512(int channels, int64_t largestArea) {
    BoxRowOperations operations = boxRowOperations(channels, largestArea);
    if (largestArea <= largestWordArea)
        useAvx512<uint16_t>(channels, &operations);
    else
        useAvx512<uint32_t>(channels, &operations);
    return operations;
}

} // namespace kelvane
