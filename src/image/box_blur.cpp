// Box filter with windows of any size: running column sums and a table of reciprocals.
#include "kelvane/kelvane.h"

#include "image/box_rows.h"
#include "image/smoothing.h"
#include "platform/allocation.h"
#include "platform/prefetch.h"
#include "platform/vector_support.h"

#include <algorithm>

namespace kelvane {

namespace {

// The lengths along one axis of the windows, which end at the image border.
struct WindowSpan {
    int64_t shortest;
    int64_t longest;

    int64_t count() const { return longest - shortest + 1; }
};

// Both radii are below `length`. A window at one of the two ends is the shortest.
WindowSpan windowSpan(int64_t before, int64_t after, int64_t length) {
    return {.shortest = std::min(before, after) + 1,
            .longest = after < length - before ? before + after + 1 : length};
}

struct BoxFilter {
    const unsigned char* source;
    unsigned char* destination;
    int64_t width;
    int64_t height;
    int64_t pitch;
    int channels;
    int64_t left; // radii, each below the image's size: what lies beyond changes no window
    int64_t top;
    int64_t right;
    int64_t bottom;
};

struct WorkingMemory {
    void* counters;
    uint32_t* columnSums; // in `counters`
    int64_t counterWidth;
    unsigned char* savedRows; // a ring of source rows that filtering in place overwrites
    int64_t savedCount;
    uint32_t* reciprocals; // one row per window height, one entry per window width
};

int64_t savedRowCount(const BoxFilter& filter) {
    const bool inPlace = filter.source == filter.destination;
    return inPlace ? std::min(filter.top + 1, filter.height - filter.top - 1) : 0;
}

void release(void* memHandle, const WorkingMemory& memory) {
    VantMemFree(memHandle, memory.reciprocals);
    VantMemFree(memHandle, memory.counters);
    VantMemFree(memHandle, memory.savedRows);
}

constexpr int64_t counterSize = sizeof(uint32_t);

// Counters from the heap get room to start with a cache line, each plane of them, as vectors across
// two lines take longer; an arena may have no room to spare.
bool allocateCounters(void* memHandle, const BoxFilter& filter, WorkingMemory* memory) {
    const bool aligned = memHandle == nullptr && filter.width <= INT64_MAX - 2 * cacheLine;
    const int64_t width =
        aligned ? (filter.width + cacheLine - 1) / cacheLine * cacheLine : filter.width;
    const int64_t spare = aligned ? cacheLine / counterSize : 0;
    memory->counters = allocZeroedArray(memHandle, width + spare, filter.channels * counterSize);
    auto address = reinterpret_cast<uintptr_t>(memory->counters);
    if (aligned)
        address = (address + cacheLine - 1) / cacheLine * cacheLine;
    memory->columnSums = reinterpret_cast<uint32_t*>(address);
    memory->counterWidth = width;
    return memory->counters != nullptr;
}

bool allocate(void* memHandle, const BoxFilter& filter, int64_t reciprocalRows,
              int64_t reciprocalColumns, WorkingMemory* memory) {
    if (!allocateCounters(memHandle, filter, memory))
        return false;
    memory->savedCount = savedRowCount(filter);
    if (memory->savedCount > 0) {
        memory->savedRows = static_cast<unsigned char*>(
            allocArray(memHandle, memory->savedCount, std::abs(filter.pitch)));
        if (memory->savedRows == nullptr)
            return false;
    }
    int64_t rowSize = 0;
    if (!__builtin_mul_overflow(reciprocalColumns, counterSize, &rowSize))
        memory->reciprocals =
            static_cast<uint32_t*>(allocArray(memHandle, reciprocalRows, rowSize));
    return memory->reciprocals != nullptr;
}

// floor(2^23 / area); dividing twice gives the same and needs no area that could overflow.
void fillReciprocals(const WindowSpan& heights, const WindowSpan& widths, uint32_t* entry) {
    for (int64_t height = heights.shortest; height <= heights.longest; ++height) {
        const int64_t columnReciprocal = (int64_t{1} << reciprocalBits) / height;
        for (int64_t width = widths.shortest; width <= widths.longest; ++width)
            *entry++ = static_cast<uint32_t>(columnReciprocal / width);
    }
}

BoxRowOperations fastestRowOperations(const BoxFilter& filter, int64_t largestArea) {
#if defined(__x86_64__)
    // Only whole vectors of whole windows are divided at once.
    if (usesAvx512(filter.width - filter.left - filter.right))
        return boxRowOperationsAvx512(filter.channels, largestArea);
    if (usesAvx2(filter.width))
        return boxRowOperationsAvx2(filter.channels, largestArea);
#endif
    return boxRowOperations(filter.channels, largestArea);
}

constexpr int64_t prefetchedRows = 4; // ahead

// What distinguishes the windows around row `y` from those around the row before it. For the first
// of them `y` is the lower radius above the image.
RowChange rowChange(const BoxFilter& filter, const WorkingMemory& memory, int64_t y) {
    const int64_t entering = y + filter.bottom;
    const int64_t leaving = y - filter.top - 1;
    const auto sourceRow = [&](int64_t row) { return filter.source + row * filter.pitch; };
    const auto savedRow = [&](int64_t row) {
        return memory.savedRows + row % memory.savedCount * std::abs(filter.pitch);
    };

    RowChange change = {};
    change.upcoming = sourceRow(std::min(entering + prefetchedRows, filter.height - 1));
    if (entering < filter.height)
        change.added = sourceRow(entering);
    if (leaving >= 0)
        change.removed = memory.savedCount > 0 ? savedRow(leaving) : sourceRow(leaving);
    // The row that leaves makes room in the ring for this one.
    if (memory.savedCount > 0 && y >= 0 && y < filter.height - filter.top - 1) {
        change.saved = sourceRow(y);
        change.slot = savedRow(y);
    }
    return change;
}

void changeCounters(const BoxRowOperations& operations, const RowChange& change, const BoxRow& row,
                    int64_t rowBytes, uint32_t* columnSums) {
    if (change.added != nullptr && change.removed != nullptr) {
        operations.replaceRow(change, row, columnSums);
        return;
    }
    if (change.added != nullptr || change.removed != nullptr)
        operations.addOrRemoveRow(change, row, columnSums);
    if (change.saved != nullptr)
        VantMemCpy(change.slot, change.saved, rowBytes);
}

void filterRows(const BoxFilter& filter, const WindowSpan& heights, const WindowSpan& widths,
                const WorkingMemory& memory) {
    const BoxRowOperations operations =
        fastestRowOperations(filter, heights.longest * widths.longest);
    const BoxRow row = {.width = filter.width,
                        .channels = filter.channels,
                        .counterWidth = memory.counterWidth,
                        .left = filter.left,
                        .right = filter.right};
    const auto destinationRow = [&](int64_t y) { return filter.destination + y * filter.pitch; };

    for (int64_t y = -filter.bottom; y < filter.height; ++y) {
        changeCounters(operations, rowChange(filter, memory, y), row,
                       filter.width * filter.channels, memory.columnSums);
        if (y < 0)
            continue;
        const int64_t windowHeight = std::min(y + filter.bottom, filter.height - 1) -
                                     std::max(y - filter.top, int64_t{0}) + 1;
        const uint32_t* const reciprocals =
            memory.reciprocals + (windowHeight - heights.shortest) * widths.count();
        if (filter.left + filter.right < filter.width)
            operations.divideWhole(memory.columnSums, row, reciprocals, destinationRow(y),
                                   destinationRow(std::min(y + prefetchedRows, filter.height - 1)));
        operations.divideCut(memory.columnSums, row, reciprocals, destinationRow(y));
    }
}

long run(void* memHandle, const BoxFilter& filter) {
    const WindowSpan widths = windowSpan(filter.left, filter.right, filter.width);
    const WindowSpan heights = windowSpan(filter.top, filter.bottom, filter.height);
    WorkingMemory memory = {};
    const bool allocated = allocate(memHandle, filter, heights.count(), widths.count(), &memory);
    if (allocated) {
        fillReciprocals(heights, widths, memory.reciprocals);
        filterRows(filter, heights, widths, memory);
    }
    release(memHandle, memory);
    return allocated ? ERR_NONE : ERR_NO_MEMORY;
}

} // namespace

} // namespace kelvane

extern "C" long GB_BoxBlurA(void* memHandle, const unsigned char* source, long width, long height,
                            long pitch, long format, unsigned char* destination, long left,
                            long top, long right, long bottom) {
    using namespace kelvane;
    if (source == nullptr || destination == nullptr || left < 0 || top < 0 || right < 0 ||
        bottom < 0 || (left == 0 && right == 0) || (top == 0 && bottom == 0) ||
        !isSmoothablePlane(width, height, pitch, format))
        return ERR_INVALID_PARAM;
    // A radius that reaches beyond the image adds nothing to any window; shortened, no index made
    // of it can overflow.
    return run(memHandle, {.source = source,
                           .destination = destination,
                           .width = width,
                           .height = height,
                           .pitch = pitch,
                           .channels = smoothingChannels(format),
                           .left = std::min(left, width - 1),
                           .top = std::min(top, height - 1),
                           .right = std::min(right, width - 1),
                           .bottom = std::min(bottom, height - 1)});
}
