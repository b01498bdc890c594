// The arena: a list of blocks inside a buffer of the caller, allocated first-fit.
#include "kelvane/kelvane.h"

namespace {

struct BlockHeader {
    int64_t size; // payload bytes, a multiple of 8; terminatorSize ends the list
    int64_t inUse;

    unsigned char* payload() { return reinterpret_cast<unsigned char*>(this + 1); }
    BlockHeader* next() { return reinterpret_cast<BlockHeader*>(payload() + size); }
    bool isTerminator() const { return size == -1; }
    bool isFree() const { return !isTerminator() && inUse == 0; }
};

constexpr int64_t alignment = 8;
constexpr int64_t headerSize = sizeof(BlockHeader);
constexpr int64_t smallestSplitPayload = 32;
constexpr uint32_t largestRequest = UINT32_MAX - 7; // 2^32 - 8: a larger one would wrap in rounding

static_assert(headerSize == 16);

// The requested size as a payload size, or 0 when there is none.
int64_t payloadSize(uint32_t size) { return size <= largestRequest ? (size + 7u) & ~7u : 0; }

BlockHeader* firstBlock(void* handle) { return static_cast<BlockHeader*>(handle); }

// Cuts `block` down to `size`, making a free block of what follows.
BlockHeader* split(BlockHeader* block, int64_t size) {
    const int64_t remainder = block->size - size - headerSize;
    block->size = size;
    BlockHeader* const rest = block->next();
    rest->size = remainder;
    rest->inUse = 0;
    return rest;
}

void splitWhenWorthwhile(BlockHeader* block, int64_t size) {
    if (block->size - size - headerSize >= smallestSplitPayload)
        split(block, size);
}

void absorbNext(BlockHeader* block) { block->size += headerSize + block->next()->size; }

void absorbNextIfFree(BlockHeader* block) {
    if (block->next()->isFree())
        absorbNext(block);
}

struct FoundBlock {
    BlockHeader* block; // null when no block in use has this payload
    BlockHeader* previous;
};

// The walk ends at the terminator, so a pointer from elsewhere, or one already released, is found
// nowhere instead of leading the walk out of the buffer.
FoundBlock findBlockInUse(void* handle, const void* payload) {
    BlockHeader* previous = nullptr;
    for (BlockHeader* block = firstBlock(handle); !block->isTerminator(); block = block->next()) {
        if (block->payload() == payload)
            return {block->inUse != 0 ? block : nullptr, previous};
        previous = block;
    }
    return {nullptr, nullptr};
}

} // namespace

extern "C" {

void* VantMemMgrCreate(void* buffer, long bufferSize) {
    if (buffer == nullptr || bufferSize <= 0)
        return nullptr;
    const uintptr_t address = reinterpret_cast<uintptr_t>(buffer);
    const int64_t padding = static_cast<int64_t>(-address % alignment);
    const int64_t usable = (bufferSize - padding) / alignment * alignment;
    if (usable <= 2 * headerSize)
        return nullptr;
    BlockHeader* const block = firstBlock(static_cast<unsigned char*>(buffer) + padding);
    block->size = usable - 2 * headerSize;
    block->inUse = 0;
    BlockHeader* const terminator = block->next();
    terminator->size = -1;
    terminator->inUse = 0;
    return block;
}

void* VantMemMgrDestroy(void* handle) { return handle; }

void* VantMemAllocStatic(void* handle, uint32_t size) {
    const int64_t request = payloadSize(size);
    if (handle == nullptr || request == 0)
        return nullptr;
    BlockHeader* block = firstBlock(handle);
    while (!block->isTerminator() && (block->inUse != 0 || block->size < request))
        block = block->next();
    if (block->isTerminator())
        return nullptr;
    splitWhenWorthwhile(block, request);
    block->inUse = 1;
    return block->payload();
}

void VantMemFreeStatic(void* handle, void* pointer) {
    if (handle == nullptr || pointer == nullptr)
        return;
    const FoundBlock found = findBlockInUse(handle, pointer);
    if (found.block == nullptr)
        return;
    found.block->inUse = 0;
    absorbNextIfFree(found.block);
    if (found.previous != nullptr && found.previous->isFree())
        absorbNext(found.previous);
}

void* VantMemReallocStatic(void* handle, void* pointer, uint32_t size) {
    const int64_t request = payloadSize(size);
    if (handle == nullptr || request == 0)
        return nullptr;
    if (pointer == nullptr)
        return VantMemAllocStatic(handle, size);
    BlockHeader* const block = findBlockInUse(handle, pointer).block;
    if (block == nullptr)
        return nullptr;

    if (block->size >= request) {
        // Shrinking leaves a remainder of exactly 32 in place, unlike allocation.
        if (block->size - request - headerSize > smallestSplitPayload)
            absorbNextIfFree(split(block, request));
        return pointer;
    }
    // The header that growing in place would swallow is not counted when deciding whether it fits.
    if (block->next()->isFree() && request <= block->size + block->next()->size) {
        absorbNext(block);
        splitWhenWorthwhile(block, request);
        return pointer;
    }
    void* const moved = VantMemAllocStatic(handle, static_cast<uint32_t>(request));
    if (moved == nullptr)
        return nullptr;
    VantMemCpy(moved, pointer, block->size);
    VantMemFreeStatic(handle, pointer);
    return moved;
}

long GetMaxAllocMemSize(void* handle) {
    if (handle == nullptr)
        return 2;
    int64_t largest = 0;
    for (BlockHeader* block = firstBlock(handle); !block->isTerminator(); block = block->next()) {
        if (block->inUse == 0 && block->size > largest)
            largest = block->size;
    }
    return largest;
}

} // extern "C"
