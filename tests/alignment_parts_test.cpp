#include "support/alignment_parts.h"
#include "support/arena.h"

namespace {

TEST(AlignmentParts, CutNextToTheMedian) {
    const auto cut = [](Bytes pixels) {
        const auto width = static_cast<int32_t>(pixels.size());
        __tag_KIRO_OFFSCREEN row = {0x601, width, 1, {pixels.data()}, {width}};
        long threshold = 99;
        long counts[256];
        TorInterThreshold(nullptr, &row, nullptr, &threshold, width, 1, width, counts);
        return threshold;
    };
    EXPECT_EQ(0, cut({0, 0, 0, 0, 200, 200, 200, 200}));
    EXPECT_EQ(-1, cut({0, 0, 0}));
    EXPECT_EQ(6, cut({3, 3, 3, 7, 7, 7, 7, 7}));
    EXPECT_EQ(7, cut({3, 3, 7, 7, 7, 7, 9, 9})); // both cuts are 2 off: the upper one
}

TEST(AlignmentParts, HalveByMajority) {
    Random random;
    for (int i = 0; i < 3000 && !HasFailure(); ++i)
        expectHalved(random);
}

TEST(AlignmentParts, CountThePlainDisagreement) {
    Random random;
    for (int i = 0; i < 6000 && !HasFailure(); ++i)
        expectCounted(random);
    // All ones against all zeros: every position that is looked at counts.
    Bytes ones(5 * 12, 0xFF);
    Bytes zeros(5 * 12);
    EXPECT_EQ(31u * 5, BitmapOperation2(ones.data(), zeros.data(), 64, 5, 12, -33, 0));
    EXPECT_EQ(63u * 4, BitmapOperation2_BF(ones.data(), zeros.data(), 64, 5, 12, 1, -1, 1, -1));
}

TEST(AlignmentParts, MakeSetsAndPatchesOfAnyDepth) {
    Random random;
    for (int i = 0; i < 400 && !HasFailure(); ++i)
        expectLevels(random, i % 9 == 0 ? 5000 : 700, i % 9 == 1 ? 1500 : 80);
}

TEST(AlignmentParts, RefuseSizesThatNoFrameHas) {
    const std::array<long, 4> sizes[] = {
        {0, 9, 0, 3},      {9, -1, 0, 3},          {640, 480, -1, 3},          {640, 480, 5, 3},
        {640, 480, 4, -1}, {INT64_MAX, 480, 4, 3}, {640, INT64_MAX / 2, 40, 3}};
    for (const auto& [width, height, levels, k] : sizes) {
        _tag_ZEP_ABDEBLUR context{};
        unsigned char* set = nullptr;
        _tag_BitPyramid_Struct untouched, *pyramid = &untouched;
        EXPECT_EQ(ERR_INVALID_PARAM,
                  Alloc_ComputeBitMaps_Video(&context, &set, width, height, levels, k, 4));
        const bool none = levels <= k; // which comes before any fault
        EXPECT_EQ(none ? ERR_NONE : ERR_INVALID_PARAM,
                  Alloc_ComputeBitPyramid_Video(none ? nullptr : &context, &pyramid, width, height,
                                                levels, k, 4));
        EXPECT_TRUE(set == nullptr && pyramid == (none ? nullptr : &untouched));
    }
}

// 600 x 1 pixels have no row at any stored level, and none of a patch.
TEST(AlignmentParts, AskForEmptyBlocks) {
    const Arena arena(4096);
    for (void* const memory : {arena.handle(), static_cast<void*>(nullptr)}) {
        const long code = memory == nullptr ? ERR_NONE : ERR_NO_MEMORY;
        _tag_ZEP_ABDEBLUR context{};
        context.memHandle = memory;
        unsigned char* set = nullptr;
        _tag_BitPyramid_Struct* pyramid = nullptr;
        EXPECT_EQ(code, Alloc_ComputeBitMaps_Video(&context, &set, 600, 1, 4, 3, 4));
        EXPECT_EQ(code, Alloc_ComputeBitPyramid_Video(&context, &pyramid, 600, 1, 4, 3, 4));
        EXPECT_TRUE((set == nullptr) == (memory != nullptr) && arena.isEmpty());
        VantMemFree(memory, set);
        ReleasePyrBit(&context, &pyramid);
    }
}

} // namespace
