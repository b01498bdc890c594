#include "support/random.h"
#include "support/record_case.h"

#include <vector>

namespace {

TEST(PreprocessingRecord, IsCopiedWhenItsLengthIsExact) {
    Random random;
    const Arena arena(1 << 16);
    int accepted = 0;
    for (int i = 0; i < 20000 && !HasFatalFailure(); ++i) {
        const auto small = [&] { return random.between<uint32_t>(0, 5); };
        uint32_t header[8] = {0, small(), 0, 0, small(), small()};
        auto size = static_cast<int>(32 + header[1] * (8 * header[4] * header[5] + 412));
        if (random.chance(30))
            header[random.oneOf({1, 4, 5})] =
                random.oneOf<uint32_t>({small(), 0x10000, 0x40000000, 0xFFFFFFFF,
                                        random.between<uint32_t>(0, UINT32_MAX)});
        if (random.chance(10)) { // 8wh is 2^32 or 2^35
            header[4] = 0x10000;
            header[5] = random.oneOf({0x2000u, 0x10000u});
        }
        if (random.chance(30))
            size = random.oneOf({size - 1, size + 1, 32, 444, random.between<int>(0, 31)});
        if (i == 0) { // 8Nwh is 2^32 more than the maps' bytes
            header[1] = 8192;
            header[4] = 65545;
            header[5] = 1;
            size = 32 + 412 * 8192 + 9 * 65536;
        }
        // Ends at an inaccessible page, or one byte before.
        const GuardedMemory block(static_cast<size_t>(size) + random.between<size_t>(0, 1));
        random.fill(block.data(), size);
        std::memcpy(block.data(), header,
                    std::min<size_t>(sizeof header, static_cast<size_t>(size)));
        expectRead(arena, block.data(), size, accepted);
    }
    EXPECT_GT(accepted, 3000);
}

TEST(FaceStorage, LayoutAndOwnership) {
    constexpr int64_t n = 3;
    const Arena arena(n * 440 + 16 + n * 24); // room for just both blocks
    _tag_DRAV_PARAM params[n] = {};
    ASSERT_EQ(allocParams(arena.handle(), params, n), ERR_NONE);
    EXPECT_EQ(GetMaxAllocMemSize(arena.handle()), 0);
    const auto* const block = reinterpret_cast<unsigned char*>(params[0].faces);
    for (size_t i = 0; i < n; ++i) {
        const _tag_DRAV_FACEINFO& faces = *params[i].faces;
        const auto offsetOf = [&](const void* part) {
            return static_cast<const unsigned char*>(part) - block - 440 * static_cast<long>(i);
        };
        EXPECT_TRUE(offsetOf(&faces) == 0 && offsetOf(faces.rects) == 40 &&
                    offsetOf(faces.codes) == 200 && offsetOf(faces.eyes) == 280 &&
                    offsetOf(faces.smiles) == 360);
        EXPECT_EQ(faces.count, 0);
        for (const unsigned char* byte = block + 440 * i + 40; byte < block + 440 * (i + 1); ++byte)
            ASSERT_EQ(*byte, 0);
        EXPECT_EQ(params[i].alignment, params[0].alignment + i);
        EXPECT_EQ(params[i].alignment->frameIndex, 0);
    }
    for (int times = 0; times < 2; ++times) { // once released, nothing happens
        freeParams(arena.handle(), params, n);
        EXPECT_TRUE(arena.isEmpty() && !params[n - 1].faces && !params[n - 1].alignment);
    }
    for (const auto release : {freeParams, freeParamsFace, freeParamsAlign})
        release(arena.handle(), nullptr, n);
    for (const auto allocate : {allocParams, allocParamsFace, allocParamsAlign})
        for (const int64_t tooMany : {INT64_MAX, INT64_MAX / 440 + 2, (int64_t{1} << 32) / 8})
            EXPECT_EQ(allocate(arena.handle(), params, tooMany), ERR_NO_MEMORY);
    // An earlier block is released when there is no room for another, and no more entries are
    // cleared than can exist.
    for (const auto allocate : {allocParams, allocParamsFace, allocParamsAlign}) {
        ASSERT_EQ(allocParams(arena.handle(), params, n), ERR_NONE);
        EXPECT_EQ(allocate(arena.handle(), params, INT64_MAX), ERR_NO_MEMORY);
        EXPECT_EQ(params[0].faces == nullptr, allocate != allocParamsAlign);
        EXPECT_EQ(params[0].alignment == nullptr, allocate != allocParamsFace);
        EXPECT_TRUE(params[1].faces != nullptr && params[1].alignment != nullptr);
        freeParams(arena.handle(), params, 1);
        EXPECT_TRUE(arena.isEmpty());
    }
}

} // namespace
