// Eight taps gathered from a few 16-byte windows of a source row, for the files that have byte
// shuffles.
#pragma once

#include "image/row_operations.h"

#include <algorithm>

namespace kelvane {

namespace {

constexpr int64_t windowBytes = 16;
constexpr int64_t windowedTaps = 8; // in 1, 2 or 4 windows that serve as many of them each

// Finds the windows' starts and calls place(tap, window, first, second) with the byte indexes in
// the tap's window. False when the taps do not fit the windows, or these not the row.
template <typename Place>
bool fitWindows(const Tap* taps, int64_t windows, int64_t rowBytes, uint32_t* starts, Place place) {
    for (int64_t window = 0; window < windows; ++window) {
        const int64_t begin = window * windowedTaps / windows;
        const int64_t end = begin + windowedTaps / windows;
        // The last windows are moved left so that they end with the row.
        int64_t start = rowBytes - windowBytes;
        for (int64_t k = begin; k < end; ++k)
            start = std::min<int64_t>(start, taps[k].first());
        if (start < 0)
            return false;
        starts[window] = static_cast<uint32_t>(start);
        for (int64_t k = begin; k < end; ++k) {
            if (taps[k].second() - start >= windowBytes)
                return false;
            place(k, window, taps[k].first() - start, taps[k].second() - start);
        }
    }
    return true;
}

} // namespace

} // namespace kelvane
