// Bytes in vectors for the extremum filters.
#pragma once

#include "platform/prefetch.h"

namespace kelvane::KELVANE_TARGET {

namespace {

// Calls `apply` for `count` bytes. The last vector overlaps the one before it, which minima and
// copies allow. Only short loops gain by doing two vectors in a turn.
template <bool inPairs = false, typename Apply>
void forEachVector(int64_t count, Apply apply) {
    if (count < vectorBytes) {
        for (int64_t x = 0; x < count; ++x)
            apply.template operator()<uint8_t>(x);
        return;
    }
    int64_t x = 0;
    for (; inPairs && x <= count - 2 * vectorBytes; x += 2 * vectorBytes) {
        apply.template operator()<U8>(x);
        apply.template operator()<U8>(x + vectorBytes);
    }
    for (; x < count; x += vectorBytes)
        apply.template operator()<U8>(vectorStart(x, vectorBytes, count));
}

template <bool maximum, typename Lanes>
Lanes extremeOf(Lanes a, Lanes b) {
    return maximum ? larger(a, b) : smaller(a, b);
}

// The next place whose byte `offset` starts a cache line: stores across two lines take twice as
// long.
uint8_t* startingLine(uint8_t* place, int64_t offset) {
    const uintptr_t start = reinterpret_cast<uintptr_t>(place) + static_cast<uintptr_t>(offset);
    return place + (64 - start % 64) % 64;
}

int64_t roundUpToVector(int64_t size) { return (size + 31) & -32; }

} // namespace

} // namespace kelvane::KELVANE_TARGET
