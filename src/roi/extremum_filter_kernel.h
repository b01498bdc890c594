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

// Down the columns the rows fall into blocks of the rectangle's height, so that every rectangle is
// the end of one block and the beginning of the next: the extremum of a block's rows from one row
// on, and of the next block's rows up to another (van Herk; Gil and Werman). Ends are made in
// place once a block is complete, and each gives its place to a row of the next block when it has
// been used.
template <typename Extremum>
void filterImage(const ExtremumTask& task, unsigned char* working) {
    const int64_t columnRadius = std::min(task.radius, task.width - 1);
    const int64_t rowRadius = std::min(task.radius, task.height - 1);
    const int64_t rowBytes = task.width * task.channels;
    const int64_t stride = rowBytes + 2 * columnRadius * task.channels;
    const int64_t blockRows = 2 * rowRadius + 2;
    unsigned char* const scratch = working;
    unsigned char* const beginning = scratch + stride;
    unsigned char* const block = beginning + stride;

    // Positions count the rows from `rowRadius` above the image, where the first rectangle starts.
    const int64_t firstPosition = rowRadius;
    const int64_t lastPosition = rowRadius + task.height - 1;
    for (int64_t start = 0; start < task.height + blockRows - 1; start += blockRows) {
        for (int64_t i = 0; i < blockRows; ++i) {
            const int64_t position = start + i;
            unsigned char* const slot = block + i * stride;
            const int64_t y = position - blockRows + 1; // the rectangle that ends here
            if (y >= task.height)
                return;
            const bool isInImage = position >= firstPosition && position <= lastPosition;
            if (isInImage) {
                filterRow<Extremum>(task.source + (position - rowRadius) * task.pitch, task.width,
                                    task.channels, columnRadius, slot, scratch);
                if (i == 0 || position == firstPosition)
                    std::memcpy(beginning, slot, bytes(rowBytes));
                else
                    fold<Extremum>(slot, rowBytes, beginning);
            }
            if (y < 0)
                continue;
            unsigned char* const out = task.destination + y * task.pitch;
            const unsigned char* const end =
                block + std::max(i + 1, y < blockRows ? firstPosition : 0) * stride;
            if (i + 1 == blockRows)
                std::memcpy(out, beginning, bytes(rowBytes));
            else if (start > lastPosition)
                std::memcpy(out, end, bytes(rowBytes));
            else
                combine<Extremum>(end, beginning, rowBytes, out);
        }
        const int64_t first = std::max<int64_t>(firstPosition - start, 0);
        const int64_t last = std::min(blockRows - 1, lastPosition - start);
        for (int64_t i = last - 1; i >= first; --i)
            fold<Extremum>(block + (i + 1) * stride, rowBytes, block + i * stride);
    }
}

} // namespace

} // namespace kelvane
