#include "support/allocation_hook.h"
#include "support/arena.h"
#include "support/plain_sharpness.h"
#include "support/random.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <memory>

namespace {

// Plane 0 holds the bytes from the first to the last one that the grid needs, and nothing else.
struct TightImage {
    TightImage(uint32_t format, int32_t width, int32_t height, int32_t pitch,
               const __tag_rect* region, Random& random)
        : image{format, width, height, {}, {pitch, -1, -1, -1}} {
        const __tag_rect grid = plainGrid(width, height, region);
        if (grid.left >= grid.right || grid.top >= grid.bottom)
            return;
        const int64_t pixel = bytesPerPixel(format);
        const int64_t firstRow = pitch < 0 ? grid.bottom - 2 : grid.top;
        const int64_t lastRow = pitch < 0 ? grid.top : grid.bottom - 2;
        const int64_t begin = firstRow * pitch + grid.left * pixel;
        const int64_t end =
            lastRow * pitch + (grid.right - 2) * pixel + (format == 0x501 ? 1 : pixel);
        memory = std::make_unique<GuardedMemory>(static_cast<size_t>(end - begin));
        random.fill(memory->data(), end - begin);
        const auto origin = reinterpret_cast<intptr_t>(memory->data()) - begin;
        image.planes[0] = reinterpret_cast<unsigned char*>(origin);
    }

