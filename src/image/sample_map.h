// Which two source bytes each sample of a resized row is made of.
#pragma once

#include "image/position.h"

#include <cstdint>

namespace kelvane {

// One sample: row[first] * (128 - weight) + row[second] * weight, with a weight of 0..128.
class Tap {
public:
    Tap() = default;
    Tap(uint32_t firstByte, uint32_t secondByte, uint32_t weightOfSecond)
        : firstIndex(firstByte), rest(secondByte << 8 | weightOfSecond) {}
    uint32_t first() const { return firstIndex; } // byte indexes in the source row, below 2^24
    uint32_t second() const { return rest >> 8; } // not before the first
    uint32_t weight() const { return rest & 255; }

private:
    uint32_t firstIndex;
    uint32_t rest;
};

// `channels` interleaved samples for each column of a table.
struct SampleMap {
    const Position* columns;
    int64_t interpolated; // columns before this one have a next pixel
    int64_t channels;
    uint32_t pixelBytes; // from one source pixel to the next
    uint32_t firstByte;  // of the first channel in a pixel
    int32_t channelStep; // from there to the next channel; not 0
    // Samples are the mean of two pixels; the table holds their distance for a weight.
    bool average;

    // The taps of `count` samples.
    void fillTaps(int64_t firstSample, int64_t count, Tap* taps) const;
};

} // namespace kelvane
