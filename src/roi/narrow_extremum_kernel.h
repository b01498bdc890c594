// The extremum filter of radius 1, whose rectangles have three columns and four rows.
#pragma once

#include "platform/prefetch.h"
#include "roi/extremum_filter.h"
#include "roi/extremum_vectors.h"

#include <algorithm>
#include <utility>

namespace kelvane {

namespace {

// What later rectangles need of the rows that were read. All rows are filtered across already.
// Nothing is written where a step reads, so that it may do some bytes again.
struct RowHistory {
    unsigned char* lastTwo; // the extremum of the last two rows
    unsigned char* newLastTwo;
    unsigned char* beforeThem; // the row above the last two
    unsigned char* last;
    unsigned char* newLast;

    void advance() {
        std::swap(lastTwo, newLastTwo);
        unsigned char* const free = beforeThem;
        beforeThem = last;
        last = newLast;
        newLast = free;
    }
};

// Takes two rows and writes those of the two rectangles that begin with the row before the last
// two: these share three rows.
template <bool maximum>
void filterTwoRows(const unsigned char* upper, const unsigned char* lower, int64_t rowBytes,
                   int64_t channels, const RowHistory& history, int64_t ahead,
                   unsigned char* upperOut, unsigned char* lowerOut) {
    const auto filter = [=]<typename Lanes>(int64_t x, int64_t toLeft, int64_t toRight) {
        const auto across = [=](const unsigned char* row) {
            const Lanes sides = extremeOf<maximum>(loadVector<Lanes>(row + x - toLeft),
                                                   loadVector<Lanes>(row + x + toRight));
            return extremeOf<maximum>(sides, loadVector<Lanes>(row + x));
        };
        prefetchLine(upper + ahead + x);
        prefetchLine(lower + ahead + x);
        const Lanes first = across(upper);
        const Lanes second = across(lower);
        const Lanes shared = extremeOf<maximum>(loadVector<Lanes>(history.lastTwo + x), first);
        storeVector<Lanes>(history.newLastTwo + x, extremeOf<maximum>(first, second));
        storeVector<Lanes>(history.newLast + x, second);
        storeVector<Lanes>(upperOut + x,
                           extremeOf<maximum>(shared, loadVector<Lanes>(history.beforeThem + x)));
        storeVector<Lanes>(lowerOut + x, extremeOf<maximum>(shared, second));
    };
    // The first pixel and the last one, or all of a row that has no room for a vector between.
    const int64_t inner = rowBytes - 2 * channels;
    const int64_t skipped = inner < vectorBytes ? 0 : inner;
    for (int64_t i = 0; i < rowBytes - skipped; ++i) {
        const int64_t x = i < channels ? i : i + skipped;
        filter.template operator()<unsigned char>(x, x < channels ? 0 : channels,
                                                  x + channels < rowBytes ? channels : 0);
    }
    for (int64_t x = 0; x < skipped; x += vectorBytes)
        filter.template operator()<Vector>(channels + std::min(x, inner - vectorBytes), channels,
                                           channels);
}

constexpr int64_t rowsFetchedAhead = 4;

// Every step reads two rows and writes the two above them, so that the image may be its own
// destination. The first step writes rows above the image, which go nowhere.
template <bool maximum>
void filterNarrowly(const ExtremumTask& task, unsigned char* working) {
    const int64_t rowBytes = task.width * task.channels;
    const int64_t stride = roundUpToVector(rowBytes);
    working = startingLine(working, task.channels);
    std::memset(working, maximum ? 0 : 255, static_cast<size_t>(4 * stride));
    RowHistory history = {working, working + 4 * stride, working + stride, working + 2 * stride,
                          working + 3 * stride};
    unsigned char* const nowhere = working + 5 * stride;
    const auto sourceRow = [&](int64_t y) {
        return task.source + std::min(y, task.height - 1) * task.pitch;
    };
    const auto rowOut = [&](int64_t y) { return task.destination + y * task.pitch; };
    int64_t y = -2;
    for (; y + 2 < task.height; y += 2) {
        const bool isFollowed = y + 3 + rowsFetchedAhead < task.height;
        const int64_t ahead = isFollowed ? rowsFetchedAhead * task.pitch : 0;
        filterTwoRows<maximum>(sourceRow(y + 2), sourceRow(y + 3), rowBytes, task.channels, history,
                               ahead, y < 0 ? nowhere : rowOut(y), y < 0 ? nowhere : rowOut(y + 1));
        history.advance();
    }
    // Below the image there is nothing to add.
    forEachVector(rowBytes, [=, out = rowOut(y)]<typename Lanes>(int64_t x) {
        storeVector<Lanes>(out + x, extremeOf<maximum>(loadVector<Lanes>(history.lastTwo + x),
                                                       loadVector<Lanes>(history.beforeThem + x)));
    });
    if (y + 1 < task.height)
        std::memcpy(rowOut(y + 1), history.lastTwo, static_cast<size_t>(rowBytes));
}

} // namespace

} // namespace kelvane
