#include "support/allocation_hook.h"

#include "kelvane/kelvane.h"

int64_t allocationsUntilFailure = -1;
int64_t allocationCount = 0;
long lastAllocationSize = 0;
long lastShortage = 0;
int64_t mallocsUntilFailure = -1;
int64_t heapBlocks = 0;

namespace {

bool isTheOneToFail(int64_t& untilFailure) { return untilFailure >= 0 && untilFailure-- == 0; }

} // namespace

// The linker leads every call of these functions here.
extern "C" {

void* __real_VantMemAlloc(void* handle, long size);
void* __wrap_VantMemAlloc(void* handle, long size) {
    lastAllocationSize = size;
    ++allocationCount;
    if (isTheOneToFail(allocationsUntilFailure))
        return nullptr;
    void* const block = __real_VantMemAlloc(handle, size);
    if (block == nullptr && handle != nullptr && size > 0)
        lastShortage = size - GetMaxAllocMemSize(handle);
    return block;
}

void* __real_malloc(size_t size);
void* __wrap_malloc(size_t size) {
    void* const block = isTheOneToFail(mallocsUntilFailure) ? nullptr : __real_malloc(size);
    heapBlocks += block != nullptr;
    return block;
}

void* __real_realloc(void* block, size_t size);
void* __wrap_realloc(void* block, size_t size) {
    void* const moved = isTheOneToFail(mallocsUntilFailure) ? nullptr : __real_realloc(block, size);
    heapBlocks += block == nullptr && moved != nullptr;
    return moved;
}

void __real_free(void* block);
void __wrap_free(void* block) {
    heapBlocks -= block != nullptr;
    __real_free(block);
}

} // extern "C"
