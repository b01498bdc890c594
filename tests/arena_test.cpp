#include "support/arena.h"
#include "support/random.h"

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <vector>

namespace {

// What the arena's block list must be, kept outside the buffer. Offsets are those of payloads.
class ArenaModel {
public:
    struct Block {
        int64_t offset;
        int64_t size;
        bool inUse = false;
        std::vector<unsigned char> content = {};
    };

    explicit ArenaModel(int64_t usable) : blocks_{{16, usable - 32}} {}

    std::vector<Block>& blocks() { return blocks_; }

    Block* find(int64_t offset) {
        for (Block& block : blocks_) {
            if (block.inUse && block.offset == offset)
                return &block;
        }
        return nullptr;
    }

    std::optional<int64_t> allocate(int64_t size) {
        const std::optional<int64_t> request = rounded(size);
        for (size_t i = 0; request && i < blocks_.size(); ++i) {
            if (blocks_[i].inUse || blocks_[i].size < *request)
                continue;
            blocks_[i].inUse = true;
            cut(i, *request, 32);
            return blocks_[i].offset;
        }
        return {};
    }

    void release(int64_t offset) {
        Block* const block = find(offset);
        if (block == nullptr)
            return;
        block->inUse = false;
        const auto i = static_cast<size_t>(block - blocks_.data());
        mergeWithNext(i);
        if (i > 0 && !blocks_[i - 1].inUse)
            mergeWithNext(i - 1);
    }

    std::optional<int64_t> reallocate(int64_t offset, int64_t size) {
        const std::optional<int64_t> request = rounded(size);
        Block* const block = find(offset);
        if (!request || block == nullptr)
            return {};
        const auto i = static_cast<size_t>(block - blocks_.data());
        const bool nextIsFree = i + 1 < blocks_.size() && !blocks_[i + 1].inUse;
        if (*request <= block->size) {
            if (cut(i, *request, 40))
                mergeWithNext(i + 1);
            return offset;
        }
        if (nextIsFree && *request <= block->size + blocks_[i + 1].size) {
            mergeWithNext(i);
            cut(i, *request, 32);
            return offset;
        }
        const std::optional<int64_t> moved = allocate(*request);
        if (moved)
            release(offset);
        return moved;
    }

    int64_t largestFree() const {
        int64_t largest = 0;
        for (const Block& block : blocks_)
            largest = std::max(largest, block.inUse ? 0 : block.size);
        return largest;
    }

private:
    static std::optional<int64_t> rounded(int64_t size) {
        if (size <= 0 || size > 0xFFFFFFF8)
            return {};
        return (size + 7) / 8 * 8;
    }
    // `least` is the smallest remaining payload that makes a block of its own.
    bool cut(size_t i, int64_t size, int64_t least) {
        const int64_t rest = blocks_[i].size - size - 16;
        if (rest < least)
            return false;
        blocks_[i].size = size;
        blocks_.insert(blocks_.begin() + static_cast<long>(i) + 1,
                       Block{blocks_[i].offset + size + 16, rest});
        return true;
    }
    void mergeWithNext(size_t i) {
        if (i + 1 == blocks_.size() || blocks_[i + 1].inUse)
            return;
        blocks_[i].size += 16 + blocks_[i + 1].size;
        blocks_.erase(blocks_.begin() + static_cast<long>(i) + 1);
    }

    std::vector<Block> blocks_;
};

class ArenaAndModel {
public:
    ArenaAndModel(int64_t size, int64_t misalignment, Random& random)
        : random_(random), memory_(static_cast<size_t>((size + 7) / 8 * 8 + misalignment)),
          start_(memory_.data() + (8 - reinterpret_cast<uintptr_t>(memory_.data()) % 8) % 8),
          handle_(VantMemMgrCreate(memory_.data(), size)),
          model_((memory_.data() + size - start_) / 8 * 8) {}

    bool isAtStart() const { return handle_ == start_; }

    void allocate(int64_t size) {
        received(VantMemAlloc(handle_, size), model_.allocate(size), {});
    }
    void release(int64_t offset) {
        VantMemFree(handle_, start_ + offset);
        model_.release(offset);
    }
    void reallocate(int64_t offset, int64_t size) {
        const ArenaModel::Block* const old = model_.find(offset);
        const auto content = old != nullptr ? old->content : std::vector<unsigned char>{};
        received(VantMemRealloc(handle_, start_ + offset, size), model_.reallocate(offset, size),
                 content);
    }

    // The payload of a block in use, or something that the arena does not know.
    int64_t anyOffset() {
        const auto& blocks = model_.blocks();
        if (random_.chance(15))
            return random_.between(-100, 4000);
        return blocks[random_.between<size_t>(0, static_cast<int64_t>(blocks.size()) - 1)].offset;
    }

