// The sharpness measure: samples of a grid, and how much neighbouring ones differ.
#pragma once

#include "platform/prefetch.h"

#include <cstdlib>

namespace kelvane::KELVANE_TARGET {

namespace {

// Each sampler makes one sample from the pixels 0 and 2 of two rows: `plain` reads these two only.
// `sums` reads all four pixels of a grid step and makes as many 32-bit sums of samples as a vector
// has lanes, in runs of `run` in every block, and `samples` turns two vectors of these into bytes.

struct LumaSampler {
    static constexpr int64_t bytesPerPixel = 1;
    static constexpr int run = 4;
    static uint32_t plain(const uint8_t* upper, const uint8_t* lower) {
        return (uint32_t{upper[0]} + upper[2] + lower[0] + lower[2] + 2) >> 2;
    }
    static I32 sums(const uint8_t* upper, const uint8_t* lower) {
        const U16 columns = (load<U16>(upper) & 0xFF) + (load<U16>(lower) & 0xFF);
        return (I32)sumsOfPairs(columns);
    }
    static I16 samples(I32 a, I32 b) { return (packed(a, b) + 2) >> 2; }
};

// Two bytes per pixel, the first of each being the luma.
struct PackedLumaSampler {
    static constexpr int64_t bytesPerPixel = 2;
    static constexpr int run = 2;
    static uint32_t plain(const uint8_t* upper, const uint8_t* lower) {
        return (uint32_t{upper[0]} + upper[4] + lower[0] + lower[4] + 2) >> 2;
    }
    static I32 columns(const uint8_t* upper, const uint8_t* lower) {
        return (load<I32>(upper) & 0xFF) + (load<I32>(lower) & 0xFF);
    }
    static I32 sums(const uint8_t* upper, const uint8_t* lower) {
        return (I32)sumsOfPairs(
            (U16)packed(columns(upper, lower), columns(upper + vectorBytes, lower + vectorBytes)));
    }
    static I16 samples(I32 a, I32 b) { return LumaSampler::samples(a, b); }
};

// Colours as luma: BT.601 weights scaled by 2^14. The 5-bit fields count twice as much per step as
// the 6-bit one, hence their weights scaled by 2^15.
struct Rgb565Sampler {
    static constexpr int64_t bytesPerPixel = 2;
    static constexpr int run = 2;
    static uint32_t plain(const uint8_t* upper, const uint8_t* lower) {
        uint32_t red = 0, green = 0, blue = 0;
        const uint8_t* const pixels[] = {upper, upper + 4, lower, lower + 4};
        for (const uint8_t* const pixel : pixels) {
            const auto fields = load<uint16_t>(pixel);
            red += fields >> 11;
            green += fields >> 5 & 0x3F;
            blue += fields & 0x1F;
        }
        return (9798 * red + 9617 * green + 3736 * blue + 8192) >> 14;
    }
    static U16 evenPixels(const uint8_t* row) {
        return lowHalves(load<U32>(row), load<U32>(row + vectorBytes));
    }
    static I32 sums(const uint8_t* upper, const uint8_t* lower) {
        const U16 a = evenPixels(upper), b = evenPixels(lower);
        const U16 red = (a >> 11) + (b >> 11);
        const U16 green = ((a & 0x07E0) + (b & 0x07E0)) >> 5;
        const U16 blue = (a & 0x001F) + (b & 0x001F);
        return weightedPairs((I16)red, I16{} + 9798) + weightedPairs((I16)green, I16{} + 9617) +
               weightedPairs((I16)blue, I16{} + 3736);
    }
    static I16 samples(I32 a, I32 b) { return packed((a + 8192) >> 14, (b + 8192) >> 14); }
};

// Bytes 1, 2 and 3 of a pixel are red, green and blue. The rounding term is a quarter of what the
// shift would ask for; results of the measure have always been formed with it.
struct Xrgb32Sampler {
    static constexpr int64_t bytesPerPixel = 4;
    static constexpr int run = 1;
    static uint32_t plain(const uint8_t* upper, const uint8_t* lower) {
        uint32_t red = 0, green = 0, blue = 0;
        const uint8_t* const pixels[] = {upper, upper + 8, lower, lower + 8};
        for (const uint8_t* const pixel : pixels) {
            red += pixel[1];
            green += pixel[2];
            blue += pixel[3];
        }
        return (4899 * red + 9617 * green + 1868 * blue + 8192) >> 16;
    }
    static U16 evenPixels(const uint8_t* row) {
        return (U16)evenLanes(load<U32>(row), load<U32>(row + vectorBytes));
    }
    // Of every even pixel of two rows.
    static I32 weighted(const uint8_t* upper, const uint8_t* lower) {
        const U16 a = evenPixels(upper), b = evenPixels(lower);
        const U16 redAndBlue = (a >> 8) + (b >> 8);
        const U16 green = (a & 0xFF) + (b & 0xFF);
        return weightedPairs((I16)redAndBlue, (I16)(I32{} + (1868 << 16 | 4899))) +
               weightedPairs((I16)green, (I16)(I32{} + (9617 << 16)));
    }
    static I32 sums(const uint8_t* upper, const uint8_t* lower) {
        const auto a = (U32)weighted(upper, lower);
        const auto b = (U32)weighted(upper + 2 * vectorBytes, lower + 2 * vectorBytes);
        return (I32)(evenLanes(a, b) + oddLanes(a, b));
    }
    static I16 samples(I32 a, I32 b) { return packed((a + 8192) >> 16, (b + 8192) >> 16); }
};

// The last vector may go over some samples again. Lines are asked for one by one: many requests at
// once would hold up the reads.
template <typename Sampler>
void sampleRow(const SampledArea& area, const uint8_t* upper, uint8_t* samples) {
    constexpr int64_t step = 4 * Sampler::bytesPerPixel;
    constexpr int64_t sumBytes = step * vectorBytes / 4;
    const uint8_t* const lower = upper + 2 * area.pitch;
    const int64_t last = area.columns - 1; // of this one, nothing follows pixel 2
    int64_t x = 0;
    if (last >= vectorBytes) {
        for (; x < last; x += vectorBytes) {
            const int64_t start = vectorStart(x, vectorBytes, last);
            const uint8_t* const a = upper + step * start;
            const uint8_t* const b = lower + step * start;
            for (int64_t line = 0; line < 4 * sumBytes; line += cacheLine) {
                prefetchSoon(a + line, 4 * area.pitch);
                prefetchSoon(b + line, 4 * area.pitch);
            }
            const auto sums = [=](int64_t i) {
                return Sampler::sums(a + i * sumBytes, b + i * sumBytes);
            };
            store(samples + start,
                  inOrder<Sampler::run>(packed(Sampler::samples(sums(0), sums(1)),
                                               Sampler::samples(sums(2), sums(3)))));
        }
        x = last;
    }
    for (; x <= last; ++x)
        samples[x] = static_cast<uint8_t>(Sampler::plain(upper + step * x, lower + step * x));
}

// Adds the differences to the left and to the upper neighbour, of every sample but the first. From
// the right, so that the vector at the left end counts what the others left.
U64 addNeighbourDifferences(U64 sums, const uint8_t* row, const uint8_t* above, int64_t columns) {
    if (columns <= vectorBytes) {
        int32_t sum = 0;
        for (int64_t x = 1; x < columns; ++x)
            sum += std::abs(row[x] - row[x - 1]) + std::abs(row[x] - above[x]);
        sums[0] += static_cast<uint64_t>(sum);
        return sums;
    }
    const auto add = [&](int64_t x, U8 counted) {
        const U8 here = load<U8>(row + x) & counted;
        sums = addDifferences(sums, here, load<U8>(row + x - 1) & counted);
        sums = addDifferences(sums, here, load<U8>(above + x) & counted);
    };
    int64_t x = columns - vectorBytes;
    for (; x >= 1; x -= vectorBytes)
        add(x, ~U8{});
    add(1, firstLanes<U8>(x + vectorBytes - 1));
    return sums;
}

template <typename Sampler>
int64_t sumSampleDifferences(const SampledArea& area, uint8_t* scratch) {
    const uint8_t* upper = area.first;
    uint8_t* above = scratch;
    uint8_t* row = scratch + (area.columns + 3) / 4 * 4;
    sampleRow<Sampler>(area, upper, above);
    U64 sums = {};
    for (int64_t y = 1; y < area.rows; ++y) {
        upper += 4 * area.pitch;
        sampleRow<Sampler>(area, upper, row);
        sums = addNeighbourDifferences(sums, row, above, area.columns);
        uint8_t* const sampled = row;
        row = above;
        above = sampled;
    }
    return sumOfLanes(sums);
}

} // namespace

} // namespace kelvane::KELVANE_TARGET
