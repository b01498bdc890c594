// Asking for memory before it is read.
#pragma once

#include <cstdint>

namespace kelvane {

// Processors do not look ahead across pages, nor across rows that are left out: large frames would
// wait for memory at the start of every row. Into the second-level cache, as requests for the first
// wait for its few buffers like the reads themselves. With internal linkage, so that no instruction
// set shares it with another.
static inline void prefetchRow(const unsigned char* row, int64_t count) {
    constexpr int64_t cacheLine = 64;
    constexpr int secondLevel = 2;
    for (int64_t x = 0; x < count; x += cacheLine)
        __builtin_prefetch(row + x, 0, secondLevel);
}

} // namespace kelvane
