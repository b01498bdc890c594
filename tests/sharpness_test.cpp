#include "sharpness/region.h"
#include "support/allocation_hook.h"
#include "support/arena.h"
#include "support/plain_sharpness.h"
#include "support/random.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <memory>

namespace {

constexpr float untouched = -7.0f;
constexpr uint32_t sampledFormats[] = {0x601, 0x603, 0x801, 0x802, 0x803, 0x501, 0x101, 0x304};

bool needsEvenWidth(uint32_t format) { return format != 0x101 && format != 0x304; }
bool needsEvenHeight(uint32_t format) {
    return format == 0x601 || format == 0x801 || format == 0x802;
}

// Plane 0 holds the bytes from the first to the last one that the grid needs, and nothing else.
struct TightImage {
    TightImage(uint32_t format, int32_t width, int32_t height, int32_t pitch,
               const __tag_rect* region, Random& random)
        : descriptor{format, width, height, {}, {pitch, -1, -1, -1}} {
        const PlainGrid grid = plainGrid(width, height, region);
        if (grid.columns() < 1 || grid.rows() < 1)
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
        descriptor.planes[0] = reinterpret_cast<unsigned char*>(origin);
    }

    __tag_KIRO_OFFSCREEN descriptor;
    std::unique_ptr<GuardedMemory> memory;
};

// Measures in an arena that just holds the scratch block.
void expectPlainValue(__tag_KIRO_OFFSCREEN& image, __tag_rect* region) {
    const __tag_rect given = region != nullptr ? *region : __tag_rect{};
    const int64_t scratch = 2 * ((image.width / 4 + 3) / 4) * 4;
    const Arena arena(std::max<int64_t>(scratch, 8));
    float sharpness = untouched;
    lastAllocationSize = 0;
    ASSERT_EQ(imgEvaluateSharpness(arena.handle(), &image, &sharpness, region), ERR_NONE);
    ASSERT_EQ(std::bit_cast<uint32_t>(sharpness),
              std::bit_cast<uint32_t>(plainSharpness(image, region)))
        << image.format << ' ' << image.width << 'x' << image.height << ' ' << image.pitches[0];
    ASSERT_EQ(lastAllocationSize, scratch);
    ASSERT_EQ(arena.blocksInUse(), 0);
    ASSERT_TRUE(region == nullptr || std::memcmp(region, &given, sizeof given) == 0);
}

TEST(Sharpness, RandomImagesMatchTheDefinitionWithinTheirLastByte) {
    Random random;
    for (int i = 0; i < 4000 && !HasFatalFailure(); ++i) {
        const uint32_t format = sampledFormats[i % 8];
        auto width = random.between<int32_t>(1, random.oneOf<int64_t>({12, 60, 400}));
        auto height = random.between<int32_t>(1, random.oneOf<int64_t>({12, 60}));
        width += needsEvenWidth(format) ? width % 2 : 0;
        height += needsEvenHeight(format) ? height % 2 : 0;
        auto pitch = static_cast<int32_t>(width * bytesPerPixel(format) +
                                          random.between(0, random.oneOf<int64_t>({0, 9, 3000})));
        pitch = random.chance(30) ? -pitch : pitch;
        __tag_rect region = random.rectInside(width, height);
        __tag_rect* const chosen = random.chance(50) ? &region : nullptr;
        TightImage image(format, width, height, pitch, chosen, random);
        expectPlainValue(image.descriptor, chosen);
    }
    for (const uint32_t format : {0x601u, 0x501u, 0x101u, 0x304u}) { // every rounding occurs
        TightImage image(format, 1600, 1600, 6400, nullptr, random);
        expectPlainValue(image.descriptor, nullptr);
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

TEST(Sharpness, GridOfTheCentre) {
    EXPECT_EQ(plainGrid(800, 600, nullptr), (PlainGrid{60, 60, 740, 540}));
    EXPECT_EQ(plainGrid(600, 800, nullptr), (PlainGrid{60, 60, 540, 740}));
    EXPECT_EQ(plainGrid(1920, 1080, nullptr), (PlainGrid{108, 108, 1812, 972}));
    EXPECT_EQ(plainGrid(6, 100, nullptr).columns(), 1);
    Random random;
    for (int i = 0; i < 100000; ++i) {
        const int64_t highest = random.oneOf<int64_t>({100, 10000, INT32_MAX});
        const int64_t width = random.between(5, highest);
        const int64_t height = random.between(5, highest);
        const PlainGrid plain = plainGrid(width, height, nullptr);
        const kelvane::SampleGrid grid = kelvane::gridOfCentre(width, height);
        ASSERT_TRUE(grid.left == plain.left && grid.top == plain.top &&
                    grid.columns == plain.columns() && grid.rows == plain.rows())
            << width << 'x' << height;
    }
}

TEST(Sharpness, StepEdge) {
    unsigned char pixels[256];
    for (size_t i = 0; i < 256; ++i)
        pixels[i] = i % 16 < 8 ? 0 : 255;
    __tag_KIRO_OFFSCREEN image = {0x601, 16, 16, {pixels}, {16}};
    float sharpness = 0.0f;
    EXPECT_EQ(imgEvaluateSharpness(nullptr, &image, &sharpness, nullptr), ERR_NONE);
    EXPECT_EQ(sharpness, 56.666668f);
    __tag_rect oneRow = {0, 0, 16, 7};
    EXPECT_EQ(imgEvaluateSharpness(nullptr, &image, &sharpness, &oneRow), ERR_NONE);
    EXPECT_EQ(sharpness, 0.0f);
}

TEST(Sharpness, RefusesInOrderAndLeavesTheOutput) {
    unsigned char pixels[256 * 17];
    const auto measure = [&](uint32_t format, int32_t width, int32_t height, __tag_rect* region) {
        __tag_KIRO_OFFSCREEN image = {format, width, height, {pixels}, {256}};
        float sharpness = untouched;
        allocationsUntilFailure = 0;
        const long code = imgEvaluateSharpness(nullptr, &image, &sharpness, region);
        allocationsUntilFailure = -1;
        EXPECT_EQ(sharpness, untouched);
        return code;
    };
    for (const uint32_t format : {0x503u, 0x201u, 0x600u, 0x602u, 0x800u, 0x100u, 0u, ~0u})
        EXPECT_EQ(measure(format, 16, 16, nullptr), ERR_INVALID_PARAM) << format;
    for (const uint32_t format : sampledFormats) {
        EXPECT_EQ(measure(format, 17, 16, nullptr),
                  needsEvenWidth(format) ? ERR_INVALID_PARAM : ERR_NO_MEMORY);
        EXPECT_EQ(measure(format, 16, 17, nullptr),
                  needsEvenHeight(format) ? ERR_INVALID_PARAM : ERR_NO_MEMORY);
    }
    __tag_rect outside[] = {{0, 0, 17, 16}, {0, 0, 16, 17}, {-1, 0, 16, 16}, {0, -1, 16, 16},
                            {8, 0, 8, 16},  {0, 8, 16, 8},  {9, 0, 8, 16},   {0, 9, 16, 8}};
    for (__tag_rect& region : outside)
        EXPECT_EQ(measure(0x601, 16, 16, &region), ERR_INVALID_PARAM);
    __tag_rect inside[] = {{0, 0, 16, 16}, {15, 15, 16, 16}};
    for (__tag_rect& region : inside)
        EXPECT_EQ(measure(0x601, 16, 16, &region), ERR_NO_MEMORY);
    __tag_KIRO_OFFSCREEN noPlane = {0x601, 16, 16, {}, {16}};
    float sharpness = untouched;
    EXPECT_EQ(imgEvaluateSharpness(nullptr, &noPlane, &sharpness, nullptr), ERR_INVALID_PARAM);
}

TEST(Sharpness, ImagesTooSmallForAGridGiveZero) {
    for (const auto& [width, height] :
         {std::pair{2, 2}, {0, 0}, {2, 100}, {100, 2}, {100, 0}, {-8, 100}, {100, -8}, {3, 100}}) {
        __tag_KIRO_OFFSCREEN image = {0x101, width, height, {}, {}};
        float sharpness = untouched;
        allocationsUntilFailure = width < 4 ? 0 : 1; // a narrow image asks for nothing
        EXPECT_EQ(imgEvaluateSharpness(nullptr, &image, &sharpness, nullptr), ERR_NONE);
        allocationsUntilFailure = -1;
        EXPECT_EQ(std::bit_cast<uint32_t>(sharpness), 0u) << width << 'x' << height;
    }
}

TEST(Blur, ScoreIsTheRoundedSharpness) {
    Random random;
    const Arena arena(1 << 12);
    _tag_DRAV_ENGINE* engine = nullptr;
    ASSERT_EQ(DRAV_Init(arena.handle(), &engine), ERR_NONE);
    _tag_DRAV_DATA result = {};
    const void* record = nullptr;
    _tag_DRAV_BLURRESULT blur;
    for (int i = 0; i < 500; ++i) {
        const auto width = 2 * random.between<int32_t>(0, 50);
        const auto height = 2 * random.between<int32_t>(0, 50);
        TightImage image(random.oneOf({0x601u, 0x603u, 0x802u}), width, height, width, nullptr,
                         random);
        ASSERT_EQ(DRAV_DetectBlur(engine, &image.descriptor, &result), ERR_NONE);
        record = i == 0 ? result.data : record;
        ASSERT_TRUE(result.size == 16 && result.data == record);
        std::memcpy(&blur, result.data, sizeof blur);
        ASSERT_TRUE(blur.width == width && blur.height == height &&
                    blur.format == image.descriptor.format);
        ASSERT_EQ(blur.score, static_cast<int32_t>(std::fma(
                                  plainSharpness(image.descriptor, nullptr), 10000.0f, 0.5f)));
    }
    result = {&result, 1};
    __tag_KIRO_OFFSCREEN image = {0, 0, 0, {}, {}};
    for (const uint32_t format : {0x801u, 0x201u, 0x600u, 0x101u, 0x803u}) {
        image.format = format;
        EXPECT_EQ(DRAV_DetectBlur(engine, &image, &result), ERR_INVALID_PARAM);
    }
    image = {0x601, 3, 2, {}, {}};
    EXPECT_EQ(DRAV_DetectBlur(engine, &image, &result), ERR_INVALID_PARAM);
    EXPECT_EQ(DRAV_DetectBlur(nullptr, &image, &result), ERR_INVALID_PARAM);
    EXPECT_EQ(DRAV_DetectBlur(engine, nullptr, &result), ERR_INVALID_PARAM);
    EXPECT_EQ(DRAV_DetectBlur(engine, &image, nullptr), ERR_INVALID_PARAM);
    EXPECT_TRUE(result.data == &result && result.size == 1);
    EXPECT_EQ(std::memcmp(&blur, record, sizeof blur), 0);

    EXPECT_EQ(DRAV_Uninit(&engine), ERR_NONE);
    EXPECT_EQ(engine, nullptr);
    EXPECT_EQ(DRAV_Uninit(&engine), ERR_NONE);
    EXPECT_EQ(DRAV_Uninit(nullptr), ERR_NONE);
    EXPECT_TRUE(arena.isEmpty());
    EXPECT_EQ(DRAV_Init(arena.handle(), nullptr), ERR_INVALID_PARAM);
}

} // namespace
