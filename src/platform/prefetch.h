// Asking for memory before it is read or written.
#pragma once

#include <cstdint>

namespace kelvane {

constexpr int64_t cacheLine = 64;

// Processors do not look ahead across pages, nor across rows that are left out: large frames would
// wait for memory at the start of every row. Into the second-level cache, as requests for the first
// wait for its few buffers like the reads themselves. With internal linkage, so that no instruction
// set shares it with another.
static inline void prefetchLine(const unsigned char* bytes) {
    constexpr int secondLevel = 2;
    __builtin_prefetch(bytes, 0, secondLevel);
}

// What lies `distance` behind bytes that are read one after the other, be it part of the image or
// not, into the first-level cache.
static inline void prefetchBehind(const unsigned char* bytes, uintptr_t distance) {
    __builtin_prefetch(
        reinterpret_cast<const void*>(reinterpret_cast<uintptr_t>(bytes) + distance));
}

// What is going to be written, into the first-level cache: stores wait for each other, so that a
// late one holds up all others.
static inline void prefetchDestination(const unsigned char* bytes) {
    constexpr int firstLevel = 3;
    __builtin_prefetch(bytes, 1, firstLevel);
}

static inline void prefetchRow(const unsigned char* row, int64_t count) {
    for (int64_t x = 0; x < count; x += cacheLine)
        prefetchLine(row + x);
}

// Into the second level, what lies further down where rows follow each other, for `count` bytes
// from `offset` on that are processed now. Whole rows at once would fill all buffers and wait.
static inline void prefetchBelow(const unsigned char* row, int64_t offset, int64_t count) {
    constexpr uintptr_t distance = 16384;
    constexpr int secondLevel = 2;
    const uintptr_t start = reinterpret_cast<uintptr_t>(row) + static_cast<uintptr_t>(offset);
    for (uintptr_t i = 0; i < static_cast<uintptr_t>(count); i += cacheLine)
        __builtin_prefetch(reinterpret_cast<const void*>(start + distance + i), 0, secondLevel);
}

} // namespace kelvane
