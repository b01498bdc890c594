// The changed region in the plain steps that the tool uses for its masks as well; the alignment and
// the filters among them are taken as given.
#include "analysis/difference_mask.h"
#include "roi/context.h"
#include "support/alignment_frames.h"

#include <cstring>

namespace {

using Values = std::array<double, 7>;

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

Values plainRegion(AlignmentFrame& first, AlignmentFrame& second, Bytes& mask) {
    const int32_t w = first.image.width;
    const int32_t h = first.image.height;
    const Context context;
    const Displacement d = align(context.handle, &first.image, &second.image).of(1);
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
    return {double(box.left),
            double(box.top),
            double(box.right),
            double(box.bottom),
            float(changed) / float(w) / float(h),
            double(d.x),
            double(d.y)};
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

    Region(int64_t width, int64_t height) { roiInit(nullptr, width, height, 0x601, &roi); }
    ~Region() { roiUninit(&roi); }
    Values compare(AlignmentFrame& first, AlignmentFrame& second) const {
        _tag_DRAV_ALIGNMENT alignment{};
        _tag_ROI_INFO i = {};
        EXPECT_EQ(ERR_NONE, roiCalculate(roi, &first.image, &second.image, &alignment, &i));
        return {double(i.rect.left),   double(i.rect.top), double(i.rect.right),
                double(i.rect.bottom), i.changedRatio,     double(i.dx),
                double(i.dy)};
    }
    const unsigned char* mask() const { return static_cast<_tag_ROI_CONTEXT*>(roi)->mask; }
};

// Calls on one context.
void expectRegion(Random& random) {
    const int64_t shortest = random.chance(75) ? 100 : 512;
    const auto width = random.between(shortest, shortest + 200);
    const auto height = random.between(shortest, shortest + (shortest == 100 ? 190 : 18));
    Region region(width, height);
    for (int call = 0; call < 2; ++call) {
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
            const __tag_rect block = random.rectInside(first.image.width, first.image.height);
            plant(*frame, block, random.between<int>(-most, most));
        }
        Bytes mask;
        const Values expected = plainRegion(first, second, mask),
                     found = region.compare(first, second);
        ASSERT_EQ(expected, found) << width << " x " << height;
        ASSERT_TRUE(std::equal(mask.begin(), mask.end(), region.mask()));
        noteBytes(found.data(), sizeof found);
    }
}

void expectBounded(Random& random) {
    const int64_t width = random.between(1, random.chance(50) ? 40 : 300);
    AlignmentFrame frame(random, width, random.between(1, 9), 0x601, 3);
    const auto density = random.between(0, width > 40 ? 1 : 5);
    frame.paint([&](int64_t, int64_t) { return random.chance(density); });
    __tag_rect box = {7, 7, 7, 7};
    FindMaskBBox(&frame.image, &box);
    const __tag_rect expected =
        plainBox(frame.plane.data(), frame.image.width, frame.image.height, frame.pitch, 0);
    ASSERT_EQ(0, std::memcmp(&expected, &box, sizeof box)) << box.left << ", " << box.top;
    note(box);
}

const Register registered{{
    {"ChangedRegion", 25, 0xA328CFF7B0359BFC, expectRegion},
    {"MaskBox", 400, 0xA4E3528853316028, expectBounded},
}};

TEST(ChangedRegion, CutsAtItsLimits) {
    Random random;
    const auto regionOf = [&](int64_t width, int64_t height, const __tag_rect& block, int change) {
        AlignmentFrame first(random, width, height, 0x601, 3);
        AlignmentFrame second(random, width, height, 0x601, 0);
        for (AlignmentFrame* const frame : {&first, &second})
            frame->paint([](int64_t, int64_t) { return 100; });
        plant(first, block, change);
        return Region(width, height).compare(first, second);
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

} // namespace
