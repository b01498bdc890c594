// Asking for memory before it is read or written.
#pragma once

#include <cstdint>

namespace kelvane {

constexpr int64_t cacheLine = 64;
constexpr int64_t furtherOn = 1024; // in bytes that are read one after the other

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
static inline void prefetchBehind(const unsigned char* bytes, int64_t distance) {
    __builtin_prefetch(reinterpret_cast<const void*>(reinterpret_cast<intptr_t>(bytes) + distance));
}

// What is going to be written, into the first-level cache: stores wait for each other, so that a
// late one holds up all others.
static inline void prefetchDestination(const unsigned char* bytes) {
    constexpr int firstLevel = 3;
    __builtin_prefetch(bytes, 1, firstLevel);
}

// The beginning of a row that follows a gap; once it is read, the processor looks ahead itself.
static inline void prefetchRowStart(const unsigned char* row, int64_t count) {
    constexpr int64_t start = 8 * cacheLine;
    for (int64_t x = 0; x < count && x < start; x += cacheLine)
        __builtin_prefetch(row + x);
}

static inline void prefetchRow(const unsigned char* row, int64_t count) {
    for (int64_t x = 0; x < count; x += cacheLine)
        prefetchLine(row + x);
}

// Into the first level, what lies a little further on in rows that the second holds already. Behind
// the end of a row that is the next one's beginning, or nobody's: requests are no accesses.
static inline void prefetchFurtherOn(const unsigned char* bytes, int64_t count) {
    for (int64_t x = 0; x < count; x += cacheLine)
        prefetchBehind(bytes + x, furtherOn);
}

} // namespace kelvane
