// One row of grid samples, made from two image rows.
#pragma once

#include <cstdint>

namespace kelvane {

// Converts `count` samples, at least 1. `upper` and `lower` point to the first sample's pixel in
// the two rows; the next rows to be converted lie `ahead` of these. Nothing behind the last pixel
// of the last sample is read.
using SampleRowFunction = void (*)(const unsigned char* upper, const unsigned char* lower,
                                   int64_t count, int64_t ahead, unsigned char* samples);

// How an image format is sampled.
struct SampleFormat {
    SampleRowFunction convertRow; // null for a format that cannot be sampled
    int64_t bytesPerPixel;
    bool evenWidth; // the format needs an even width
    bool evenHeight;
};

SampleFormat sampleFormatOf(uint32_t format);

} // namespace kelvane
