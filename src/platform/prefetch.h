// Asking for memory before it is read or written. Processors do not look ahead across pages, nor
// across rows that are left out: large frames would wait for memory at the start of every row.
#pragma once

#include <cstdint>

namespace kelvane {

constexpr int64_t cacheLine = 64;

// How far ahead of its use memory is asked for.
constexpr int64_t rowsAhead = 4;
constexpr int64_t bytesFurtherOn = 1024; // in bytes that are read one after the other
constexpr int64_t bytesBelow = 16384;    // where rows follow each other

// A request is no access: where there is no memory, such as after the last row, it does nothing.
// All have internal linkage, so that no instruction set shares them with another.

static inline const void* placeAt(const unsigned char* bytes, int64_t distance) {
    return reinterpret_cast<const void*>(reinterpret_cast<uintptr_t>(bytes) +
                                         static_cast<uintptr_t>(distance));
}

// Into the second-level cache: requests for the first one wait for its few buffers, as reads do.
static inline void prefetchLine(const unsigned char* bytes, int64_t distance) {
    constexpr int secondLevel = 2;
    __builtin_prefetch(placeAt(bytes, distance), 0, secondLevel);
}

// The lines of `count` bytes. Those of a long row at once would fill all buffers and wait.
static inline void prefetchLines(const unsigned char* bytes, int64_t count, int64_t distance) {
    for (int64_t x = 0; x < count; x += cacheLine)
        prefetchLine(bytes + x, distance);
}

// Into the first-level cache, what is read soon.
static inline void prefetchSoon(const unsigned char* bytes, int64_t distance) {
    __builtin_prefetch(placeAt(bytes, distance));
}

// The beginning of a row that follows a gap; once it is read, the processor looks ahead itself.
static inline void prefetchRowStart(const unsigned char* row, int64_t count) {
    constexpr int64_t start = 8 * cacheLine;
    for (int64_t x = 0; x < count && x < start; x += cacheLine)
        prefetchSoon(row, x);
}

// What is going to be written, into the first-level cache: stores wait for each other, so that a
// late one holds up all others.
static inline void prefetchDestination(const unsigned char* bytes, int64_t distance) {
    constexpr int firstLevel = 3;
    __builtin_prefetch(placeAt(bytes, distance), 1, firstLevel);
}

} // namespace kelvane
