// Box filter with windows of any size: running column sums and a table of reciprocals.
#include "kelvane/kelvane.h"

#include "image/box_filter.h"
#include "image/smoothing.h"
#include "platform/allocation.h"
#include "platform/prefetch.h"
#include "simd/kernels.h"

#include <algorithm>
#include <memory>

namespace kelvane {

namespace {

// Both radii are below `length`. A window at one of the two ends is the shortest.
WindowSpan windowSpan(int64_t before, int64_t after, int64_t length) {
    return {.shortest = std::min(before, after) + 1,
            .longest = after < length - before ? before + after + 1 : length};
}

int64_t savedRowCount(const BoxFilter& filter) {
    const bool inPlace = filter.source == filter.destination;
    return inPlace ? std::min(filter.top + 1, filter.height - filter.top - 1) : 0;
}

void release(void* memHandle, const BoxMemory& memory) {
    VantMemFree(memHandle, memory.reciprocals);
    VantMemFree(memHandle, memory.columnSums);
    VantMemFree(memHandle, memory.savedRows);
}

constexpr int64_t counterSize = sizeof(uint32_t);

bool allocate(void* memHandle, const BoxFilter& filter, BoxMemory* memory) {
    memory->columnSums = static_cast<uint32_t*>(
        allocZeroedArray(memHandle, filter.width, filter.channels * counterSize));
    if (memory->columnSums == nullptr)
        return false;
    memory->savedCount = savedRowCount(filter);
    if (memory->savedCount > 0) {
        memory->savedRows = static_cast<unsigned char*>(
            allocArray(memHandle, memory->savedCount, std::abs(filter.pitch)));
        if (memory->savedRows == nullptr)
            return false;
    }
    int64_t rowSize = 0;
    if (!__builtin_mul_overflow(memory->widths.count(), counterSize, &rowSize))
        memory->reciprocals =
            static_cast<uint32_t*>(allocArray(memHandle, memory->heights.count(), rowSize));
    return memory->reciprocals != nullptr;
}

// floor(2^23 / area); dividing twice gives the same and needs no area that could overflow.
void fillReciprocals(const WindowSpan& heights, const WindowSpan& widths, uint32_t* entry) {
    for (int64_t height = heights.shortest; height <= heights.longest; ++height) {
        const int64_t columnReciprocal = (int64_t{1} << boxReciprocalBits) / height;
        for (int64_t width = widths.shortest; width <= widths.longest; ++width)
            *entry++ = static_cast<uint32_t>(columnReciprocal / width);
    }
}

// For the first windows `y` is the lower radius above the image.
BoxRowChange rowChange(const BoxFilter& filter, const BoxMemory& memory, int64_t y) {
    const int64_t entering = y + filter.bottom, leaving = y - filter.top - 1;
    const auto savedRow = [&](int64_t row) {
        return memory.savedRows + row % memory.savedCount * filter.rowBytes();
    };
    BoxRowChange change = {};
    if (entering < filter.height)
        change.added = filter.sourceRow(entering);
    if (leaving >= 0)
        change.removed = memory.savedCount > 0 ? savedRow(leaving) : filter.sourceRow(leaving);
    // The row that leaves makes room in the ring for this one.
    if (memory.savedCount > 0 && y >= 0 && y < filter.height - filter.top - 1) {
        change.saved = filter.sourceRow(y);
        change.slot = savedRow(y);
    }
    return change;
}

// Counters modulo 2^16 do where the sums of windows fit 16 bits.
constexpr int64_t largestShortArea = UINT16_MAX / UINT8_MAX;

void filterRows(const BoxFilter& filter, const BoxMemory& memory) {
    const Kernels& kernels = kernelsFor(filter.width);
    const int64_t largestArea = memory.heights.longest * memory.widths.longest;
    const BoxRow row = {.width = filter.width,
                        .channels = filter.channels,
                        .left = filter.left,
                        .right = filter.right,
                        .shortest = memory.widths.shortest,
                        .counterBytes = largestArea <= largestShortArea ? 2 : 4};
    void* sums = memory.columnSums;
    size_t room = static_cast<size_t>(4 * filter.rowBytes());
    if (row.counterBytes == 2) // which leaves room: vectors across two cache lines take longer
        std::align(cacheLine, static_cast<size_t>(2 * filter.rowBytes()), sums, room);
    for (int64_t y = -filter.bottom; y < filter.height; ++y) {
        const BoxRowChange change = rowChange(filter, memory, y);
        if (change.added != nullptr || change.removed != nullptr)
            kernels.moveBoxRows(sums, row, change);
        else if (change.saved != nullptr)
            VantMemCpy(change.slot, change.saved, filter.rowBytes());
        if (y < 0)
            continue;
        kernels.divideBoxRow(sums, row, memory.reciprocalsAt(filter, y), filter.destinationRow(y));
    }
}

long run(void* memHandle, const BoxFilter& filter) {
    BoxMemory memory = {};
    memory.widths = windowSpan(filter.left, filter.right, filter.width);
    memory.heights = windowSpan(filter.top, filter.bottom, filter.height);
    const bool allocated = allocate(memHandle, filter, &memory);
    if (allocated) {
        fillReciprocals(memory.heights, memory.widths, memory.reciprocals);
        if (hasSmallWindows(filter, memory))
            filterSmallWindows(filter, memory);
        else
            filterRows(filter, memory);
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
