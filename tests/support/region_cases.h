// The changed region in plain steps; the tool uses the same ones for its masks.
#pragma once

#include "analysis/difference_mask.h"
#include "roi/context.h"
#include "support/alignment_frames.h"

#include <gtest/gtest.h>

using Values = std::array<double, 7>;

inline Values valuesOf(const _tag_ROI_INFO& i) {
    return {double(i.rect.left), double(i.rect.top), double(i.rect.right), double(i.rect.bottom),
            i.changedRatio,      double(i.dx),       double(i.dy)};
}
inline const _tag_ROI_INFO untouched = {{7, 7, 7, 7}, 7.0f, 7, 7};

inline __tag_rect plainBox(const unsigned char* mask, int32_t width, int32_t height, int64_t pitch,
                           int background) {
    __tag_rect box = {width, height, 0, 0};
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x)
            if (mask[y * pitch + x] != background)
                box = {std::min(box.left, x), std::min(box.top, y), std::max(box.right, x + 1),
                       y + 1};
    return box.right - box.left > 1 ? box : __tag_rect{};
}

inline _tag_ROI_INFO plainRegion(const AlignmentFrame& first, const AlignmentFrame& second,
                                 Bytes& mask) {
    const int32_t w = first.image.width;
    const int32_t h = first.image.height;
    const Displacement d = PlainAligner{}.align(first.image, second.image);
    const auto rowsOf = [](const __tag_KIRO_OFFSCREEN& image) {
        return LumaRows{image.planes[0], image.pitches[0]};
    };
    DifferenceMask difference = {w, h};
    EXPECT_EQ(ERR_NONE, difference.compare(rowsOf(first.image), rowsOf(second.image), {d.x, d.y}));
    const int64_t pitch = difference.pitch;
    mask.assign(difference.pixels.begin(), difference.pixels.end());
    const unsigned char* const m = mask.data();
    const __tag_rect box = plainBox(m, w, h, pitch, 128);
    const auto changed = box.right == 0 ? 0 : h * pitch - std::count(m, m + h * pitch, 128);
    return {box, float(changed) / float(w) / float(h), d.x, d.y};
}

inline void plant(AlignmentFrame& frame, const __tag_rect& block, int change) {
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

// Calls on one context.
inline void compareRegions(Random& random, int64_t width, int64_t height, int calls = 2) {
    Region region(width, height);
    for (int call = 0; call < calls; ++call) {
        const int64_t format = random.oneOf<int64_t>({0x601, 0x603, 0x802});
        AlignmentFrame first(random, width, height, format, random.between(0, 9));
        AlignmentFrame second(random, width, height, format, random.between(0, 9));
        if (random.chance(20))
            second.turnOver();
        paintPair(random, first, second, 9);
        const bool calm = random.chance(50); // so that most rows need no smoothing
        const int most = calm ? 60 : 120;
        for (AlignmentFrame* const frame : {&first, &second}) {
            if (calm)
                frame->paint([](int64_t, int64_t) { return 100; });
            plant(*frame, random.rectInside(first.image.width, first.image.height),
                  random.between<int>(-most, most));
        }
        Bytes mask;
        const _tag_ROI_INFO expected = plainRegion(first, second, mask);
        ASSERT_EQ(ERR_NONE, region.compare(&first.image, &second.image));
        ASSERT_EQ(valuesOf(expected), valuesOf(region.info)) << width << " x " << height;
        ASSERT_TRUE(std::equal(mask.begin(), mask.end(), region.mask()));
    }
}

inline void expectBounded(Random& random) {
    const int64_t width = random.between(1, random.chance(50) ? 40 : 300);
    AlignmentFrame frame(random, width, random.between(1, 9), 0x601, 3);
    const auto density = random.between(0, width > 40 ? 1 : 5);
    frame.paint([&](int64_t, int64_t) { return random.chance(density); });
    __tag_rect box = untouched.rect;
    FindMaskBBox(&frame.image, &box);
    const __tag_rect expected =
        plainBox(frame.plane.data(), frame.image.width, frame.image.height, frame.pitch, 0);
    ASSERT_EQ(0, std::memcmp(&expected, &box, sizeof box)) << box.left << ", " << box.top;
}
