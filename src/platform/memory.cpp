// Memory from the process heap or an arena, and the platform's memory functions.
#include "kelvane/kelvane.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

// An arena's sizes are 32-bit: what does not fit is refused, as a truncated size would hand out a
// block that is smaller than the caller believes.
bool fitsArena(long size) { return size >= 0 && size <= static_cast<long>(UINT32_MAX) - 7; }

// What the address space cannot hold, negative sizes among it, is more than the heap ever has.
size_t unsignedSize(long size) {
    return static_cast<size_t>(std::min<uint64_t>(static_cast<uint64_t>(size), SIZE_MAX));
}

} // namespace

extern "C" {

void* VantMemAlloc(void* handle, long size) {
    if (handle == nullptr)
        return malloc(unsignedSize(size));
    return fitsArena(size) ? VantMemAllocStatic(handle, static_cast<uint32_t>(size)) : nullptr;
}

void VantMemFree(void* handle, void* pointer) {
    if (handle == nullptr)
        free(pointer);
    else
        VantMemFreeStatic(handle, pointer);
}

void* VantMemRealloc(void* handle, void* pointer, long size) {
    if (handle == nullptr)
        return realloc(pointer, unsignedSize(size));
    if (!fitsArena(size))
        return nullptr;
    return VantMemReallocStatic(handle, pointer, static_cast<uint32_t>(size));
}

void VantMemSet(void* destination, int value, long size) {
    if (size > 0)
        memset(destination, value, unsignedSize(size));
}

void VantMemCpy(void* destination, const void* source, long size) {
    if (size > 0)
        memcpy(destination, source, unsignedSize(size));
}

void VantMemMove(void* destination, const void* source, long size) {
    if (size > 0)
        memmove(destination, source, unsignedSize(size));
}

long VantMemCmp(const void* first, const void* second, long size) {
    return size > 0 ? memcmp(first, second, unsignedSize(size)) : 0;
}

} // extern "C"
