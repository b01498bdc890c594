#include "support/sharpness_check.h"

namespace {

struct Seed {
    Random random;
};
struct Sharpness : testing::Test, Seed, SharpnessCheck {
    Sharpness() : SharpnessCheck(Seed::random) {}
};

TEST_F(Sharpness, RandomImagesMatchTheDefinitionWithinTheirLastByte) {
    for (int i = 0; i < 6000 && !HasFatalFailure(); ++i)
        measureAny();
    for (const Vectors vectors : {Vectors::Baseline, Vectors::Avx512}) {
        widestVectors = vectors;
        for (const uint32_t format : {0x601u, 0x501u, 0x101u, 0x304u}) // every rounding occurs
            measureTight({format, 1600, 1600, {}, {6400}}, nullptr);
    }
    measureTight({0x101, -8, 100, {}, {}}, nullptr);
    measureTight({0x101, 100, -8, {}, {}}, nullptr);
}

TEST_F(Sharpness, RowsLongerThanOneRunOfTheSum) {
    std::vector<unsigned char> row((1 << 22) + 64);
    for (size_t x = 0; x < row.size(); ++x)
        row[x] = x / 4 % 2 == 0 ? 0 : 255;
    const auto width = static_cast<int32_t>(row.size());
    // A pitch of 0 repeats the row, which keeps the image small.
    __tag_KIRO_OFFSCREEN image = {0x601, width, 12, {row.data()}, {0}};
    __tag_rect whole = {0, 0, width, 12};
    for (const Vectors vectors : {Vectors::Baseline, Vectors::Avx512}) {
        widestVectors = vectors;
        expectPlainValue(image, &whole);
    }
}

TEST_F(Sharpness, WorkedExamples) {
    const __tag_rect grid = plainGrid(1920, 1080, nullptr);
    EXPECT_TRUE(grid.left == 108 && grid.top == 108 && grid.right == 1812 && grid.bottom == 972);
    unsigned char pixels[256];
    for (size_t i = 0; i < 256; ++i)
        pixels[i] = i % 16 < 8 ? 0 : 255;
    __tag_KIRO_OFFSCREEN image = {0x601, 16, 16, {pixels}, {16}};
    EXPECT_EQ(plainSharpness(image, nullptr), 56.666668f);
    expectPlainValue(image, nullptr);
    EXPECT_EQ(expectedBlur.score, 566667);
}

} // namespace
