// The changed region against its steps in plain loops; the filters between them are taken as given.
#include "roi/context.h"
#include "support/alignment_frames.h"
#include "support/allocation_hook.h"
#include "support/arena.h"

#include <gtest/gtest.h>

namespace {

__tag_rect plainBox(const Bytes& mask, int64_t width, int64_t height, int64_t pitch,
                    int background) {
    __tag_rect box = {INT32_MAX, INT32_MAX, 0, 0};
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x)
            if (mask[static_cast<size_t>(y * pitch + x)] != background)
                box = {std::min(box.left, x), std::min(box.top, y), std::max(box.right, x + 1),
                       std::max(box.bottom, y + 1)};
    return box.right > box.left && box.right - box.left > 1 ? box : __tag_rect{};
}

_tag_ROI_INFO plainRegion(AlignmentFrame& first, AlignmentFrame& second, Bytes& mask) {
    const int64_t w = first.image.width;
    const int64_t h = first.image.height;
    const int64_t pitch = (w + 3) / 4 * 4;
    long pairs[2][2];
    long* results[2] = {pairs[0], pairs[1]};
    _tag_ZEP_NS_INPUTINFO input = {.count = 2, .images = {&first.image, &second.image}};
    void* alignment = nullptr;
    Alignment_Init(nullptr, &alignment);
    Image_Alignment_Video(alignment, &input, 0, results, 1);
    Alignment_Uninit(&alignment);
    const auto [dx, dy] = pairs[1];

    mask.assign(static_cast<size_t>(h * pitch), 128);
    for (int64_t y = std::abs(dy); y < h - std::abs(dy); ++y)
        for (int64_t x = std::abs(dx); x < w - std::abs(dx); ++x)
            mask[static_cast<size_t>((y - dy) * pitch + x - dx)] = static_cast<unsigned char>(
                (lumaAt(first.image, x, y) - lumaAt(second.image, x - dx, y - dy) + 255) / 2);
    unsigned char* const m = mask.data();
    GB_GaussianBlurA(nullptr, m, w, h, pitch, 0, m, std::min(w, h) / 128);
    for (int64_t i = 0; i < h * pitch; ++i)
        m[i] = i % pitch >= w || (m[i] >= 100 && m[i] <= 150) ? 128 : m[i] < 100 ? 0 : 255;
    sbrOpen(nullptr, m, w, h, pitch, 1, m, std::min(w, h) / 100);
    sbrClose(nullptr, m, w, h, pitch, 1, m, std::min(w, h) / 100);

    const __tag_rect box = plainBox(mask, w, h, pitch, 128);
    int64_t changed = 0;
    for (int64_t y = box.top; y < box.bottom; ++y)
        for (int64_t x = box.left; x < box.right; ++x)
            changed += m[y * pitch + x] != 128;
    return {box, static_cast<float>(changed) / static_cast<float>(w) / static_cast<float>(h), dx,
            dy};
}

struct Region {
    void* roi = nullptr;
    _tag_ROI_INFO info;
    _tag_DRAV_ALIGNMENT alignment{};

    Region(int64_t width, int64_t height, void* memHandle = nullptr) {
        std::memset(&info, 0x77, sizeof info);
        roiInit(memHandle, width, height, 0x601, &roi);
    }
    ~Region() { roiUninit(&roi); }
    long compare(__tag_KIRO_OFFSCREEN* first, __tag_KIRO_OFFSCREEN* second) {
        return roiCalculate(roi, first, second, &alignment, &info);
    }
    unsigned char* mask() const { return static_cast<_tag_ROI_CONTEXT*>(roi)->mask; }
    bool isUntouched() const {
        const Bytes before(sizeof info, 0x77);
        return std::memcmp(&info, before.data(), sizeof info) == 0;
    }
};

void expectSame(const _tag_ROI_INFO& expected, const _tag_ROI_INFO& info) {
    ASSERT_EQ(0, std::memcmp(&expected.rect, &info.rect, sizeof info.rect));
    ASSERT_EQ(expected.changedRatio, info.changedRatio);
    ASSERT_TRUE(expected.dx == info.dx && expected.dy == info.dy);
}

