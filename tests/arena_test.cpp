#include "support/arena_model.h"

namespace {

TEST(Arena, RandomOperationsMatchTheModel) {
    Random random;
    for (int sequence = 0; sequence < 600 && !HasFatalFailure(); ++sequence)
        operateAtRandom(random);
    for (const long size : {-1L, INT64_MIN})
        EXPECT_EQ(VantMemMgrCreate(&random, size), nullptr);
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
