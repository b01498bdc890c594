// Which two source bytes each sample of a resized row is made of.
#pragma once

#include "image/position.h"

#include <cstdint>

namespace kelvane {

// One sample: row[first] * (128 - weight) + row[second] * weight.
struct Tap {
    uint32_t first; // byte indexes in the source row, first <= second
    uint32_t second : 24;
    uint32_t weight : 8; // 0..128
};

// `channels` interleaved samples for each column of a table.
struct SampleMap {
    const Position* columns;
    int64_t interpolated; // columns before this one have a next pixel
    int64_t channels;
    int64_t pixelBytes;  // from one source pixel to the next
    int64_t firstByte;   // of the first channel in a pixel
    int64_t channelStep; // from there to the next channel
    // Samples are the mean of two pixels; the table holds their distance for a weight.
    bool average;

    // The taps of `count` samples.
    void fillTaps(int64_t firstSample, int64_t count, Tap* taps) const;
};

} // namespace kelvane
