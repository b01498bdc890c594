// The library's allocations pass through here, so that tests see them and make one fail.
#pragma once

#include <cstdint>

// Of VantMemAlloc, whatever the handle.
extern int64_t allocationsUntilFailure; // negative: none fails
extern int64_t allocationCount;
extern long lastAllocationSize;
extern long lastShortage; // bytes that the last arena without room lacked

// Of the process heap, as far as this program's own code and the library use it.
extern int64_t mallocsUntilFailure; // negative: none fails
extern int64_t heapBlocks;          // now in use
