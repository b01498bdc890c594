// Bytes in vectors for the extremum filters, compiled for every instruction set. Everything has
// internal linkage, so that no code of one instruction set is ever shared with another.
#pragma once

#include "platform/vectors.h"

#include <algorithm>

namespace kelvane {

namespace {

// The compiler's own vectorisation adds checks for overlap and tails to every loop, which takes
// most of the code and of the time of short rows.
using Vector [[gnu::vector_size(vectorBytes)]] = unsigned char;

// Calls `apply` for `count` bytes. The last vector overlaps the one before it, which minima and
// copies allow. The wider kernels are given no narrow rows. Only short loops gain by doing two
// vectors in a turn.
template <bool inPairs = false, typename Apply>
void forEachVector(int64_t count, Apply apply) {
    if (vectorBytes == 16 && count < vectorBytes) {
        for (int64_t x = 0; x < count; ++x)
            apply.template operator()<unsigned char>(x);
        return;
    }
    int64_t x = 0;
    for (; inPairs && x <= count - 2 * vectorBytes; x += 2 * vectorBytes) {
        apply.template operator()<Vector>(x);
        apply.template operator()<Vector>(x + vectorBytes);
    }
    for (; x < count; x += vectorBytes)
        apply.template operator()<Vector>(std::min(x, count - vectorBytes));
}

template <typename Lanes>
Lanes least(Lanes a, Lanes b) {
    return a < b ? a : b;
}

template <bool maximum, typename Lanes>
Lanes extremeOf(Lanes a, Lanes b) {
    return maximum ? (a > b ? a : b) : least<Lanes>(a, b);
}

// The next place whose byte `offset` starts a cache line: stores across two lines take twice as
// long.
unsigned char* startingLine(unsigned char* place, int64_t offset) {
    const uintptr_t start = reinterpret_cast<uintptr_t>(place) + static_cast<uintptr_t>(offset);
    return place + (64 - start % 64) % 64;
}

int64_t roundUpToVector(int64_t size) { return (size + 31) & -32; }

} // namespace

} // namespace kelvane
