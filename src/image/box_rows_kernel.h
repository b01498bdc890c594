// The box filter's row operations, written once for the vectors of every instruction set. The
// including file has included one of the box_vectors headers; everything has internal linkage, so
// that no code of one instruction set is ever shared with another.
#pragma once

#include "image/box_rows.h"

#include <algorithm>

namespace kelvane {

namespace {

enum class Rows { Added, Removed, Both };

template <Rows rows>
uint32_t differenceAt(const unsigned char* added, const unsigned char* removed, int64_t i) {
    const int plus = rows != Rows::Removed ? added[i] : 0;
    const int minus = rows != Rows::Added ? removed[i] : 0;
    return static_cast<uint32_t>(plus - minus);
}

template <Rows rows>
Vector16 differencesAt(const unsigned char* added, const unsigned char* removed, int64_t i) {
    const Vector16 plus = rows != Rows::Removed ? widened(added + i) : zeroVector();
    return rows != Rows::Added ? subtract(plus, widened(removed + i)) : plus;
}

// Sums over every `channels`-th lane up to and including each. The sums of eight differences of
// bytes fit 16 bits.
template <int channels>
Vector32 prefixSums(Vector16 differences) {
    Vector16 sums = addShifted<channels>(differences);
    sums = addShifted<2 * channels>(sums);
    if constexpr (4 * channels < 8)
        sums = addShifted<4 * channels>(sums);
    return joinGroups<channels>(sums);
}

// The prefix sums of two rows differ by the prefix sum of their difference, so that one pass over
// the counters serves both rows.
template <int channels, Rows rows>
void accumulateRows(const unsigned char* added, const unsigned char* removed, int64_t width,
                    uint32_t* __restrict sums) {
    const int64_t count = width * channels;
    Vector32 carry = zeroVector32();
    int64_t i = 0;
    for (; i + vectorLanes <= count; i += vectorLanes) {
        const Vector32 prefix = prefixSums<channels>(differencesAt<rows>(added, removed, i));
        const Vector32 running = add(prefix, carry);
        storeVector32(sums + i, add(loadVector32(sums + i), running));
        carry = lastPixelRepeated<channels>(running);
    }
    uint32_t carried[vectorLanes];
    storeVector32(carried, carry);
    for (int lane = 0; i < count; ++i, ++lane) {
        uint32_t& sum = carried[lane % channels];
        sum += differenceAt<rows>(added, removed, i);
        sums[i] += sum;
    }
}

template <int channels>
void accumulate(const unsigned char* added, const unsigned char* removed, int64_t width,
                void* sums) {
    auto* const counters = static_cast<uint32_t*>(sums);
    if (removed == nullptr)
        accumulateRows<channels, Rows::Added>(added, removed, width, counters);
    else if (added == nullptr)
        accumulateRows<channels, Rows::Removed>(added, removed, width, counters);
    else
        accumulateRows<channels, Rows::Both>(added, removed, width, counters);
}

unsigned char mean(uint32_t sum, uint32_t reciprocal) {
    return static_cast<unsigned char>((sum * reciprocal) >> reciprocalBits);
}

// Windows of one width: the bytes need not be told apart by channel.
void divideUncut(const uint32_t* ahead, const uint32_t* behind, int64_t count, uint32_t reciprocal,
                 unsigned char* __restrict destination) {
    for (int64_t i = divideVectors(ahead, behind, count, reciprocal, destination); i < count; ++i)
        destination[i] = mean(ahead[i] - behind[i], reciprocal);
}

// Windows that end at the row's end and shrink by one per pixel; `reciprocal` is that of the first.
// Turning the reciprocals around beforehand leaves a loop without a descending index, which GCC
// does not vectorise when its types differ in size.
template <int channels>
void divideTail(const uint32_t* total, const uint32_t* behind, const uint32_t* reciprocal,
                int64_t width, unsigned char* __restrict destination) {
    constexpr int64_t run = 64;
    uint32_t turned[run];
    for (int64_t start = 0; start < width; start += run) {
        const int64_t length = std::min(run, width - start);
        for (int64_t x = 0; x < length; ++x)
            turned[x] = reciprocal[-start - x];
        const uint32_t* const first = behind + start * channels;
        unsigned char* const out = destination + start * channels;
        for (int64_t x = 0; x < length; ++x) {
            for (int c = 0; c < channels; ++c)
                out[x * channels + c] = mean(total[c] - first[x * channels + c], turned[x]);
        }
    }
}

// From left to right a row has windows cut on the left, windows that are whole or cut on both
// sides, and windows cut on the right.
template <int channels>
void divide(const void* firstSum, const BoxRow& row, const uint32_t* reciprocals,
            unsigned char* __restrict destination) {
    const auto* const sums = static_cast<const uint32_t*>(firstSum);
    const int64_t shortest = std::min(row.left, row.right) + 1;
    const int64_t uncutOnLeft = row.left + 1;
    const int64_t cutOnRight = row.width - row.right;
    const int64_t headEnd = std::min(uncutOnLeft, cutOnRight);
    const int64_t tailStart = std::max(uncutOnLeft, cutOnRight);
    const uint32_t* const total = sums + (row.width - 1) * channels;

    const uint32_t* const ahead = sums + row.right * channels;
    const uint32_t* const growing = reciprocals + (row.right + 1 - shortest);
    for (int64_t x = 0; x < headEnd; ++x) {
        for (int c = 0; c < channels; ++c)
            destination[x * channels + c] = mean(ahead[x * channels + c], growing[x]);
    }
    if (uncutOnLeft < cutOnRight) {
        divideUncut(ahead + headEnd * channels, sums, (tailStart - headEnd) * channels,
                    reciprocals[row.left + row.right + 1 - shortest],
                    destination + headEnd * channels);
    } else {
        for (int64_t x = headEnd; x < tailStart; ++x) {
            for (int c = 0; c < channels; ++c)
                destination[x * channels + c] = mean(total[c], reciprocals[row.width - shortest]);
        }
    }
    divideTail<channels>(total, sums + (tailStart - uncutOnLeft) * channels,
                         reciprocals + (row.width + row.left - tailStart - shortest),
                         row.width - tailStart, destination + tailStart * channels);
}

} // namespace

} // namespace kelvane
