#include "support/arena.h"
#include "support/random.h"

#include <gtest/gtest.h>

#include <optional>
#include <vector>

namespace {

struct Block {
    int64_t size;
    bool inUse = false;
    std::vector<unsigned char> content = {};
};

// The arena's block list, kept outside the buffer. Blocks are named by the offset of their payload.
struct PlainArena {
    std::vector<Block> blocks;

    int64_t offsetOf(size_t index) const {
        int64_t offset = 16;
        for (size_t i = 0; i < index; ++i)
            offset += blocks[i].size + 16;
        return offset;
    }
    // The index of a block in use, or their number.
    size_t find(int64_t offset) const {
        size_t i = 0;
        while (i < blocks.size() && !(blocks[i].inUse && offsetOf(i) == offset))
            ++i;
        return i;
    }
    // `least` is the smallest remaining payload that makes a block of its own.
    void cut(size_t i, int64_t size, int64_t least) {
        const int64_t rest = blocks[i].size - size - 16;
        if (rest < least)
            return;
        blocks[i].size = size;
        blocks.insert(blocks.begin() + static_cast<int64_t>(i) + 1, Block{rest});
    }
    void mergeFree() {
        for (size_t i = 1; i < blocks.size(); ++i) {
            if (blocks[i - 1].inUse || blocks[i].inUse)
                continue;
            blocks[i].size += 16 + blocks[i - 1].size;
            blocks.erase(blocks.begin() + static_cast<int64_t>(--i));
        }
    }
    std::optional<int64_t> allocate(int64_t size) {
        for (size_t i = 0; size > 0 && i < blocks.size(); ++i) {
            if (blocks[i].inUse || blocks[i].size < size)
                continue;
            blocks[i].inUse = true;
            cut(i, size, 32);
            return offsetOf(i);
        }
        return {};
    }
    std::optional<int64_t> reallocate(int64_t offset, int64_t size) {
        const size_t i = find(offset);
        if (i == blocks.size() || size == 0)
            return {};
        const bool nextIsFree = i + 1 < blocks.size() && !blocks[i + 1].inUse;
        if (size <= blocks[i].size) {
            cut(i, size, 40);
        } else if (nextIsFree && size <= blocks[i].size + blocks[i + 1].size) {
            blocks[i].size += 16 + blocks[i + 1].size;
            blocks.erase(blocks.begin() + static_cast<int64_t>(i) + 1);
            cut(i, size, 32);
        } else {
            const std::optional<int64_t> moved = allocate(size);
            if (moved)
                blocks[find(offset)].inUse = false;
            return moved;
        }
        return offset;
    }
};

void expectSame(const PlainArena& plain, unsigned char* start) {
    int64_t offset = 0;
    int64_t largest = 0;
    for (const Block& block : plain.blocks) {
        ASSERT_EQ(headerAt(start + offset).size, block.size);
        ASSERT_EQ(headerAt(start + offset).inUse, block.inUse);
        if (block.inUse)
            ASSERT_TRUE(
                std::equal(block.content.begin(), block.content.end(), start + offset + 16));
        else
            largest = std::max(largest, block.size);
        offset += 16 + block.size;
    }
    ASSERT_EQ(headerAt(start + offset).size, -1);
    ASSERT_EQ(headerAt(start + offset).inUse, 0);
    ASSERT_EQ(GetMaxAllocMemSize(start), largest);
}

void operateAtRandom(Random& random) {
    const int64_t size = random.between(0, random.oneOf<int64_t>({80, 2500}));
    const GuardedMemory memory(static_cast<size_t>(size + random.between(0, 7)));
    const auto address = reinterpret_cast<uintptr_t>(memory.data());
    unsigned char* const start = memory.data() + (8 - address % 8) % 8;
    const int64_t usable = (memory.data() + size - start) / 8 * 8;
    void* const handle = VantMemMgrCreate(memory.data(), size);
    ASSERT_EQ(handle, usable > 32 ? start : nullptr);
    PlainArena plain = {{Block{usable - 32}}};
    for (int step = 0; handle != nullptr && step < 150; ++step) {
        const int64_t wanted =
            random.chance(5) ? random.oneOf<int64_t>({0, -1, INT64_MIN, 0xFFFFFFF8, 0xFFFFFFF9,
                                                      0xFFFFFFFF, 0x100000008, INT64_MAX})
                             : random.between(1, random.oneOf<int64_t>({16, 80, 400}));
        const int64_t request = wanted > 0 && wanted <= 0xFFFFFFF8 ? (wanted + 7) / 8 * 8 : 0;
        // The payload of a block, in use or not, or something that the arena does not know.
        const auto any = random.between<size_t>(0, static_cast<int64_t>(plain.blocks.size()) - 1);
        const int64_t offset = random.chance(15) ? random.between(-99, 4000) : plain.offsetOf(any);
        const size_t found = plain.find(offset);
        std::vector<unsigned char> kept;
        void* pointer = nullptr;
        std::optional<int64_t> expected;
        switch (random.between(0, 3)) {
        case 0:
            VantMemFree(handle, start + offset);
            if (found < plain.blocks.size())
                plain.blocks[found].inUse = false;
            break;
        case 1:
            if (found < plain.blocks.size())
                kept = plain.blocks[found].content;
            pointer = VantMemRealloc(handle, start + offset, wanted);
            expected = plain.reallocate(offset, request);
            break;
        default: pointer = VantMemAlloc(handle, wanted); expected = plain.allocate(request);
        }
        plain.mergeFree();
        ASSERT_EQ(pointer, expected ? start + *expected : nullptr);
        if (expected) {
            Block& block = plain.blocks[plain.find(*expected)];
            kept.resize(std::min(kept.size(), static_cast<size_t>(block.size)));
            ASSERT_TRUE(std::equal(kept.begin(), kept.end(), start + *expected));
            random.fill(start + *expected, block.size);
            block.content.assign(start + *expected, start + *expected + block.size);
        }
        expectSame(plain, start);
        if (testing::Test::HasFatalFailure())
            return;
    }
}

TEST(Arena, RandomOperationsMatchTheModel) {
    Random random;
    for (int sequence = 0; sequence < 400 && !HasFatalFailure(); ++sequence)
        operateAtRandom(random);
}

TEST(Arena, SplitsOnlyRemaindersWorthABlock) {
    constexpr int64_t payload = 400;
    for (int64_t rest = 0; rest <= 64; rest += 8) {
        const auto size = static_cast<uint32_t>(payload - 16 - rest);
        // A new block, one cut down to the size, and one grown to it.
        for (const uint32_t first : {size, uint32_t{payload}, 8u}) {
            const Arena arena(payload);
            void* const block = VantMemAllocStatic(arena.handle(), first);
            ASSERT_NE(block, nullptr);
            EXPECT_EQ(VantMemReallocStatic(arena.handle(), block, size), block);
            const bool split = first == payload ? rest > 32 : rest >= 32;
            EXPECT_EQ(GetMaxAllocMemSize(arena.handle()), split ? rest : 0) << rest;
        }
    }
    EXPECT_EQ(VantMemMgrCreate(nullptr, 1024), nullptr);
    int64_t word;
    for (const long size : {-1L, INT64_MIN})
        EXPECT_EQ(VantMemMgrCreate(&word, size), nullptr);
}

TEST(Memory, HeapAndPlatformFunctions) {
    unsigned char byte = 7;
    EXPECT_EQ(VantMemMgrDestroy(&byte), &byte);
    EXPECT_EQ(GetMaxAllocMemSize(nullptr), 2);
    EXPECT_EQ(VantMemAllocStatic(nullptr, 8), nullptr);
    EXPECT_EQ(VantMemReallocStatic(nullptr, &byte, 8), nullptr);
    VantMemFreeStatic(nullptr, &byte);

    auto* block = static_cast<unsigned char*>(VantMemAlloc(nullptr, 6));
    VantMemSet(block, 0x1A5, 6);
    block = static_cast<unsigned char*>(VantMemRealloc(nullptr, block, 5000));
    EXPECT_EQ(block[5], 0xA5);
    VantMemCpy(block, "123456", 6);
    VantMemMove(block + 1, block, 4);
    VantMemSet(block, 9, -1);
    VantMemCpy(block, &byte, -1);
    EXPECT_EQ(VantMemCmp(block, "112346", 6), 0);
    EXPECT_LT(VantMemCmp(block, "112347", 6), 0);
    EXPECT_GT(VantMemCmp(block, "112345", 6), 0);
    EXPECT_EQ(VantMemCmp(block, "2", 0), 0);
    VantMemFree(nullptr, block);
    VantMemFree(nullptr, nullptr);
}

TEST(Version, TextsAndNumbers) {
    Vantix_GetVersion()->version = nullptr;
    Vantix_GetVersion()->numbers[1] = 99;
    _tag_VERSION_INFO library = {};
    DRAV_GetVersion(nullptr);
    DRAV_GetVersion(&library);
    EXPECT_STREQ(library.version, "Norvale_Kelvane_3.0.12023.23");
    EXPECT_STREQ(library.date, "06/03/2015");
    EXPECT_STREQ(Vantix_GetVersion()->version, "Norvale_Vantix_0.1.0.4");
    EXPECT_STREQ(Vantix_GetVersion()->date, "Nov  3 2014");
    const auto numbersOf = [](const _tag_VERSION_INFO& info) {
        EXPECT_NE(info.notice, nullptr);
        return std::vector<int64_t>(info.numbers, info.numbers + 4);
    };
    EXPECT_EQ(numbersOf(library), (std::vector<int64_t>{3, 0, 12023, 23}));
    EXPECT_EQ(numbersOf(*Vantix_GetVersion()), (std::vector<int64_t>{0, 1, 0, 4}));
}

} // namespace
