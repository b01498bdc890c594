// The two row operations of the box filter.
#pragma once

#include <cstdint>

namespace kelvane {

constexpr int reciprocalBits = 23; // of the fixed-point reciprocals of window areas

// How far the windows of a row reach, in pixels; both radii are below `width`.
struct BoxRow {
    int64_t width;
    int64_t channels;     // interleaved
    int64_t counterWidth; // for so many columns, at least `width`, every channel has counters
    int64_t left;
    int64_t right;

    int64_t shortestWindow() const { return (left < right ? left : right) + 1; }
};

struct RowChange {
    const unsigned char* added;
    const unsigned char* removed;
    const unsigned char* upcoming; // will be added a few rows later
    const unsigned char* saved;    // null, or to be copied to `slot`
    unsigned char* slot;           // where the row to be removed may lie
};

using DivideCut = void(const uint32_t* sums, const BoxRow& row, const uint32_t* reciprocals,
                       unsigned char* destination);

// `sums` holds one counter per byte of a row, in an order of its own: over the rows in the window,
// the sum of the row's prefix sums up to that pixel, modulo the counter's size. The window sum of a
// pixel is then the difference of two counters, which is exact where the window sum itself fits,
// because the counters wrap like it does.
struct BoxRowOperations {
    // Takes the row added into the counters and the row removed out.
    void (*replaceRow)(const RowChange& change, const BoxRow& row, uint32_t* sums);
    // The same where one of the two is null; nothing is saved.
    void (*addOrRemoveRow)(const RowChange& change, const BoxRow& row, uint32_t* sums);
    // Writes the means of the windows that are whole, and of those that the row's ends cut.
    // `reciprocals` holds floor(2^23 / window area) for every window width, from the smallest on;
    // `upcoming` is a row that will be written a few rows later.
    void (*divideWhole)(const uint32_t* sums, const BoxRow& row, const uint32_t* reciprocals,
                        unsigned char* destination, const unsigned char* upcoming);
    DivideCut* divideCut;
};

// `channels` is 1 or 3, `largestArea` the number of pixels in the largest window. Both give the
// same bytes.
BoxRowOperations boxRowOperations(int channels, int64_t largestArea);
// On x86-64 alone, where `usesAvx2` and `usesAvx512` say so.
BoxRowOperations boxRowOperationsAvx2(int channels, int64_t largestArea);
BoxRowOperations boxRowOperationsAvx512(int channels, int64_t largestArea);

// For counters of 2 or 4 bytes.
DivideCut* cutWindowDivision(int64_t counterSize);

} // namespace kelvane
