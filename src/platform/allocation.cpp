#include "platform/allocation.h"

#include "kelvane/kelvane.h"

namespace kelvane {

void* allocArray(void* memHandle, int64_t count, int64_t elementSize) {
    int64_t size = 0;
    if (count < 0 || __builtin_mul_overflow(count, elementSize, &size))
        return nullptr;
    return VantMemAlloc(memHandle, size);
}

void* allocZeroedArray(void* memHandle, int64_t count, int64_t elementSize) {
    void* const array = allocArray(memHandle, count, elementSize);
    if (array != nullptr)
        VantMemSet(array, 0, count * elementSize);
    return array;
}

} // namespace kelvane
