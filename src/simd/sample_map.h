// Which two source bytes each sample of a resized row is made of.
#pragma once

#include <bit>
#include <cstdint>

namespace kelvane {

// A source index and the weight of the next source sample, 0..128. As a 32-bit word the index is
// the low half, which is how callers find the tables in a resize buffer.
struct Position {
    uint16_t index;
    uint16_t weight;
};

static_assert(sizeof(Position) == 4 && std::endian::native == std::endian::little);

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
};

// One sample: row[first] * (128 - weight) + row[second] * weight, with a weight of 0..128.
struct Tap {
    uint32_t first;       // byte indexes in the source row
    uint32_t second : 24; // not before the first
    uint32_t weight : 8;
};

// The taps of `count` samples.
void fillTaps(const SampleMap& map, int64_t firstSample, int64_t count, Tap* taps);

} // namespace kelvane