// One scene from two places; in one of the frames blocks are brighter or darker.
void paintChange(Random& random, AlignmentFrame& first, AlignmentFrame& second) {
    const Scene scene{random.between<uint64_t>(0, INT64_MAX)};
    const Displacement d{random.between(-9, 9), random.between(-9, 9)};
    const int64_t blocks = random.between(0, 3);
    first.paint([&](int64_t x, int64_t y) { return scene.at(x, y); });
    second.paint([&](int64_t x, int64_t y) { return scene.at(x + d.x, y + d.y); });
    for (int64_t i = 0; i < blocks; ++i) {
        const __tag_rect block = random.rectInside(first.image.width, first.image.height);
        AlignmentFrame& changed = random.chance(50) ? first : second;
        const int64_t change = random.between(-120, 120);
        changed.paint([&](int64_t x, int64_t y) {
            const bool inside = x >= block.left && x < std::min(block.right, block.left + 40) &&
                                y >= block.top && y < std::min(block.bottom, block.top + 40);
            return lumaAt(changed.image, x, y) + (inside ? change : 0);
        });
    }
}

TEST(ChangedRegion, MatchesItsPlainSteps) {
    Random random;
    int changes = 0;
    for (int i = 0; i < 20; ++i) {
        const int64_t width = random.between(190, 330);
        const int64_t height = random.between(140, 265);
        const int64_t format = random.oneOf<int64_t>({0x601, 0x603, 0x802});
        Region region(width, height);
        for (int call = 0; call < 2; ++call) {
            AlignmentFrame first(random, width, height, format, random.between(0, 9));
            AlignmentFrame second(random, width, height, format, random.between(0, 9));
            paintChange(random, first, second);
            Bytes mask;
            const _tag_ROI_INFO expected = plainRegion(first, second, mask);
            ASSERT_EQ(ERR_NONE, region.compare(&first.image, &second.image));
            ASSERT_NO_FATAL_FAILURE(expectSame(expected, region.info));
            ASSERT_TRUE(std::equal(mask.begin(), mask.end(), region.mask()));
            changes += expected.rect.right > 0;
        }
    }
    EXPECT_GT(changes, 10);
}

TEST(ChangedRegion, CutsWhereItShould) {
    Random random;
    const std::pair<int, int> classes[] = {{46, 128}, {47, 255}, {-55, 128}, {-56, 0}};
    for (const auto& [difference, expected] : classes) {
        AlignmentFrame first(random, 200, 150, 0x601, 3);
        AlignmentFrame second(random, 200, 150, 0x601, 0);
        first.paint([&](int64_t, int64_t) { return 100 + difference; });
        second.paint([](int64_t, int64_t) { return 100; });
        Region region(200, 150);
        ASSERT_EQ(ERR_NONE, region.compare(&first.image, &second.image));
        EXPECT_EQ(expected, region.mask()[0]) << difference;
        EXPECT_EQ(expected == 128 ? 0.0f : 1.0f, region.info.changedRatio);
    }
    // A block 120 levels brighter grows by one pixel, and the opening and the closing each lift it
    // by one row.
    AlignmentFrame first(random, 800, 600, 0x601, 0);
    AlignmentFrame second(random, 800, 600, 0x601, 0);
    const Scene scene{5};
    const auto background = [&](int64_t x, int64_t y) { return scene.at(x, y) / 2; };
    second.paint(background);
    first.paint([&](int64_t x, int64_t y) {
        return background(x, y) + (x >= 300 && x < 340 && y >= 200 && y < 230 ? 120 : 0);
    });
    Region region(800, 600);
    ASSERT_EQ(ERR_NONE, region.compare(&first.image, &second.image));
    const __tag_rect& r = region.info.rect;
    EXPECT_EQ("299 197 341 229",
              testing::PrintToString(r.left) + " " + testing::PrintToString(r.top) + " " +
                  testing::PrintToString(r.right) + " " + testing::PrintToString(r.bottom));
    EXPECT_EQ(0.0f, region.info.changedRatio * 480000);
}

} // namespace
