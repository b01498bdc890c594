// Array allocation for the whole library: sizes that cannot be represented are refused.
#pragma once

#include <cstdint>

namespace kelvane {

// Allocates count * elementSize bytes from `memHandle`. Null for a negative count, for a product
// beyond 64 bits, and for whatever the handle cannot hold; the request is never truncated.
void* allocArray(void* memHandle, int64_t count, int64_t elementSize);

// The same, zero-filled.
void* allocZeroedArray(void* memHandle, int64_t count, int64_t elementSize);

} // namespace kelvane
