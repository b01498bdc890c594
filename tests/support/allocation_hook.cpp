#include "support/allocation_hook.h"

int64_t allocationsUntilFailure = -1;
long lastAllocationSize = 0;

extern "C" {

void* __real_VantMemAlloc(void* handle, long size);

// The linker leads every call of VantMemAlloc here.
void* __wrap_VantMemAlloc(void* handle, long size) {
    lastAllocationSize = size;
    if (allocationsUntilFailure >= 0 && allocationsUntilFailure-- == 0)
        return nullptr;
    return __real_VantMemAlloc(handle, size);
}

} // extern "C"
