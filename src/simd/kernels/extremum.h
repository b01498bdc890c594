// Minimum or maximum over a rectangle around every pixel.
#pragma once

#include "simd/kernels/extremum_radius_one.h"

namespace kelvane::KELVANE_TARGET {

namespace {

// The buffers of one call. The maximum of bytes is the complement of their complements' minimum:
// everything in here is complemented for it.
struct Buffers {
    uint8_t* scratch[2]; // room for a row and its margins
    uint8_t* beginning;  // in the place of row 0; the others follow it
    int64_t stride;

    uint8_t* slot(int64_t i) const { return beginning + i * stride; }
};

// A row, with margins of 255, whose bytes stand for the pixels of a span that begins at theirs.
// The minimum of up to three of them that overlap or adjoin stands for a longer span.
struct SpanRow {
    const uint8_t* bytes;
    int64_t last;   // the distance of the last span
    int64_t middle; // and of one between, or 0 when two spans suffice
};

template <bool three, typename Lanes>
Lanes widened(const SpanRow& spans, int64_t x) {
    const uint8_t* const bytes = spans.bytes + x;
    const Lanes ends = smaller<Lanes>(load<Lanes>(bytes), load<Lanes>(bytes + spans.last));
    return three ? smaller<Lanes>(ends, load<Lanes>(bytes + spans.middle)) : ends;
}

SpanRow toWiden(const uint8_t* bytes, int64_t span, int64_t next, int64_t channels) {
    const int64_t last = next - span;
    return {bytes, last * channels, next > 2 * span ? (last + 1) / 2 * channels : 0};
}

void widenThreefold(const SpanRow& spans, int64_t count, uint8_t* to) {
    forEachVector<true>(count, [=]<typename Lanes>(int64_t x) {
        store<Lanes>(to + x, widened<true, Lanes>(spans, x));
    });
}

// Makes spans of three pixels, of which those at the ends reach into the margins.
void makeSpansOfThree(const uint8_t* row, const ExtremumTask& task, int64_t margin, uint8_t* out) {
    const int64_t channels = task.channels;
    const int64_t rowBytes = task.width * channels;
    const uint8_t inverted = task.inverted;
    const auto outer = static_cast<size_t>(margin - 2 * channels);
    std::memset(out, 255, outer);
    out += margin;
    const uint8_t* const rowEnd = row + rowBytes;
    uint8_t* const outEnd = out + rowBytes;
    for (int64_t x = -channels; x < 0; ++x) {
        const auto leftmost = static_cast<uint8_t>(row[channels + x] ^ inverted);
        const auto rightmost = static_cast<uint8_t>(rowEnd[x] ^ inverted);
        out[x - channels] = leftmost;
        out[x] = smaller(leftmost, static_cast<uint8_t>(row[2 * channels + x] ^ inverted));
        outEnd[x - channels] =
            smaller(static_cast<uint8_t>(rowEnd[x - channels] ^ inverted), rightmost);
        outEnd[x] = rightmost;
    }
    const int64_t distance = rowsAhead * task.pitch;
    const auto makeAs = [=]<bool maximum>() {
        forEachVector<true>(rowBytes - 2 * channels, [=]<typename Lanes>(int64_t x) {
            prefetchLine(row + x, distance);
            const Lanes ends =
                extremeOf<maximum>(load<Lanes>(row + x), load<Lanes>(row + x + 2 * channels));
            const Lanes all = extremeOf<maximum>(ends, load<Lanes>(row + x + channels));
            store<Lanes>(out + x, maximum ? all ^ inverted : all);
        });
    };
    if (inverted != 0)
        makeAs.template operator()<true>();
    else
        makeAs.template operator()<false>();
    std::memset(outEnd, 255, outer);
}

void copyWithMargins(const uint8_t* row, const ExtremumTask& task, int64_t margin, uint8_t* out) {
    const int64_t rowBytes = task.width * task.channels;
    std::memset(out, 255, static_cast<size_t>(margin));
    for (int64_t x = 0; x < rowBytes; ++x)
        out[margin + x] = row[x] ^ task.inverted;
    std::memset(out + margin + rowBytes, 255, static_cast<size_t>(margin));
}

// The row but for the last step to the pixels x - radius to x + radius.
SpanRow filterRow(const uint8_t* row, const ExtremumTask& task, int64_t radius,
                  const Buffers& buffers) {
    const int64_t margin = radius * task.channels;
    const int64_t length = 2 * radius + 1;
    uint8_t* from = buffers.scratch[0];
    uint8_t* other = buffers.scratch[1];
    int64_t span = radius < 2 ? 1 : 3;
    if (span == 1)
        copyWithMargins(row, task, margin, from);
    else
        makeSpansOfThree(row, task, margin, from);
    for (int64_t next = 3 * span; next < length; next = 3 * span) {
        widenThreefold(toWiden(from, span, next, task.channels),
                       (task.width + length - next) * task.channels, other);
        uint8_t* const free = from;
        from = other;
        other = free;
        span = next;
    }
    return toWiden(from, span, length, task.channels);
}

// Turns every row from `first` on into the minimum of itself and the rows up to `last`. A cache
// line at a time: rows of many widths compete for the same places of the cache.
void makeEnds(const Buffers& buffers, int64_t first, int64_t last, int64_t count) {
    if (last <= first)
        return;
    const auto makeColumns = [=]<typename Lanes, int64_t vectors>(int64_t x) {
        uint8_t* row = buffers.slot(last) + x;
        Lanes ends[vectors];
        for (int64_t v = 0; v < vectors; ++v)
            ends[v] = load<Lanes>(row + vectorBytes * v);
        for (int64_t i = last; i > first; --i) {
            row -= buffers.stride;
#pragma GCC unroll 4
            for (int64_t v = 0; v < vectors; ++v) {
                ends[v] = smaller<Lanes>(ends[v], load<Lanes>(row + vectorBytes * v));
                store<Lanes>(row + vectorBytes * v, ends[v]);
            }
        }
    };
    int64_t x = 0;
    for (; x + 64 <= count; x += 64)
        makeColumns.template operator()<U8, 64 / vectorBytes>(x);
    if (x < count)
        forEachVector(count - x, [=]<typename Lanes>(int64_t rest) {
            makeColumns.template operator()<Lanes, 1>(x + rest);
        });
}

// Where the parts of a rectangle lie. Where one is missing another one that takes part anyway
// stands in for it.
struct Parts {
    const uint8_t* before; // the beginning without the row
    const uint8_t* end;
    uint8_t* out; // the slot itself where there is no rectangle yet
    uint8_t* slot;
    uint8_t* beginning; // may be the slot, too
};

// Finishes a row, takes it into the beginning, and writes that with the end.
void join(const SpanRow& spans, const Parts& parts, const ExtremumTask& task) {
    const int64_t pitch = task.pitch;
    const uint8_t inverted = task.inverted;
    const auto joinAs = [&]<bool three>() {
        forEachVector<true>(task.width * task.channels, [=]<typename Lanes>(int64_t x) {
            const Lanes row = widened<three, Lanes>(spans, x);
            const Lanes joined = smaller<Lanes>(row, load<Lanes>(parts.before + x));
            prefetchDestination(parts.out + x, pitch);
            store<Lanes>(parts.out + x,
                         smaller<Lanes>(joined, load<Lanes>(parts.end + x)) ^ inverted);
            store<Lanes>(parts.slot + x, row);
            store<Lanes>(parts.beginning + x, joined);
        });
    };
    if (spans.middle == 0)
        joinAs.template operator()<false>();
    else
        joinAs.template operator()<true>();
}

// Down the columns the rows fall into blocks of the rectangle's height, so that every rectangle is
// the end of one block and the beginning of the next: the minimum of a block's rows from one row
// on, and of the next block's rows up to another (van Herk; Gil and Werman). Ends are made in
// place once a block is complete, and each leaves its place to a row of the next block after its
// use. Rows are counted from `rowRadius` above the image, where the first rectangle begins; no
// memory is spent on those outside the image. Not used with AVX-512.
[[maybe_unused]] void filterByBlocks(const ExtremumTask& task, uint8_t* working) {
    const int64_t columnRadius = smaller(task.radius, task.width - 1);
    const int64_t rowRadius = smaller(task.radius, task.height - 1);
    const int64_t rowBytes = task.width * task.channels;
    const int64_t blockRows = 2 * rowRadius + 2;
    const int64_t firstInImage = rowRadius;
    const int64_t lastInImage = rowRadius + task.height - 1;
    working = startingLine(working, 0);
    const int64_t scratchBytes = roundUpToVector(rowBytes + 2 * columnRadius * task.channels);
    const Buffers buffers = {
        {working, working + scratchBytes}, working + 2 * scratchBytes, roundUpToVector(rowBytes)};

    const int64_t rowCount = task.height + blockRows - 1;
    for (int64_t start = 0; start < rowCount; start += blockRows) {
        const int64_t length = smaller(blockRows, rowCount - start);
        for (int64_t i = 0; i < length; ++i) {
            const int64_t row = start + i;
            const int64_t y = row - blockRows + 1; // the rectangle from row y to this one
            if (row < firstInImage)
                continue;
            const int64_t endStart = start == blockRows ? larger(i + 1, firstInImage) : i + 1;
            const uint8_t* const end =
                y >= 0 && i + 1 < blockRows ? buffers.slot(endStart) : nullptr;
            uint8_t* const out = y >= 0 ? task.destination + y * task.pitch : buffers.slot(i);
            const uint8_t* const beginning = start > lastInImage ? end : buffers.beginning;
            SpanRow spans = {beginning, 0, 0}; // below the image there is nothing to add
            const uint8_t* before = beginning;
            if (row <= lastInImage) {
                spans = filterRow(task.source + (row - rowRadius) * task.pitch, task, columnRadius,
                                  buffers);
                if (i == 0 || row == firstInImage)
                    before = spans.bytes;
            }
            join(spans,
                 {before, end != nullptr ? end : before, out, buffers.slot(i), buffers.beginning},
                 task);
        }
        makeEnds(buffers, larger<int64_t>(firstInImage - start, 1),
                 smaller(blockRows - 1, lastInImage - start), rowBytes);
    }
}

void filterExtremum(const ExtremumTask& task, uint8_t* working) {
    if constexpr (vectorBytes > 32) { // AVX2 is faster: the working rows decide
        if (task.radius > 1)
            return narrower.filterExtremum(task, working);
    } else {
        if (task.radius > 1)
            return filterByBlocks(task, working);
    }
    if (task.inverted == 0)
        return filterNarrowly<false>(task, working);
    filterNarrowly<true>(task, working);
}

} // namespace

} // namespace kelvane::KELVANE_TARGET
