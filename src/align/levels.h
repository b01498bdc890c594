// Which resolutions of a frame take part in an alignment, and how a bitmap set stores them.
#pragma once

#include <algorithm>
#include <cstdint>

namespace kelvane {

// The bitmap set holds this many levels beside the coarsest; finer ones exist only as patches.
constexpr int64_t storedLevelsBelowCoarsest = 3;

// How often `side` must be halved to become `limit` or less.
constexpr int64_t halvingsTo(int64_t side, int64_t limit) {
    int64_t count = 0;
    for (; side > limit; side >>= 1)
        ++count;
    return count;
}

// The coarsest level of a frame: level j is the frame sampled every 2^j pixels.
constexpr int64_t coarsestLevel(int64_t width, int64_t height) {
    return halvingsTo(std::max(width, height), 64);
}

// Whether a frame can have these sizes and be cut into these levels.
constexpr bool areLevelsPossible(int64_t width, int64_t height, int64_t levels, int64_t k) {
    return width >= 1 && height >= 1 && width <= INT32_MAX && height <= INT32_MAX && k >= 0 &&
           levels >= 0 && levels <= coarsestLevel(width, height);
}

// Bytes per row of a threshold bitmap: whole 32-bit words, and one more so that a reader may load
// two words at a time.
constexpr int64_t bitmapRowBytes(int64_t width) { return ((width + 31) >> 5) * 4 + 4; }

constexpr int64_t greyRowBytes(int64_t width) { return (width + 3) & -4; }

// One level of a bitmap set. The two coarsest levels are grey maps, the others threshold bitmaps.
struct StoredLevel {
    int64_t width;
    int64_t height;
    int64_t coarserLevels; // how many levels follow

    constexpr bool isGrey() const { return coarserLevels <= 1; }
    constexpr int64_t rowBytes() const {
        return isGrey() ? greyRowBytes(width) : bitmapRowBytes(width);
    }
    constexpr int64_t size() const { return rowBytes() * height; }
    constexpr StoredLevel coarser() const {
        return {(width + 1) / 2, (height + 1) / 2, coarserLevels - 1};
    }
};

constexpr int64_t finestStoredIndex(int64_t levels, int64_t k) {
    return levels > k ? levels - k : 0;
}

// The finest stored level is cut from the frame, hence rounds down; coarser ones round up.
constexpr StoredLevel finestStoredLevel(int64_t width, int64_t height, int64_t levels, int64_t k) {
    const int64_t index = finestStoredIndex(levels, k);
    return {width >> index, height >> index, levels - index};
}

} // namespace kelvane
