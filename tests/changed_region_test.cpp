#include "support/allocation_hook.h"
#include "support/arena.h"
#include "support/region_cases.h"

#include <cstring>

namespace {

TEST(ChangedRegion, MatchesItsPlainSteps) {
    Random random;
    for (int i = 0; i < 40 && !HasFailure(); ++i)
        compareRegions(random, random.between(100, 320), random.between(100, 290));
    for (int i = 0; i < 12 && !HasFailure(); ++i)
        compareRegions(random, random.between(512, 700), random.between(512, 530));
}

TEST(ChangedRegion, IsBoundedByItsMask) {
    Random random;
    for (int i = 0; i < 500 && !HasFailure(); ++i)
        expectBounded(random);
}

TEST(ChangedRegion, CutsAtItsLimits) {
    Random random;
    const auto regionOf = [&](int64_t width, int64_t height, const __tag_rect& block, int change) {
        AlignmentFrame first(random, width, height, 0x601, 3);
        AlignmentFrame second(random, width, height, 0x601, 0);
        for (AlignmentFrame* const frame : {&first, &second})
            frame->paint([](int64_t, int64_t) { return 100; });
        plant(first, block, change);
        Region region(width, height);
        EXPECT_EQ(ERR_NONE, region.compare(&first.image, &second.image));
        return valuesOf(region.info);
    };
    for (const int change : {-56, -55, 46, 47}) {
        const bool isChanged = change < -55 || change > 46;
        EXPECT_EQ(isChanged ? (Values{0, 0, 200, 150, 1, 0, 0}) : Values{},
                  regionOf(200, 150, {0, 0, 200, 150}, change));
    }
    // The blur takes three pixels from each corner; opening and closing lift the block by a row.
    EXPECT_EQ((Values{300, 198, 340, 228, 1188.0f / 800.0f / 600.0f, 0, 0}),
              regionOf(800, 600, {300, 200, 340, 230}, 120));
}

TEST(ChangedRegion, RefusesWhatDoesNotFit) {
    Random random;
    AlignmentFrame frame(random, 120, 110, 0x601, 0);
    __tag_KIRO_OFFSCREEN* const image = &frame.image;
    Region region(120, 110);
    std::array<__tag_KIRO_OFFSCREEN, 4> misfits;
    misfits.fill(frame.image);
    --misfits[0].width;
    --misfits[1].height;
    misfits[2].planes[0] = nullptr;
    misfits[3].format = 0x501;
    for (__tag_KIRO_OFFSCREEN& misfit : misfits) {
        EXPECT_EQ(ERR_INVALID_PARAM, region.compare(image, &misfit));
        EXPECT_EQ(ERR_INVALID_PARAM, region.compare(&misfit, image));
        EXPECT_EQ(ERR_INVALID_PARAM, region.compare(&misfit, &misfit));
    }
    _tag_DRAV_ALIGNMENT alignment{};
    for (int missing = 0; missing < 5; ++missing)
        EXPECT_EQ(ERR_INVALID_PARAM,
                  roiCalculate(missing == 0 ? nullptr : region.roi, missing == 1 ? nullptr : image,
                               missing == 2 ? nullptr : image, missing == 3 ? nullptr : &alignment,
                               missing == 4 ? nullptr : &region.info));
    EXPECT_EQ(valuesOf(untouched), valuesOf(region.info));
    AlignmentFrame thin(random, 99, 120, 0x601, 0);
    Region ofThin(99, 120); // the cleaning has no radius
    EXPECT_EQ(ERR_INVALID_PARAM, ofThin.compare(&thin.image, &thin.image));
    EXPECT_EQ(valuesOf(untouched), valuesOf(ofThin.info));

    const std::array<long, 4> inits[] = {{5, 3, 0x802, ERR_NONE},
                                         {1, 1, 0x601, ERR_NONE},
                                         {0, 1, 0x601, ERR_INVALID_PARAM},
                                         {1, 0, 0x601, ERR_INVALID_PARAM},
                                         {1, 1, 0x501, ERR_INVALID_PARAM},
                                         {INT64_MAX, 1, 0x601, ERR_NO_MEMORY},
                                         {9, INT64_MAX, 0x601, ERR_NO_MEMORY}};
    for (const auto& [width, height, format, code] : inits) {
        void* roi = nullptr;
        EXPECT_EQ(code, roiInit(nullptr, width, height, format, &roi)) << width << " x " << height;
        EXPECT_TRUE(roi == nullptr || lastAllocationSize == (width + 3) / 4 * 4 * height); // mask
        roiUninit(&roi);
    }
}

} // namespace
