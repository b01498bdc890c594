// The extremum filter, written once and compiled for every instruction set. Everything has internal
// linkage, so that no code of one instruction set is ever shared with another.
#pragma once

#include "roi/extremum_filter.h"

#include <algorithm>
#include <cstring>

namespace kelvane {

namespace {

struct Minimum {
    static constexpr unsigned char identity = 255;
    static unsigned char of(unsigned char a, unsigned char b) { return a < b ? a : b; }
};

struct Maximum {
    static constexpr unsigned char identity = 0;
    static unsigned char of(unsigned char a, unsigned char b) { return a > b ? a : b; }
};

template <typename Extremum>
void combine(const unsigned char* a, const unsigned char* b, int64_t count,
             unsigned char* __restrict out) {
    for (int64_t i = 0; i < count; ++i)
        out[i] = Extremum::of(a[i], b[i]);
}

template <typename Extremum>
void combine(const unsigned char* a, const unsigned char* b, const unsigned char* c, int64_t count,
             unsigned char* __restrict out) {
    for (int64_t i = 0; i < count; ++i)
        out[i] = Extremum::of(Extremum::of(a[i], b[i]), c[i]);
}

template <typename Extremum>
void fold(const unsigned char* a, int64_t count, unsigned char* __restrict out) {
    for (int64_t i = 0; i < count; ++i)
        out[i] = Extremum::of(out[i], a[i]);
}

size_t bytes(int64_t count) { return static_cast<size_t>(count); }

// Every pass makes one span out of up to three spans that overlap or adjoin.
int64_t widerSpan(int64_t span, int64_t length) { return std::min(3 * span, length); }

int64_t passCount(int64_t length) {
    int64_t passes = 0;
    for (int64_t span = 1; span < length; span = widerSpan(span, length))
        ++passes;
    return passes;
}

// The extremum over the pixels x - radius to x + radius, with identity beyond the row's ends.
// `out` and `other` both have room for the row and its margins; the passes go to and fro between
// them, and the last one ends in `out`.
template <typename Extremum>
void filterRow(const unsigned char* row, int64_t width, int64_t channels, int64_t radius,
               unsigned char* out, unsigned char* other) {
    const int64_t margin = radius * channels;
    const int64_t rowBytes = width * channels;
    const int64_t length = 2 * radius + 1;
    unsigned char* from = out;
    unsigned char* to = other;
    if (passCount(length) % 2 != 0)
        std::swap(from, to);
    std::memset(from, Extremum::identity, bytes(margin));
    std::memcpy(from + margin, row, bytes(rowBytes));
    std::memset(from + margin + rowBytes, Extremum::identity, bytes(margin));
    int64_t next = 0;
    for (int64_t span = 1; span < length; span = next) {
        next = widerSpan(span, length);
        const int64_t gap = next - span;
        const int64_t count = rowBytes + (length - next) * channels;
        if (gap <= span)
            combine<Extremum>(from, from + gap * channels, count, to);
        else
            combine<Extremum>(from, from + (gap + 1) / 2 * channels, from + gap * channels, count,
                              to);
        std::swap(from, to);
    }
}

// Turns every row from `first` on into the extremum of itself and the rows up to `last`.
template <typename Extremum>
void makeEnds(unsigned char* block, int64_t stride, int64_t first, int64_t last, int64_t count) {
    for (int64_t i = last - 1; i >= first; --i)
        fold<Extremum>(block + (i + 1) * stride, count, block + i * stride);
}

// Either part may be null, but not both.
template <typename Extremum>
void join(const unsigned char* end, const unsigned char* beginning, int64_t count,
          unsigned char* out) {
    if (end != nullptr && beginning != nullptr)
        combine<Extremum>(end, beginning, count, out);
    else
        std::memcpy(out, end != nullptr ? end : beginning, bytes(count));
}

// Down the columns the rows fall into blocks of the rectangle's height, so that every rectangle is
// the end of one block and the beginning of the next: the extremum of a block's rows from one row
// on, and of the next block's rows up to another (van Herk; Gil and Werman). Ends are made in
// place once a block is complete, and each leaves its place to a row of the next block after its
// use. Rows are counted from `rowRadius` above the image, where the first rectangle begins; no
// memory is spent on those outside the image.
template <typename Extremum>
void filterImage(const ExtremumTask& task, unsigned char* working) {
    const int64_t columnRadius = std::min(task.radius, task.width - 1);
    const int64_t rowRadius = std::min(task.radius, task.height - 1);
    const int64_t rowBytes = task.width * task.channels;
    const int64_t stride = rowBytes + 2 * columnRadius * task.channels;
    const int64_t blockRows = 2 * rowRadius + 2;
    const int64_t firstInImage = rowRadius;
    const int64_t lastInImage = rowRadius + task.height - 1;
    unsigned char* const scratch = working;
    unsigned char* const beginning = scratch + stride;
    unsigned char* const block = beginning + stride;

    const int64_t rowCount = task.height + blockRows - 1;
    for (int64_t start = 0; start < rowCount; start += blockRows) {
        const int64_t length = std::min(blockRows, rowCount - start);
        for (int64_t i = 0; i < length; ++i) {
            const int64_t row = start + i;
            if (row >= firstInImage && row <= lastInImage) {
                unsigned char* const slot = block + i * stride;
                filterRow<Extremum>(task.source + (row - rowRadius) * task.pitch, task.width,
                                    task.channels, columnRadius, slot, scratch);
                if (i == 0 || row == firstInImage)
                    std::memcpy(beginning, slot, bytes(rowBytes));
                else
                    fold<Extremum>(slot, rowBytes, beginning);
            }
            const int64_t y = row - blockRows + 1; // the rectangle from row y to this one
            if (y < 0)
                continue;
            const int64_t endStart = start == blockRows ? std::max(i + 1, firstInImage) : i + 1;
            join<Extremum>(i + 1 < blockRows ? block + endStart * stride : nullptr,
                           start <= lastInImage ? beginning : nullptr, rowBytes,
                           task.destination + y * task.pitch);
        }
        makeEnds<Extremum>(block, stride, std::max<int64_t>(firstInImage - start, 0),
                           std::min(blockRows - 1, lastInImage - start), rowBytes);
    }
}

} // namespace

} // namespace kelvane
