// The changed region against its steps in plain loops; the filters among them are taken as given.
#include "roi/context.h"
#include "support/alignment_frames.h"
#include "support/allocation_hook.h"
#include "support/arena.h"

#include <gtest/gtest.h>

namespace {

using Values = std::array<double, 7>;

Values valuesOf(const _tag_ROI_INFO& i) {
    return {double(i.rect.left), double(i.rect.top), double(i.rect.right), double(i.rect.bottom),
            i.changedRatio,      double(i.dx),       double(i.dy)};
}
const _tag_ROI_INFO untouched = {{7, 7, 7, 7}, 7.0f, 7, 7};

__tag_rect plainBox(const unsigned char* mask, int32_t width, int32_t height, int64_t pitch,
                    int background) {
    __tag_rect box = {width, height, 0, 0};
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x)
            if (mask[y * pitch + x] != background)
                box = {std::min(box.left, x), std::min(box.top, y), std::max(box.right, x + 1),
                       y + 1};
    return box.right - box.left > 1 ? box : __tag_rect{};
}

_tag_ROI_INFO plainRegion(const AlignmentFrame& first, const AlignmentFrame& second, Bytes& mask) {
    const int32_t w = first.image.width;
    const int32_t h = first.image.height;
    const int64_t pitch = (w + 3) / 4 * 4;
    const Displacement d = PlainAligner{}.align(first.image, second.image);
    mask.assign(static_cast<size_t>(h * pitch), 128);
    unsigned char* const m = mask.data();
    for (int64_t y = std::abs(d.y); y < h - std::abs(d.y); ++y)
        for (int64_t x = std::abs(d.x); x < w - std::abs(d.x); ++x)
            m[(y - d.y) * pitch + x - d.x] = static_cast<unsigned char>(
                (lumaAt(first.image, x, y) - lumaAt(second.image, x - d.x, y - d.y) + 255) / 2);
    GB_GaussianBlurA(nullptr, m, w, h, pitch, 0, m, std::min(w, h) / 128);
    for (unsigned char& value : mask)
        value = value < 100 ? 0 : value <= 150 ? 128 : 255;
    sbrOpen(nullptr, m, w, h, pitch, 1, m, std::min(w, h) / 100);
    sbrClose(nullptr, m, w, h, pitch, 1, m, std::min(w, h) / 100);
    const __tag_rect box = plainBox(m, w, h, pitch, 128);
    const auto changed = box.right == 0 ? 0 : h * pitch - std::count(m, m + h * pitch, 128);
    return {box, float(changed) / float(w) / float(h), d.x, d.y};
}

void plant(AlignmentFrame& frame, const __tag_rect& block, int change) {
    frame.paint([&](int64_t x, int64_t y) {
        const bool inside =
            x >= block.left && x < block.right && y >= block.top && y < block.bottom;
        return lumaAt(frame.image, x, y) + (inside ? change : 0);
    });
}

struct Region {
    void* roi = nullptr;
    _tag_ROI_INFO info = untouched;

    Region(int64_t width, int64_t height) { roiInit(nullptr, width, height, 0x601, &roi); }
    ~Region() { roiUninit(&roi); }
    long compare(__tag_KIRO_OFFSCREEN* first, __tag_KIRO_OFFSCREEN* second) {
        _tag_DRAV_ALIGNMENT alignment{};
        return roiCalculate(roi, first, second, &alignment, &info);
    }
    const unsigned char* mask() const { return static_cast<_tag_ROI_CONTEXT*>(roi)->mask; }
};

