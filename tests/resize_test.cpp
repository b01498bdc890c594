// Bilinear resize of one plane, and with conversion to packed 24-bit pixels.
#include "support/resize_cases.h"

namespace {

// Sizes at the ends of the range, rows around the lengths of vectors that spread over few or many
// of them in the source, and random sizes.
template <typename Check>
void forManySizes(const Check& check) {
    Random random;
    const Axis ends[][2] = {{{1, 1}, {1, 2}},     {{65535, 1}, {3, 1}},    {{65534, 700}, {2, 5}},
                            {{2, 2}, {65535, 7}}, {{2, 40000}, {2, 1}},    {{65535, 65534}, {1, 2}},
                            {{64, 64}, {48, 48}}, {{65534, 65535}, {1, 1}}};
    for (const auto& [columns, rows] : ends)
        check(random, columns, rows);
    for (const long width : {16, 31, 32, 33, 63, 64, 65, 97, 129})
        for (const double scale : {0.4, 1.4, 2.0, 2.05, 2.15, 4.1, 5.1, 8.25, 15.2, 30.0})
            for (int round = 0; round < 4; ++round)
                check(random, Axis{std::lround(scale * static_cast<double>(width)), width},
                      Axis{random.between(1, 6), random.between(1, 6)});
    for (int round = 0; round < 1500 && !testing::Test::HasFailure(); ++round) {
        const long most = random.oneOf({12, 12, 12, 90, round % 20 == 0 ? 500 : 90});
        const auto side = [&] { return random.between(1, most); };
        check(random, Axis{side(), side()}, Axis{side(), side()});
    }
}

TEST(Resize, EqualsItsDefinition) {
    forManySizes(expectResized);
    Random random;
    // In single precision the position of the last row is the source's height.
    expectResized(random, {1, 1}, {40001, 9569837});
}

TEST(Resize, DoublesRowsOfEveryLength) {
    Random random;
    for (long width = 1; width <= 200 && !HasFailure(); width += width < 140 ? 1 : 13)
        for (long height = 1; height <= 3; ++height)
            for (int round = 0; round < 6; ++round)
                expectResized(random, {width, 2 * width}, {height, 2 * height});
}

TEST(Resize, RepeatsTheLastColumnAndRoundsHalfUp) {
    unsigned char pixels[] = {10, 21, 20, 31};
    Bytes out(8);
    const Image src = {0x802, 2, 2, {pixels}, {2}};
    Image dst = {0x802, 4, 2, {out.data()}, {4}};
    EXPECT_EQ(imgResize(nullptr, &src, &dst), ERR_NONE);
    EXPECT_EQ(out, (Bytes{10, 16, 21, 21, 20, 26, 31, 31}));
}

TEST(Resize, ReleasesTheBufferThatItReplaces) {
    const Arena arena(112);
    const Axis four = {4, 4};
    void* buffer = nullptr;
    for (int round = 0; round < 2; ++round)
        EXPECT_EQ(prepare(arena.handle(), 1, four, four, &buffer), ERR_NONE);
    void* const held = buffer;
    for (const Axis& bad : {Axis{0, 4}, Axis{-1, 4}, Axis{65536, 4}, Axis{4, 0}, Axis{4, -4}}) {
        EXPECT_EQ(prepare(arena.handle(), 1, bad, four, &buffer), ERR_INVALID_PARAM);
        EXPECT_EQ(prepare(arena.handle(), 1, four, bad, &buffer), ERR_INVALID_PARAM);
    }
    EXPECT_EQ(prepare(arena.handle(), 0, four, four, &buffer), ERR_INVALID_PARAM);
    EXPECT_EQ(prepare(arena.handle(), 1, four, four, nullptr), ERR_INVALID_PARAM);
    EXPECT_TRUE(buffer == held && arena.blocksInUse() == 1);
    for (const long huge : {INT64_MAX / 4, INT64_MAX}) {
        EXPECT_EQ(prepare(arena.handle(), 1, {4, huge}, four, &buffer), ERR_NO_MEMORY);
        EXPECT_EQ(prepare(arena.handle(), 1, four, {4, huge}, &buffer), ERR_NO_MEMORY);
        EXPECT_EQ(prepare(arena.handle(), huge, four, four, &buffer), ERR_NO_MEMORY);
    }
    EXPECT_TRUE(buffer == nullptr && arena.isEmpty());
}

TEST(Resize, RefusesWhatItCannotResize) {
    const unsigned char src[16] = {};
    Bytes dst(32, 7);
    void* buffer = nullptr;
    const auto resize = [&](long channels, long width, long height) {
        return ImageResize_BL(src, 2, 2, 7, channels, dst.data(), width, height, 8, &buffer);
    };
    EXPECT_EQ(resize(1, 3, 3), ERR_INVALID_PARAM);
    // Equal sizes are copied, whatever the channels, and need no buffer.
    EXPECT_EQ(resize(3, 2, 2), ERR_NONE);
    EXPECT_EQ(Bytes(dst.begin(), dst.begin() + 9), (Bytes{0, 0, 0, 0, 0, 0, 7, 7, 0}));
    dst.assign(32, 7);
    ASSERT_EQ(prepare(nullptr, 3, {2, 3}, {2, 3}, &buffer), ERR_NONE);
    EXPECT_EQ(resize(3, 3, 3), ERR_UNSUPPORTED);
    EXPECT_EQ(resize(1, 3, 0), ERR_NONE);
    EXPECT_EQ(dst, Bytes(32, 7));
    VantMemFree(nullptr, buffer);
}

TEST(ResizeToBgr24, EqualsItsDefinition) { forManySizes(expectConverted); }

// Y 100, Cb 160 and Cr 90 by the real coefficients: 156.7, 116.1 and 46.7.
TEST(ResizeToBgr24, ConvertsFullRangeYuv) {
    unsigned char pixels[] = {100, 160, 255, 90};
    const Image image = {0x501, 2, 1, {pixels}, {4}};
    Bytes out(6);
    EXPECT_EQ(ImageResize_BL_ToBGR24(nullptr, &image, out.data(), 2, 1, 6), ERR_NONE);
    EXPECT_EQ(out, (Bytes{157, 116, 47, 255, 255, 202}));
}

TEST(ResizeToBgr24, RefusesWhatItCannotConvert) {
    Random random;
    Bytes dst(48, 7);
    const Arena arena(40);
    const auto convert = [&](const Image& image, long width, long height, void* memory = nullptr) {
        return ImageResize_BL_ToBGR24(memory, &image, dst.data(), width, height, 12);
    };
    for (const uint32_t format : bgrSources) {
        const Frame src(random, format, 4, 4);
        std::vector<Image> invalid;
        for (size_t k = 0; k < src.planes.size(); ++k)
            invalid.emplace_back(src.image).planes[k] = nullptr;
        invalid.emplace_back(src.image).width = 65536;
        invalid.emplace_back(src.image).height = 65536;
        for (Image image : invalid) {
            EXPECT_EQ(convert(image, 4, 4), ERR_INVALID_PARAM);
            EXPECT_EQ(convert(image, 4, 0), ERR_NONE); // without a pixel there is nothing to read
            (format == 0x201 ? image.width : image.height) = -(image.width % 2);
            EXPECT_EQ(convert(image, 4, 4), ERR_NONE);
        }
        EXPECT_EQ(convert(src.image, 0, 4), ERR_NONE);
        EXPECT_EQ(convert(src.image, 4, -4), ERR_NONE);
        EXPECT_EQ(convert(src.image, 4, -4, arena.handle()), ERR_NO_MEMORY);
        EXPECT_EQ(convert(src.image, -4, 4, arena.handle()), ERR_NONE); // needs no memory
        EXPECT_EQ(convert(src.image, INT64_MAX / 16, 4), ERR_NO_MEMORY);
    }
    const Frame src(random, 0x501, 4, 4);
    Image image = src.image;
    EXPECT_EQ(ImageResize_BL_ToBGR24(nullptr, &image, nullptr, 4, 4, 12), ERR_INVALID_PARAM);
    EXPECT_EQ(ImageResize_BL_ToBGR24(nullptr, &image, nullptr, 4, 0, 12), ERR_NONE);
    EXPECT_EQ(ImageResize_BL_ToBGR24(nullptr, nullptr, dst.data(), 4, 4, 12), ERR_INVALID_PARAM);
    image.width = 3;
    EXPECT_EQ(convert(image, 4, 4), ERR_INVALID_PARAM);
    image.format = 0x603; // of any geometry, but memory is asked for first
    EXPECT_EQ(convert(image, 0, 0), ERR_UNSUPPORTED);
    EXPECT_EQ(convert(image, 4, 4, arena.handle()), ERR_NO_MEMORY);
    image.width = 0;
    EXPECT_EQ(convert(image, 4, 4), ERR_UNSUPPORTED);
    EXPECT_EQ(dst, Bytes(48, 7));
}

} // namespace