    __tag_KIRO_OFFSCREEN image;
    std::unique_ptr<GuardedMemory> memory;
};

bool hasAcceptedSize(const __tag_KIRO_OFFSCREEN& image) {
    const uint32_t format = image.format;
    const bool anyWidth = format == 0x101 || format == 0x304;
    const bool evenHeight = format == 0x601 || format == 0x801 || format == 0x802;
    return (anyWidth || image.width % 2 == 0) && (!evenHeight || image.height % 2 == 0);
}

// Measures in an arena that just holds the scratch block.
void expectPlainValue(__tag_KIRO_OFFSCREEN& image, __tag_rect* region) {
    const int64_t scratch = image.width < 4 ? 0 : 2 * ((image.width / 4 + 3) / 4) * 4;
    const Arena arena(std::max<int64_t>(scratch, 8));
    float sharpness = -7.0f;
    lastAllocationSize = 0;
    const bool accepted = hasAcceptedSize(image);
    ASSERT_EQ(imgEvaluateSharpness(arena.handle(), &image, &sharpness, region),
              accepted ? ERR_NONE : ERR_INVALID_PARAM);
    const float expected = accepted ? plainSharpness(image, region) : -7.0f;
    ASSERT_EQ(std::bit_cast<uint32_t>(sharpness), std::bit_cast<uint32_t>(expected))
        << image.format << ' ' << image.width << 'x' << image.height << ' ' << image.pitches[0];
    ASSERT_EQ(lastAllocationSize, accepted ? scratch : 0);
    ASSERT_EQ(arena.blocksInUse(), 0);
}

TEST(Sharpness, RandomImagesMatchTheDefinitionWithinTheirLastByte) {
    Random random;
    for (int i = 0; i < 6000 && !HasFatalFailure(); ++i) {
        const auto format =
            random.oneOf({0x601u, 0x603u, 0x801u, 0x802u, 0x803u, 0x501u, 0x101u, 0x304u});
        const auto width = random.between<int32_t>(1, random.oneOf<int64_t>({12, 60, 400}));
        const auto height = random.between<int32_t>(1, random.oneOf<int64_t>({12, 60}));
        const auto pitch = static_cast<int32_t>(
            width * bytesPerPixel(format) + random.between(0, random.oneOf<int64_t>({0, 9, 3000})));
        const __tag_rect given = random.rectInside(width, height);
        __tag_rect region = given;
        __tag_rect* const chosen = random.chance(50) ? &region : nullptr;
        TightImage tight(format, width, height, random.chance(30) ? -pitch : pitch, chosen, random);
        expectPlainValue(tight.image, chosen);
        ASSERT_EQ(std::memcmp(&region, &given, sizeof given), 0);
    }
    for (const uint32_t format : {0x601u, 0x501u, 0x101u, 0x304u}) { // every rounding occurs
        TightImage tight(format, 1600, 1600, 6400, nullptr, random);
        expectPlainValue(tight.image, nullptr);
    }
    for (const int32_t side : {0, -8}) { // nothing to measure
        for (const int32_t other : {100, side}) {
            __tag_KIRO_OFFSCREEN images[] = {{0x101, side, other, {}, {}},
                                             {0x101, other, side, {}, {}}};
            for (__tag_KIRO_OFFSCREEN& image : images)
                expectPlainValue(image, nullptr);
        }
    }
}

TEST(Sharpness, RowsLongerThanOneRunOfTheSum) {
    std::vector<unsigned char> row((1 << 22) + 64);
    for (size_t x = 0; x < row.size(); ++x)
        row[x] = x / 4 % 2 == 0 ? 0 : 255;
    const auto width = static_cast<int32_t>(row.size());
    // A pitch of 0 repeats the row, which keeps the image small.
    __tag_KIRO_OFFSCREEN image = {0x601, width, 12, {row.data()}, {0}};
    __tag_rect whole = {0, 0, width, 12};
    expectPlainValue(image, &whole);
}

TEST(Sharpness, GridOfTheCentreAndStepEdge) {
    const auto gridOf = [](int32_t width, int32_t height) {
        const __tag_rect r = plainGrid(width, height, nullptr);
        return std::vector{r.left, r.top, r.right, r.bottom};
    };
    EXPECT_EQ(gridOf(800, 600), (std::vector{60, 60, 740, 540}));
    EXPECT_EQ(gridOf(1920, 1080), (std::vector{108, 108, 1812, 972}));
    unsigned char pixels[256];
    for (size_t i = 0; i < 256; ++i)
        pixels[i] = i % 16 < 8 ? 0 : 255;
    __tag_KIRO_OFFSCREEN image = {0x601, 16, 16, {pixels}, {16}};
    EXPECT_EQ(plainSharpness(image, nullptr), 56.666668f);
    expectPlainValue(image, nullptr);
}

TEST(Blur, ScoreIsTheRoundedSharpness) {
    Random random;
    const Arena arena(1 << 12);
    _tag_DRAV_ENGINE* engine = nullptr;
    ASSERT_EQ(DRAV_Init(arena.handle(), &engine), ERR_NONE);
    _tag_DRAV_DATA result = {};
    const void* record = nullptr;
    for (int i = 0; i < 500; ++i) {
        const auto width = 2 * random.between<int32_t>(0, 50);
        const auto height = 2 * random.between<int32_t>(0, 50);
        TightImage tight(random.oneOf({0x601u, 0x603u, 0x802u}), width, height, width, nullptr,
                         random);
        ASSERT_EQ(DRAV_DetectBlur(engine, &tight.image, &result), ERR_NONE);
        record = i == 0 ? result.data : record;
        ASSERT_TRUE(result.size == 16 && result.data == record);
        const float sharpness = plainSharpness(tight.image, nullptr);
        const _tag_DRAV_BLURRESULT expected = {
            width, height, tight.image.format,
            static_cast<int32_t>(std::fma(sharpness, 10000.0f, 0.5f))};
        tight.image.width = 1; // refused, and what is stored stays
        ASSERT_EQ(DRAV_DetectBlur(engine, &tight.image, &result), ERR_INVALID_PARAM);
        ASSERT_EQ(std::memcmp(record, &expected, sizeof expected), 0);
    }
    EXPECT_EQ(DRAV_Uninit(&engine), ERR_NONE);
    EXPECT_EQ(engine, nullptr);
    EXPECT_EQ(DRAV_Uninit(&engine), ERR_NONE);
    EXPECT_EQ(DRAV_Uninit(nullptr), ERR_NONE);
    EXPECT_TRUE(arena.isEmpty());
}

} // namespace
