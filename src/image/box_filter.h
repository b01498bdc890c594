// What the two ways of the box filter work with: running sums for windows of any size, and plain
// sums for small ones.
#pragma once

#include <cstdint>

namespace kelvane {

struct BoxFilter {
    const unsigned char* source;
    unsigned char* destination;
    int64_t width;
    int64_t height;
    int64_t pitch;
    int64_t channels;
    int64_t left; // radii, each below the image's size: what lies beyond changes no window
    int64_t top;
    int64_t right;
    int64_t bottom;

    int64_t rowBytes() const { return width * channels; }
    const unsigned char* sourceRow(int64_t y) const { return source + y * pitch; }
    unsigned char* destinationRow(int64_t y) const { return destination + y * pitch; }
};

// The lengths along one axis of the windows, which end at the image border.
struct WindowSpan {
    int64_t shortest;
    int64_t longest;

    int64_t count() const { return longest - shortest + 1; }
};

struct BoxMemory {
    uint32_t* columnSums;     // one counter for each byte of a row
    unsigned char* savedRows; // a ring of source rows that filtering in place overwrites
    int64_t savedCount;
    uint32_t* reciprocals; // one row per window height, one entry per window width
    WindowSpan heights;
    WindowSpan widths;

    // For the window around a row, from the shortest width on.
    const uint32_t* reciprocalsAt(const BoxFilter& filter, int64_t y) const {
        const int64_t end =
            y + filter.bottom < filter.height ? y + filter.bottom + 1 : filter.height;
        const int64_t start = y > filter.top ? y - filter.top : 0;
        return reciprocals + (end - start - heights.shortest) * widths.count();
    }
};

// Whether the windows have 3 or 5 columns and at most 5 rows, none of them a single row, and enough
// rows are saved.
bool hasSmallWindows(const BoxFilter& filter, const BoxMemory& memory);
void filterSmallWindows(const BoxFilter& filter, const BoxMemory& memory);

} // namespace kelvane