    void compare() {
        int64_t offset = 0;
        for (const ArenaModel::Block& block : model_.blocks()) {
            ASSERT_EQ(headerAt(start_ + offset).size, block.size);
            ASSERT_EQ(headerAt(start_ + offset).inUse, block.inUse);
            ASSERT_TRUE(!block.inUse || std::equal(block.content.begin(), block.content.end(),
                                                   start_ + block.offset));
            offset = block.offset + block.size;
        }
        ASSERT_EQ(headerAt(start_ + offset).size, -1);
        ASSERT_EQ(headerAt(start_ + offset).inUse, 0);
        ASSERT_EQ(GetMaxAllocMemSize(handle_), model_.largestFree());
    }

private:
    // Checks where a block came to lie and what it kept, and gives it new content.
    void received(void* pointer, std::optional<int64_t> offset,
                  const std::vector<unsigned char>& old) {
        ASSERT_EQ(pointer, offset ? start_ + *offset : nullptr);
        if (!offset)
            return;
        ArenaModel::Block& block = *model_.find(*offset);
        const auto kept = std::min(block.size, static_cast<int64_t>(old.size()));
        ASSERT_TRUE(std::equal(old.begin(), old.begin() + kept, start_ + *offset));
        block.content.resize(static_cast<size_t>(block.size));
        random_.fill(block.content.data(), block.size);
        std::copy(block.content.begin(), block.content.end(), start_ + *offset);
    }

    Random& random_;
    GuardedMemory memory_;
    unsigned char* start_;
    void* handle_;
    ArenaModel model_;
};

TEST(Arena, RandomOperationsMatchTheModel) {
    Random random;
    for (int sequence = 0; sequence < 300 && !HasFatalFailure(); ++sequence) {
        ArenaAndModel arena(random.between(48, 2500), random.between(0, 7), random);
        ASSERT_TRUE(arena.isAtStart());
        for (int step = 0; step < 150 && !HasFatalFailure(); ++step) {
            const int64_t size =
                random.chance(5) ? random.oneOf<int64_t>({0, -1, INT64_MIN, 0xFFFFFFF8, 0xFFFFFFF9,
                                                          0xFFFFFFFF, 0x100000008, INT64_MAX})
                                 : random.between(1, random.oneOf<int64_t>({16, 80, 400}));
            switch (random.between(0, 3)) {
            case 0:
            case 1: arena.allocate(size); break;
            case 2: arena.release(arena.anyOffset()); break;
            default: arena.reallocate(arena.anyOffset(), size); break;
            }
            arena.compare();
        }
    }
}

TEST(Arena, NeedsMoreThanTwoHeaders) {
    alignas(8) std::array<unsigned char, 80> buffer = {};
    for (long size = -8; size < 40; ++size)
        EXPECT_EQ(VantMemMgrCreate(buffer.data(), size) != nullptr, size >= 40) << size;
    EXPECT_EQ(VantMemMgrCreate(buffer.data(), INT64_MIN), nullptr);
    EXPECT_EQ(VantMemMgrCreate(nullptr, 1024), nullptr);
    EXPECT_EQ(VantMemMgrCreate(buffer.data() + 3, 77), buffer.data() + 8);
    EXPECT_EQ(VantMemMgrCreate(buffer.data() + 3, 44), nullptr); // 5 lost, 39 rounded to 32

    void* const handle = VantMemMgrCreate(buffer.data(), 64);
    EXPECT_EQ(GetMaxAllocMemSize(handle), 32);
    EXPECT_EQ(VantMemAllocStatic(handle, 32), buffer.data() + 16);
    EXPECT_EQ(VantMemAllocStatic(handle, 1), nullptr);
    EXPECT_EQ(GetMaxAllocMemSize(handle), 0);
    EXPECT_EQ(VantMemMgrDestroy(handle), handle);
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
}

TEST(Memory, HeapAndPlatformFunctions) {
    EXPECT_EQ(GetMaxAllocMemSize(nullptr), 2);
    unsigned char byte = 7;
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
    _tag_VERSION_INFO* const platform = Vantix_GetVersion();
    platform->numbers[1] = 99;
    platform->version = nullptr;
    EXPECT_EQ(Vantix_GetVersion(), platform);
    EXPECT_EQ(platform->numbers[1] * 1000 + platform->numbers[3], 1004);
    EXPECT_STREQ(platform->version, "Norvale_Vantix_0.1.0.4");
    EXPECT_STREQ(platform->date, "Nov  3 2014");
    EXPECT_NE(platform->notice, nullptr);

    _tag_VERSION_INFO library = {};
    DRAV_GetVersion(nullptr);
    DRAV_GetVersion(&library);
    EXPECT_TRUE(library.numbers[0] == 3 && library.numbers[1] == 0 && library.numbers[2] == 12023 &&
                library.numbers[3] == 23);
    EXPECT_STREQ(library.version, "Norvale_Kelvane_3.0.12023.23");
    EXPECT_STREQ(library.date, "06/03/2015");
    EXPECT_NE(library.notice, nullptr);
}

} // namespace
