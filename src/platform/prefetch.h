// Asking for memory before it is read or written. Processors do not look ahead across pages, nor
// across rows that are left out: large frames would wait for memory at the start of every row.
#pragma once

#include <cstdint>

namespace kelvane {

constexpr int64_t cacheLine = 64;

// How far the rows that are asked for lie ahead of those that are read.
constexpr int64_t rowsAhead = 4;

// Nothing happens where the memory is nobody's, such as beyond the last row: requests are no
// accesses. All with internal linkage, so that no instruction set shares them with another.

static inline const void* placeAt(const unsigned char* bytes, int64_t distance) { return bytes + distance; }

// Into the second-level cache, as requests for the first wait for its few buffers like the reads
// themselves.
static inline void prefetchLine(const unsigned char* bytes, int64_t distance = 0) {
    constexpr int secondLevel = 2;
    __builtin_prefetch(placeAt(bytes, distance), 0, secondLevel);
}

// Into the first-level cache, what is read soon.
static inline void prefetchSoon(const unsigned char* bytes, int64_t distance) {
    __builtin_prefetch(placeAt(bytes, distance));
}

// What is going to be written, into the first-level cache: stores wait for each other, so that a
// late one holds up all others.
static inline void prefetchDestination(const unsigned char* bytes, int64_t distance = 0) {
    constexpr int firstLevel = 3;
    __builtin_prefetch(placeAt(bytes, distance), 1, firstLevel);
}

static inline void prefetchRow(const unsigned char* row, int64_t count) {
    for (int64_t x = 0; x < count; x += cacheLine)
        prefetchLine(row + x);
}

// Transitional.
static inline void prefetchBehind(const unsigned char* bytes, uintptr_t distance) {
    prefetchSoon(bytes, static_cast<int64_t>(distance));
}
static inline void prefetchFurtherOn(const unsigned char* bytes, int64_t count) {
    for (int64_t x = 0; x < count; x += cacheLine)
        prefetchSoon(bytes + x, 1024);
}

} // namespace kelvane
