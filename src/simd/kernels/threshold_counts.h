// How many pixels lie below some limits.
#pragma once

#include "platform/prefetch.h"
#include "simd/kernels/threshold_bits.h"

namespace kelvane::KELVANE_TARGET {

namespace {

struct LimitCounts {
    U8 limits[3];
    U8 inBytes[3] = {}; // of one row
    U64 sums[3] = {};

    explicit LimitCounts(const uint8_t* values) {
        for (int i = 0; i < 3; ++i)
            limits[i] = U8{} + values[i];
    }

    [[gnu::always_inline]] void add(U8 pixels, U8 counted) {
#pragma GCC unroll 3
        for (int i = 0; i < 3; ++i)
            inBytes[i] += (U8)(pixels < limits[i]) & counted & 1;
    }

    [[gnu::always_inline]] void flush() {
#pragma GCC unroll 3
        for (int i = 0; i < 3; ++i) {
            sums[i] = addDifferences(sums[i], inBytes[i], U8{});
            inBytes[i] = U8{};
        }
    }
};

template <int step>
void countBelowAtStep(const PixelGrid& grid, LimitCounts& counts) {
    // Nothing after the last pixel is read, not even what belongs to its step.
    const int64_t whole = (grid.columns - 1) / vectorBytes * vectorBytes;
    const int64_t rest = grid.columns - vectorBytes;
    const U8 counted = ~firstLanes<U8>(whole - rest);
    for (int64_t y = 0; y < grid.rows; ++y) {
        const uint8_t* const row = grid.pixels + y * grid.pitch;
        for (int64_t x = 0; x < whole; x += vectorBytes)
            counts.add(loadFromSteps<step, false>(row + x * step), ~U8{});
        counts.add(loadFromSteps<step, true>(row + rest * step - (step - 1)), counted);
        counts.flush();
    }
}

void countBelow(const PixelGrid& grid, const uint8_t limits[3], int64_t counts[3]) {
    for (int i = 0; i < 3; ++i)
        counts[i] = 0;
    if (grid.columns <= vectorBytes) {
        for (int64_t y = 0; y < grid.rows; ++y) {
            for (int64_t x = 0; x < grid.columns; ++x) {
                for (int i = 0; i < 3; ++i)
                    counts[i] += grid.pixels[y * grid.pitch + x * grid.step] < limits[i];
            }
        }
        return;
    }
    LimitCounts below(limits);
    if (grid.step == 1)
        countBelowAtStep<1>(grid, below);
    else if (grid.step == 2)
        countBelowAtStep<2>(grid, below);
    else
        countBelowAtStep<4>(grid, below);
    for (int i = 0; i < 3; ++i)
        counts[i] = sumOfLanes(below.sums[i]);
}

} // namespace

} // namespace kelvane::KELVANE_TARGET
