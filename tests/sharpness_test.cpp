// The sharpness measure beside its definition, one pixel at a time.
#include "api/engine.h"
#include "support/allocation_hook.h"
#include "support/arena.h"
#include "support/cases.h"

#include <bit>
#include <cmath>

namespace {

// The edges of the sampled area, all multiples of 4.
__tag_rect plainGrid(int32_t width, int32_t height, const __tag_rect* region) {
    const auto down4 = [](int32_t value) { return value / 4 * 4; };
    if (region != nullptr)
        return {down4(region->left), down4(region->top), down4(region->right),
                down4(region->bottom)};
    const int32_t side = std::min(width, height);
    const int32_t margin = side - static_cast<int32_t>(static_cast<float>(side) * 0.8f);
    const int32_t cropWidth = down4(width - margin);
    const int32_t cropHeight = down4(height - margin);
    const int32_t left = down4((width - cropWidth) / 2);
    const int32_t top = down4((height - cropHeight) / 2);
    return {left, top, down4(std::min(left + cropWidth, width)),
            down4(std::min(top + cropHeight, height))};
}

int32_t bytesPerPixel(uint32_t format) {
    return format == 0x304 ? 4 : format == 0x501 || format == 0x101 ? 2 : 1;
}

int plainSample(const __tag_KIRO_OFFSCREEN& image, int64_t x, int64_t y) {
    int sums[3] = {}; // of luma, or of red, green and blue
    for (const int64_t row : {y, y + 2}) {
        for (const int64_t column : {x, x + 2}) {
            const unsigned char* const p =
                image.planes[0] + row * image.pitches[0] + column * bytesPerPixel(image.format);
            const int word = image.format == 0x101 ? p[0] + 256 * p[1] : 0;
            const int fields[] = {word / 2048, word / 32 % 64, word % 32};
            for (int i = 0; i < 3; ++i)
                sums[i] += image.format == 0x101   ? fields[i]
                           : image.format == 0x304 ? p[i + 1]
                           : i == 0                ? p[0]
                                                   : 0;
        }
    }
    if (image.format == 0x101)
        return (9798 * sums[0] + 9617 * sums[1] + 3736 * sums[2] + 8192) / 16384;
    if (image.format == 0x304)
        return (4899 * sums[0] + 9617 * sums[1] + 1868 * sums[2] + 8192) / 65536;
    return (sums[0] + 2) / 4;
}

// For arguments that are accepted; 0 where there is no grid.
float plainSharpness(const __tag_KIRO_OFFSCREEN& image, const __tag_rect* region) {
    const __tag_rect grid = plainGrid(image.width, image.height, region);
    if (grid.left >= grid.right || grid.top >= grid.bottom)
        return 0.0f;
    int64_t sum = 0;
    std::vector<int> above;
    for (int64_t y = grid.top; y < grid.bottom; y += 4) {
        std::vector<int> row;
        for (int64_t x = grid.left; x < grid.right; x += 4)
            row.push_back(plainSample(image, x, y));
        for (size_t x = 1; !above.empty() && x < row.size(); ++x)
            sum += std::abs(row[x - 1] - row[x]) + std::abs(above[x] - row[x]);
        above = row;
    }
    return static_cast<float>(sum) / static_cast<float>((grid.right - grid.left) / 4) /
           static_cast<float>((grid.bottom - grid.top) / 4);
}

bool hasAcceptedSize(const __tag_KIRO_OFFSCREEN& image) {
    const uint32_t format = image.format;
    const bool anyWidth = format == 0x101 || format == 0x304;
    const bool evenHeight = format == 0x601 || format == 0x801 || format == 0x802;
    return (anyWidth || image.width % 2 == 0) && (!evenHeight || image.height % 2 == 0);
}

// Measures in an arena that just holds the scratch block.
void expectSharpness(__tag_KIRO_OFFSCREEN& image, __tag_rect* region) {
    const int64_t scratch = image.width < 4 ? 0 : 2 * ((image.width / 4 + 3) / 4) * 4;
    const Arena arena(std::max<int64_t>(scratch, 8));
    const bool accepted = hasAcceptedSize(image);
    const long code = accepted ? ERR_NONE : ERR_INVALID_PARAM;
    const float expected = accepted ? plainSharpness(image, region) : -7.0f;
    float sharpness = -7.0f;
    lastAllocationSize = 0;
    ASSERT_EQ(imgEvaluateSharpness(arena.handle(), &image, &sharpness, region), code);
    ASSERT_EQ(__builtin_bit_cast(uint32_t, sharpness), __builtin_bit_cast(uint32_t, expected))
        << image.format << ' ' << image.width << 'x' << image.height << ' ' << image.pitches[0];
    note(sharpness);
    ASSERT_EQ(lastAllocationSize, accepted ? scratch : 0);
    ASSERT_TRUE(arena.isEmpty() || scratch == 0);
    if (region != nullptr ||
        (image.format != 0x601 && image.format != 0x603 && image.format != 0x802))
        return;
    _tag_DRAV_ENGINE* engine = nullptr;
    _tag_DRAV_DATA blur = {};
    DRAV_Init(nullptr, &engine);
    ASSERT_EQ(DRAV_DetectBlur(engine, &image, &blur), code);
    const _tag_DRAV_BLURRESULT result = {image.width, image.height, image.format,
                                         static_cast<int32_t>(std::fma(expected, 10000.0f, 0.5f))};
    ASSERT_EQ(blur.data, accepted ? &engine->blurResult : nullptr);
    ASSERT_EQ(blur.size, accepted ? 16 : 0);
    ASSERT_TRUE(!accepted || std::memcmp(blur.data, &result, sizeof result) == 0);
    noteBytes(blur.data, blur.size);
    DRAV_Uninit(&engine);
}

// Plane 0 holds the bytes from the first to the last one that the grid needs, and nothing else.
void expectTightSharpness(Random& random, __tag_KIRO_OFFSCREEN image, __tag_rect* region) {
    const __tag_rect grid = plainGrid(image.width, image.height, region);
    const int64_t pixel = bytesPerPixel(image.format);
    const int64_t first = grid.top * int64_t{image.pitches[0]};
    const int64_t last = (grid.bottom - 2) * int64_t{image.pitches[0]};
    const int64_t begin = std::min(first, last) + grid.left * pixel;
    const int64_t end =
        std::max(first, last) + (grid.right - 2) * pixel + (image.format == 0x501 ? 1 : pixel);
    const bool isEmpty = grid.left >= grid.right || grid.top >= grid.bottom;
    const GuardedMemory memory(isEmpty ? 0 : static_cast<size_t>(end - begin));
    if (!isEmpty) {
        random.fill(memory.data(), end - begin);
        image.planes[0] =
            reinterpret_cast<unsigned char*>(reinterpret_cast<intptr_t>(memory.data()) - begin);
    }
    expectSharpness(image, region);
}

void expectAnySharpness(Random& random) {
    const auto format =
        random.oneOf({0x601u, 0x603u, 0x801u, 0x802u, 0x803u, 0x501u, 0x101u, 0x304u});
    const auto side = [&](int64_t most) {
        return 2 * random.between<int32_t>(0, random.oneOf<int64_t>({6, most})) + random.chance(10);
    };
    const int32_t width = side(random.oneOf<int64_t>({50, 50, 200})), height = side(50);
    const auto padding = random.between<int32_t>(0, random.oneOf<int64_t>({0, 9, 3000}));
    const int32_t pitch = width * bytesPerPixel(format) + padding;
    const __tag_rect given = random.rectInside(std::max(width, 1), std::max(height, 1));
    __tag_rect region = given;
    const bool whole = width == 0 || height == 0 || random.chance(50);
    expectTightSharpness(random, {format, width, height, {}, {random.chance(30) ? -pitch : pitch}},
                         whole ? nullptr : &region);
    ASSERT_EQ(std::memcmp(&region, &given, sizeof given), 0);
}

// Every rounding occurs, and sizes below 0 have no grid.
void expectSharpnessOfLargeImages(Random& random) {
    for (const uint32_t format : {0x601u, 0x501u, 0x101u, 0x304u})
        expectTightSharpness(random, {format, 1600, 1600, {}, {6400}}, nullptr);
    expectTightSharpness(random, {0x101, -8, 100, {}, {}}, nullptr);
    expectTightSharpness(random, {0x101, 100, -8, {}, {}}, nullptr);
    // Longer than one run of the sum. A pitch of 0 repeats the row, which keeps the image small.
    Bytes row((1 << 22) + 64);
    for (size_t x = 0; x < row.size(); ++x)
        row[x] = x / 4 % 2 == 0 ? 0 : 255;
    const auto width = static_cast<int32_t>(row.size());
    __tag_KIRO_OFFSCREEN image = {0x601, width, 12, {row.data()}, {0}};
    __tag_rect whole = {0, 0, width, 12};
    expectSharpness(image, &whole);
}

const Register registered{{
    {"Sharpness", 3000, 0x698209EFBC7AF934, expectAnySharpness},
    {"SharpnessOfLargeImages", 1, 0xA2AF173F2676F66E, expectSharpnessOfLargeImages},
}};

TEST(Sharpness, WorkedExample) {
    const __tag_rect grid = plainGrid(1920, 1080, nullptr);
    EXPECT_TRUE(grid.left == 108 && grid.top == 108 && grid.right == 1812 && grid.bottom == 972);
    unsigned char pixels[256];
    for (size_t i = 0; i < 256; ++i)
        pixels[i] = i % 16 < 8 ? 0 : 255;
    __tag_KIRO_OFFSCREEN image = {0x601, 16, 16, {pixels}, {16}};
    float sharpness = -1;
    EXPECT_EQ(imgEvaluateSharpness(nullptr, &image, &sharpness, nullptr), ERR_NONE);
    EXPECT_EQ(sharpness, 56.666668f);
}

} // namespace