TEST(ChangedRegion, MatchesItsPlainSteps) {
    Random random;
    for (int i = 0; i < 40; ++i) {
        const int64_t width = random.between(100, 320);
        const int64_t height = random.between(100, 290);
        const int64_t format = random.oneOf<int64_t>({0x601, 0x603, 0x802});
        Region region(width, height);
        for (int call = 0; call < 2; ++call) {
            AlignmentFrame first(random, width, height, format, random.between(0, 9));
            AlignmentFrame second(random, width, height, format, random.between(0, 9));
            paintPair(random, first, second, 9);
            for (AlignmentFrame* const frame : {&first, &second})
                plant(*frame, random.rectInside(first.image.width, first.image.height),
                      random.between<int>(-120, 120));
            Bytes mask;
            const _tag_ROI_INFO expected = plainRegion(first, second, mask);
            ASSERT_EQ(ERR_NONE, region.compare(&first.image, &second.image));
            ASSERT_EQ(valuesOf(expected), valuesOf(region.info)) << width << " x " << height;
            ASSERT_TRUE(std::equal(mask.begin(), mask.end(), region.mask()));
        }
    }
}

TEST(ChangedRegion, IsBoundedByItsMask) {
    Random random;
    for (int i = 0; i < 500; ++i) {
        AlignmentFrame frame(random, random.between(1, 40), random.between(1, 9), 0x601, 3);
        const auto density = random.between(0, 5);
        frame.paint([&](int64_t, int64_t) { return random.chance(density); });
        __tag_rect box = untouched.rect;
        FindMaskBBox(&frame.image, &box);
        const __tag_rect expected =
            plainBox(frame.plane.data(), frame.image.width, frame.image.height, frame.pitch, 0);
        ASSERT_EQ(0, std::memcmp(&expected, &box, sizeof box)) << box.left << ", " << box.top;
    }
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
    std::array<__tag_KIRO_OFFSCREEN, 5> misfits;
    misfits.fill(frame.image);
    --misfits[0].width;
    --misfits[1].height;
    --misfits[2].pitches[0];
    misfits[3].planes[0] = nullptr;
    misfits[4].format = 0x501;
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
                                         {0, 1, 0x601, ERR_INVALID_PARAM},
                                         {1, 0, 0x601, ERR_INVALID_PARAM},
                                         {1, 1, 0x501, ERR_INVALID_PARAM},
                                         {INT64_MAX, 1, 0x601, ERR_NO_MEMORY},
                                         {9, INT64_MAX, 0x601, ERR_NO_MEMORY}};
    for (const auto& [width, height, format, code] : inits) {
        void* roi = nullptr;
        EXPECT_EQ(code, roiInit(nullptr, width, height, format, &roi)) << width << " x " << height;
        EXPECT_TRUE(roi == nullptr || lastAllocationSize == 8 * 3); // the mask
        roiUninit(&roi);
    }
}

TEST(ChangedRegion, SurvivesEveryFailedAllocation) {
    Random random;
    AlignmentFrame first(random, 530, 256, 0x601, 3);
    AlignmentFrame second(random, 530, 256, 0x601, 0);
    paintPair(random, first, second, 9);
    Bytes mask;
    const Values expected = valuesOf(plainRegion(first, second, mask));
    const Arena arena(1 << 20);
    // Fails the n-th allocation of a first or later call. False when there is none.
    const auto failsAt = [&](int n, bool isLater) {
        Region region(0, 0);
        allocationsUntilFailure = isLater ? -1 : n;
        long code = roiInit(arena.handle(), 530, 256, 0x601, &region.roi);
        if (region.roi != nullptr && isLater)
            region.compare(&first.image, &second.image);
        if (region.roi != nullptr) {
            region.info = untouched;
            allocationsUntilFailure = isLater ? n : allocationsUntilFailure;
            code = region.compare(&first.image, &second.image);
            allocationsUntilFailure = -1;
            EXPECT_EQ(code == ERR_NONE ? expected : valuesOf(untouched), valuesOf(region.info));
            EXPECT_EQ(ERR_NONE, region.compare(&first.image, &second.image));
            EXPECT_EQ(expected, valuesOf(region.info));
        }
        roiUninit(&region.roi);
        EXPECT_TRUE(region.roi == nullptr && arena.isEmpty());
        EXPECT_TRUE(code == ERR_NONE || code == ERR_NO_MEMORY);
        return code != ERR_NONE;
    };
    for (const bool isLater : {false, true}) {
        int failures = 0;
        while (failsAt(failures, isLater))
            ++failures;
        EXPECT_GT(failures, isLater ? 3 : 12);
    }
}

} // namespace
