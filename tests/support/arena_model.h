// The arena as its rules read, and random operations on both.
#pragma once

#include "support/arena.h"
#include "support/random.h"

#include <gtest/gtest.h>

#include <map>
#include <vector>

struct Block {
    int64_t size;
    bool inUse = false;
    std::vector<unsigned char> content = {};
};

// The arena's block list, kept outside the buffer. Requests are multiples of 8, 0 for a refused
// one; the results are payload offsets, 0 for none.
struct PlainArena {
    std::map<int64_t, Block> blocks; // by the offset of the payload

    bool isInUse(int64_t offset) const {
        return blocks.contains(offset) && blocks.at(offset).inUse;
    }
    // `least` is the smallest remaining payload that makes a block of its own.
    void cut(int64_t offset, int64_t size, int64_t least) {
        const int64_t rest = blocks.at(offset).size - size - 16;
        if (rest < least)
            return;
        blocks.at(offset).size = size;
        blocks[offset + size + 16] = {rest};
    }
    void mergeFree() {
        for (auto block = blocks.begin(); std::next(block) != blocks.end();) {
            const auto next = std::next(block);
            if (block->second.inUse || next->second.inUse) {
                block = next;
                continue;
            }
            block->second.size += 16 + next->second.size;
            blocks.erase(next);
        }
    }
    int64_t allocate(int64_t size) {
        for (auto& [offset, block] : blocks) {
            if (size == 0 || block.inUse || block.size < size)
                continue;
            block.inUse = true;
            cut(offset, size, 32);
            return offset;
        }
        return 0;
    }
    int64_t reallocate(int64_t offset, int64_t size) {
        if (!isInUse(offset) || size == 0)
            return 0;
        Block& block = blocks.at(offset);
        const auto next = blocks.upper_bound(offset);
        const bool nextIsFree = next != blocks.end() && !next->second.inUse;
        if (size > block.size && !(nextIsFree && size <= block.size + next->second.size)) {
            const int64_t moved = allocate(size);
            block.inUse = moved == 0;
            return moved;
        }
        const bool grows = size > block.size;
        if (grows) {
            block.size += 16 + next->second.size;
            blocks.erase(next);
        }
        cut(offset, size, grows ? 32 : 40);
        return offset;
    }
};

inline void expectSame(const PlainArena& plain, unsigned char* start) {
    int64_t end = 0;
    int64_t largest = 0;
    for (const auto& [offset, block] : plain.blocks) {
        const HeaderView header = headerAt(start + end);
        ASSERT_TRUE(header.size == block.size && header.inUse == block.inUse);
        ASSERT_TRUE(!block.inUse ||
                    std::equal(block.content.begin(), block.content.end(), start + offset));
        largest = std::max(largest, block.inUse ? 0 : block.size);
        end = offset + block.size;
    }
    ASSERT_TRUE(headerAt(start + end).size == -1 && headerAt(start + end).inUse == 0);
    ASSERT_EQ(GetMaxAllocMemSize(start), largest);
}

inline void operateAtRandom(Random& random) {
    const int64_t size = random.between(0, random.oneOf<int64_t>({80, 2500}));
    const GuardedMemory memory(static_cast<size_t>(size + random.between(0, 7)));
    const auto address = reinterpret_cast<uintptr_t>(memory.data());
    unsigned char* const start = memory.data() + (8 - address % 8) % 8;
    const int64_t usable = (memory.data() + size - start) / 8 * 8;
    void* const handle = VantMemMgrCreate(memory.data(), size);
    ASSERT_EQ(handle, usable > 32 ? start : nullptr);
    PlainArena plain = {{{16, {usable - 32}}}};
    for (int step = 0; handle != nullptr && step < 150 && !testing::Test::HasFatalFailure();
         ++step) {
        const int64_t wanted =
            random.chance(5) ? random.oneOf<int64_t>({0, -1, INT64_MIN, 0xFFFFFFF8, 0xFFFFFFF9,
                                                      0xFFFFFFFF, 0x100000008, INT64_MAX})
                             : random.between(1, random.oneOf<int64_t>({16, 80, 400}));
        const int64_t request = wanted > 0 && wanted <= 0xFFFFFFF8 ? (wanted + 7) / 8 * 8 : 0;
        // A block, perhaps a free one, or something that the arena does not know.
        const auto known =
            std::next(plain.blocks.begin(), random.between(0, std::ssize(plain.blocks) - 1));
        const int64_t given = random.chance(15) ? random.between(-99, 4000) : known->first;
        std::vector<unsigned char> kept;
        if (plain.isInUse(given))
            kept = plain.blocks.at(given).content;
        void* pointer = nullptr;
        int64_t offset = 0;
        switch (random.between(0, 3)) {
        case 0:
            VantMemFree(handle, start + given);
            if (plain.isInUse(given))
                plain.blocks.at(given).inUse = false;
            break;
        case 1:
            pointer = VantMemRealloc(handle, start + given, wanted);
            offset = plain.reallocate(given, request);
            break;
        default:
            pointer = VantMemAlloc(handle, wanted);
            offset = plain.allocate(request);
            kept.clear();
        }
        plain.mergeFree();
        ASSERT_EQ(pointer, offset != 0 ? start + offset : nullptr);
        if (offset != 0) {
            Block& block = plain.blocks.at(offset);
            kept.resize(std::min(kept.size(), static_cast<size_t>(block.size)));
            ASSERT_TRUE(std::equal(kept.begin(), kept.end(), start + offset));
            random.fill(start + offset, block.size);
            block.content.assign(start + offset, start + offset + block.size);
        }
        expectSame(plain, start);
    }
}
