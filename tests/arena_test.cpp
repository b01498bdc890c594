// The arena: what holds after any operation, where its blocks lie, and the other platform
// functions.
#include "support/arena.h"
#include "support/cases.h"

#include <map>

namespace {

// Blocks that are in use, by address, with what they must still contain.
using Held = std::map<unsigned char*, Bytes>;

// The blocks follow each other up to the end; no two free ones do. Gives the largest free one.
void expectIntact(unsigned char* start, long usable, const Held& held, long& largest) {
    size_t inUse = 0;
    int64_t before = 1;
    largest = 0;
    unsigned char* place = start;
    for (HeaderView block; (block = headerAt(place)).size != -1; place += 16 + block.size) {
        ASSERT_TRUE(block.size % 8 == 0 && (block.inUse == 0 || block.inUse == 1));
        ASSERT_TRUE(block.inUse != 0 || before != 0);
        const auto known = held.find(place + 16);
        ASSERT_EQ(block.inUse != 0, known != held.end());
        if (known != held.end()) {
            ASSERT_GE(block.size, std::ssize(known->second));
            ASSERT_TRUE(std::equal(known->second.begin(), known->second.end(), place + 16));
        }
        inUse += block.inUse != 0;
        largest = std::max(largest, block.inUse == 0 ? block.size : 0);
        before = block.inUse;
    }
    ASSERT_TRUE(place == start + usable - 16 && inUse == held.size());
    ASSERT_EQ(GetMaxAllocMemSize(start), largest);
}

void expectArena(Random& random) {
    const int64_t size = random.between(0, random.oneOf<int64_t>({80, 2500}));
    const GuardedMemory memory(static_cast<size_t>(size + random.between(0, 7)));
    const auto address = reinterpret_cast<uintptr_t>(memory.data());
    unsigned char* const start = memory.data() + (8 - address % 8) % 8;
    const int64_t usable = (memory.data() + size - start) / 8 * 8;
    void* const handle = VantMemMgrCreate(memory.data(), size);
    ASSERT_EQ(handle, usable > 32 ? start : nullptr);
    Held held;
    long largest = usable - 32;
    for (int step = 0; handle != nullptr && step < 100; ++step) {
        const int64_t wanted =
            random.chance(5) ? random.oneOf<int64_t>({0, -1, INT64_MIN, 0xFFFFFFF8, 0xFFFFFFF9,
                                                      0xFFFFFFFF, 0x100000008, INT64_MAX})
                             : random.between(1, random.oneOf<int64_t>({16, 80, 400}));
        const int64_t request = wanted > 0 && wanted <= 0xFFFFFFF8 ? (wanted + 7) / 8 * 8 : 0;
        const bool fits = request > 0 && request <= largest;
        // A block, or something that the arena does not know.
        auto known = held.begin();
        std::advance(known, held.empty() ? 0 : random.between(0, std::ssize(held) - 1));
        if (random.chance(15))
            known = held.end();
        unsigned char* const given =
            known != held.end() ? known->first : start + 16 + random.between(1, 15);
        const bool isStatic = random.chance(30) && wanted > 0 && wanted <= 0xFFFFFFF8;
        const auto choice = random.between(0, 3);
        void* made = nullptr;
        if (choice == 0) {
            isStatic ? VantMemFreeStatic(handle, given) : VantMemFree(handle, given);
            if (known != held.end())
                held.erase(known);
        } else if (choice == 1) {
            made = isStatic ? VantMemReallocStatic(handle, given, static_cast<uint32_t>(wanted))
                            : VantMemRealloc(handle, given, wanted);
            ASSERT_TRUE(made == nullptr || (known != held.end() && request > 0));
            ASSERT_TRUE(made != nullptr || known == held.end() || !fits);
        } else {
            made = isStatic ? VantMemAllocStatic(handle, static_cast<uint32_t>(wanted))
                            : VantMemAlloc(handle, wanted);
            ASSERT_EQ(made != nullptr, fits);
        }
        if (made != nullptr) {
            auto* const block = static_cast<unsigned char*>(made);
            ASSERT_TRUE((block - start) % 8 == 0 && headerAt(block - 16).size >= request);
            if (choice == 1) {
                Bytes& content = known->second;
                content.resize(std::min(content.size(), static_cast<size_t>(request)));
                ASSERT_TRUE(std::equal(content.begin(), content.end(), block));
                held.erase(known);
            }
            random.fill(block, request);
            held[block] = {block, block + request};
        }
        ASSERT_NO_FATAL_FAILURE(expectIntact(start, usable, held, largest));
        note(int64_t{made == nullptr ? 0 : static_cast<unsigned char*>(made) - start}, largest);
    }
}

const Register registered{{{"Arena", 400, 0x7CF93D59DACDD1A1, expectArena}}};

TEST(Arena, NeedsRoom) {
    int64_t memory[16];
    for (const long size : {int64_t{-1}, INT64_MIN})
        EXPECT_EQ(VantMemMgrCreate(memory, size), nullptr);
    EXPECT_EQ(VantMemMgrCreate(nullptr, 1024), nullptr);
}

TEST(Arena, SplitsOnlyRemaindersWorthABlock) {
    for (const uint32_t rest : {24u, 32u, 40u}) {
        // A new block, one cut down to its size, and one grown to it.
        for (const uint32_t first : {384 - rest, 400u, 8u}) {
            const Arena arena(400);
            void* const block = VantMemReallocStatic(arena.handle(), nullptr, first);
            EXPECT_EQ(VantMemReallocStatic(arena.handle(), block, 384 - rest), block);
            const bool split = first == 400 ? rest > 32 : rest >= 32;
            EXPECT_EQ(GetMaxAllocMemSize(arena.handle()), split ? rest : 0) << rest;
        }
    }
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
}

TEST(Version, TextsAndNumbers) {
    _tag_VERSION_INFO library = {};
    DRAV_GetVersion(&library);
    const auto textOf = [](const _tag_VERSION_INFO& info) {
        std::string text = info.version + std::string(", ") + info.date;
        for (const int64_t number : info.numbers)
            text += ' ' + std::to_string(number);
        return info.notice != nullptr ? text : "";
    };
    EXPECT_EQ(textOf(library), "Norvale_Kelvane_3.0.12023.23, 06/03/2015 3 0 12023 23");
    Vantix_GetVersion()->version = nullptr;
    Vantix_GetVersion()->numbers[1] = 99;
    EXPECT_EQ(textOf(*Vantix_GetVersion()), "Norvale_Vantix_0.1.0.4, Nov  3 2014 0 1 0 4");
    EXPECT_EQ(Vantix_GetVersion(), Vantix_GetVersion());
}

TEST(Version, IsRestored) {
    _tag_VERSION_INFO* const version = Vantix_GetVersion();
    version->numbers[1] = version->numbers[3] = 9;
    version->version = "";
    EXPECT_EQ(Vantix_GetVersion(), version);
    EXPECT_EQ(version->numbers[1] * 10 + version->numbers[3], 14);
    EXPECT_STREQ(version->version, "Norvale_Vantix_0.1.0.4");
}

} // namespace
