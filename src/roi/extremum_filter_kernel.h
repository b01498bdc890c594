// The extremum filter, written once and compiled for every instruction set. Everything has internal
// linkage, so that no code of one instruction set is ever shared with another.
#pragma once

#include "platform/prefetch.h"
#include "roi/extremum_filter.h"
#include "roi/extremum_vectors.h"
#include "roi/narrow_extremum_kernel.h"

#include <algorithm>
#include <cstring>

namespace kelvane {

namespace {

// The buffers of one call. The maximum of bytes is the complement of their complements' minimum:
// everything in here is complemented for it.
struct Rows {
    unsigned char* scratch[2]; // room for a row and its margins
    unsigned char* beginning;
    unsigned char* block; // the rows 1 and on
    int64_t stride;

    unsigned char* slot(int64_t i) const { return i == 0 ? beginning : block + (i - 1) * stride; }
};

// Every pass makes one span out of up to three spans that overlap or adjoin.
void widenSpan(const unsigned char* from, int64_t span, int64_t next, int64_t channels,
               int64_t count, unsigned char* to) {
    const int64_t gap = (next - span) * channels;
    if (next <= 2 * span) {
        forEachVector(count, [=]<typename Lanes>(int64_t x) {
            store<Lanes>(to + x, least<Lanes>(load<Lanes>(from + x), load<Lanes>(from + x + gap)));
        });
        return;
    }
    const int64_t middle = (next - span + 1) / 2 * channels;
    forEachVector(count, [=]<typename Lanes>(int64_t x) {
        const Lanes ends = least<Lanes>(load<Lanes>(from + x), load<Lanes>(from + x + gap));
        store<Lanes>(to + x, least<Lanes>(ends, load<Lanes>(from + x + middle)));
    });
}

// The minimum over the pixels x - radius to x + radius, with 255 beyond the row's ends.
void filterRow(const unsigned char* row, const ExtremumTask& task, int64_t radius, const Rows& rows,
               unsigned char* out) {
    const int64_t channels = task.channels;
    const int64_t margin = radius * channels;
    const int64_t rowBytes = task.width * channels;
    const int64_t length = 2 * radius + 1;
    unsigned char* from = length > 1 ? rows.scratch[0] : out;
    unsigned char* other = rows.scratch[1];
    std::memset(from, 255, static_cast<size_t>(margin));
    forEachVector(rowBytes, [=, inverted = task.inverted]<typename Lanes>(int64_t x) {
        store<Lanes>(from + margin + x, load<Lanes>(row + x) ^ inverted);
    });
    std::memset(from + margin + rowBytes, 255, static_cast<size_t>(margin));
    int64_t next = 0;
    for (int64_t span = 1; span < length; span = next) {
        next = std::min(3 * span, length);
        unsigned char* const to = next < length ? other : out;
        widenSpan(from, span, next, channels, rowBytes + (length - next) * channels, to);
        other = from;
        from = to;
    }
}

constexpr int64_t prefetchedRows = 4; // ahead

// Turns every row from `first` on into the minimum of itself and the rows up to `last`.
void makeEnds(const Rows& rows, int64_t first, int64_t last, int64_t count) {
    for (int64_t i = last - 1; i >= first; --i) {
        unsigned char* const row = rows.slot(i);
        const unsigned char* const below = rows.slot(i + 1);
        forEachVector(count, [=]<typename Lanes>(int64_t x) {
            store<Lanes>(row + x, least<Lanes>(load<Lanes>(row + x), load<Lanes>(below + x)));
        });
    }
}

// Takes `row` and `before` into the beginning, and writes that with `end`.
void join(const unsigned char* row, const unsigned char* before, const unsigned char* end,
          int64_t count, unsigned char inverted, unsigned char* beginning, unsigned char* out) {
    forEachVector(count, [=]<typename Lanes>(int64_t x) {
        const Lanes joined = least<Lanes>(load<Lanes>(row + x), load<Lanes>(before + x));
        const Lanes whole = least<Lanes>(joined, load<Lanes>(end + x));
        store<Lanes>(beginning + x, joined);
        store<Lanes>(out + x, whole ^ inverted);
    });
}

// Down the columns the rows fall into blocks of the rectangle's height, so that every rectangle is
// the end of one block and the beginning of the next: the minimum of a block's rows from one row
// on, and of the next block's rows up to another (van Herk; Gil and Werman). Ends are made in
// place once a block is complete, and each leaves its place to a row of the next block after its
// use. Rows are counted from `rowRadius` above the image, where the first rectangle begins; no
// memory is spent on those outside the image.
void filterByBlocks(const ExtremumTask& task, unsigned char* working) {
    const int64_t columnRadius = std::min(task.radius, task.width - 1);
    const int64_t rowRadius = std::min(task.radius, task.height - 1);
    const int64_t rowBytes = task.width * task.channels;
    const int64_t blockRows = 2 * rowRadius + 2;
    const int64_t firstInImage = rowRadius;
    const int64_t lastInImage = rowRadius + task.height - 1;
    Rows rows;
    rows.stride = roundUpToVector(rowBytes);
    const int64_t scratchBytes = roundUpToVector(rowBytes + 2 * columnRadius * task.channels);
    rows.scratch[0] = working;
    rows.scratch[1] = working + scratchBytes;
    rows.beginning = working + 2 * scratchBytes;
    rows.block = rows.beginning + rows.stride;

    const int64_t rowCount = task.height + blockRows - 1;
    for (int64_t start = 0; start < rowCount; start += blockRows) {
        const int64_t length = std::min(blockRows, rowCount - start);
        for (int64_t i = 0; i < length; ++i) {
            const int64_t row = start + i;
            const int64_t y = row - blockRows + 1; // the rectangle from row y to this one
            const int64_t endStart = start == blockRows ? std::max(i + 1, firstInImage) : i + 1;
            const bool isInside = row >= firstInImage && row <= lastInImage;
            unsigned char* const slot = rows.slot(i);
            // Where a part is missing another one that takes part anyway stands in for it.
            const unsigned char* before = rows.beginning;
            if (isInside) {
                const unsigned char* const source = task.source + (row - rowRadius) * task.pitch;
                if (row + prefetchedRows <= lastInImage)
                    prefetchRow(source + prefetchedRows * task.pitch, rowBytes);
                filterRow(source, task, columnRadius, rows, slot);
                if (row == firstInImage)
                    before = slot;
            } else if (start > lastInImage) {
                before = rows.slot(endStart);
            } else if (row < firstInImage) {
                continue;
            }
            join(isInside ? slot : before, before,
                 y >= 0 && i + 1 < blockRows ? rows.slot(endStart) : before, rowBytes,
                 task.inverted, rows.beginning,
                 y >= 0 ? task.destination + y * task.pitch : rows.scratch[0]);
        }
        makeEnds(rows, std::max<int64_t>(firstInImage - start, 1),
                 std::min(blockRows - 1, lastInImage - start), rowBytes);
    }
}

void filterImage(const ExtremumTask& task, unsigned char* working) {
    if (task.radius > 1)
        return filterByBlocks(task, working);
    if (task.inverted == 0)
        return filterNarrowly<false>(task, working);
    filterNarrowly<true>(task, working);
}

} // namespace

} // namespace kelvane
