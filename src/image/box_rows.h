// The two row operations of the box filter.
#pragma once

#include <cstdint>

namespace kelvane {

constexpr int reciprocalBits = 23; // of the fixed-point reciprocals of window areas

// How far the windows of a row reach, in pixels; both radii are below `width`.
struct BoxRow {
    int64_t width;
    int64_t left;
    int64_t right;
};

// `sums` holds one counter per byte of a row: over the rows in the window, the sum of the row's
// prefix sums up to that pixel, modulo 2^32. The window sum of a pixel is then the difference of
// two counters, which is exact because the counters wrap like the sum itself.
struct BoxRowOperations {
    // Takes the row `added` into the counters and the row `removed` out; one of them may be null.
    void (*accumulate)(const unsigned char* added, const unsigned char* removed, int64_t width,
                       void* sums);
    // Writes one row of means. `reciprocals` holds floor(2^23 / window area) for every clipped
    // window width, from the smallest on.
    void (*divide)(const void* sums, const BoxRow& row, const uint32_t* reciprocals,
                   unsigned char* destination);
};

// For three channels. Both give the same bytes and the same counters.
BoxRowOperations boxRowOperations();
BoxRowOperations boxRowOperationsAvx2(); // x86-64 alone, where `usesAvx2` says so

} // namespace kelvane
