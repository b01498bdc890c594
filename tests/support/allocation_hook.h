// The library's allocations pass through here, so that tests see them and make one fail.
#pragma once

#include <cstdint>

extern int64_t allocationsUntilFailure; // negative: none fails
extern long lastAllocationSize;
