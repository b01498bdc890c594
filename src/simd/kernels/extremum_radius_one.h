// The extremum filter of radius 1, whose rectangles have three columns and four rows.
#pragma once

#include "simd/kernels/extremum_vectors.h"

namespace kelvane::KELVANE_TARGET {

namespace {

// What later rectangles need of the rows that were read. All rows are filtered across already.
// Nothing is written where a step reads, so that it may do some bytes again.
struct RowHistory {
    uint8_t* lastTwo; // the extremum of the last two rows
    uint8_t* newLastTwo;
    uint8_t* beforeThem; // the row above the last two
    uint8_t* last;
    uint8_t* newLast;

    void advance() {
        uint8_t* const pair = lastTwo;
        lastTwo = newLastTwo;
        newLastTwo = pair;
        uint8_t* const free = beforeThem;
        beforeThem = last;
        last = newLast;
        newLast = free;
    }
};

// Takes two rows and writes those of the two rectangles that begin with the row before the last
// two: these share three rows. Inlined, its pointers would not stay in registers.
template <bool maximum>
[[gnu::noinline]] void filterTwoRows(const uint8_t* upper, const uint8_t* lower, int64_t rowBytes,
                                     int64_t channels, const RowHistory& history, uint8_t* upperOut,
                                     uint8_t* lowerOut) {
    const int64_t distance = rowsAhead * (lower - upper);
    const auto filter = [=]<typename Lanes>(int64_t x, int64_t toLeft, int64_t toRight)
        __attribute__((always_inline)) {
        const auto across = [=](const uint8_t* row) __attribute__((always_inline)) {
            const Lanes sides =
                extremeOf<maximum>(load<Lanes>(row + x - toLeft), load<Lanes>(row + x + toRight));
            return extremeOf<maximum>(sides, load<Lanes>(row + x));
        };
        prefetchLine(upper + x, distance);
        prefetchLine(lower + x, distance);
        const Lanes first = across(upper);
        const Lanes second = across(lower);
        const Lanes shared = extremeOf<maximum>(load<Lanes>(history.lastTwo + x), first);
        store<Lanes>(history.newLastTwo + x, extremeOf<maximum>(first, second));
        store<Lanes>(history.newLast + x, second);
        store<Lanes>(upperOut + x, extremeOf<maximum>(shared, load<Lanes>(history.beforeThem + x)));
        store<Lanes>(lowerOut + x, extremeOf<maximum>(shared, second));
    };
    // The first pixel and the last one, or all of a row that has no room for a vector between.
    const int64_t inner = rowBytes - 2 * channels;
    const int64_t skipped = inner < vectorBytes ? 0 : inner;
    for (int64_t i = 0; i < rowBytes - skipped; ++i) {
        const int64_t x = i < channels ? i : i + skipped;
        filter.template operator()<uint8_t>(x, x < channels ? 0 : channels,
                                            x + channels < rowBytes ? channels : 0);
    }
    for (int64_t x = 0; x < skipped; x += vectorBytes)
        filter.template operator()<U8>(channels + vectorStart(x, vectorBytes, inner), channels,
                                       channels);
}

// Every step reads two rows and writes the two above them, so that the image may be its own
// destination. The first step writes rows above the image, which go nowhere.
template <bool maximum>
void filterNarrowly(const ExtremumTask& task, uint8_t* working) {
    const int64_t rowBytes = task.width * task.channels;
    const int64_t stride = roundUpToVector(rowBytes);
    working = startingLine(working, task.channels);
    std::memset(working, maximum ? 0 : 255, static_cast<size_t>(4 * stride));
    RowHistory history = {working, working + 4 * stride, working + stride, working + 2 * stride,
                          working + 3 * stride};
    uint8_t* const nowhere = working + 5 * stride;
    const auto sourceRow = [&](int64_t y) {
        return task.source + smaller(y, task.height - 1) * task.pitch;
    };
    const auto rowOut = [&](int64_t y) { return task.destination + y * task.pitch; };
    int64_t y = -2;
    for (; y + 2 < task.height; y += 2) {
        filterTwoRows<maximum>(sourceRow(y + 2), sourceRow(y + 3), rowBytes, task.channels, history,
                               y < 0 ? nowhere : rowOut(y), y < 0 ? nowhere : rowOut(y + 1));
        history.advance();
    }
    // Below the image there is nothing to add.
    forEachVector(rowBytes, [=, out = rowOut(y)]<typename Lanes>(int64_t x) {
        store<Lanes>(out + x, extremeOf<maximum>(load<Lanes>(history.lastTwo + x),
                                                 load<Lanes>(history.beforeThem + x)));
    });
    if (y + 1 < task.height)
        std::memcpy(rowOut(y + 1), history.lastTwo, static_cast<size_t>(rowBytes));
}

} // namespace

} // namespace kelvane::KELVANE_TARGET
