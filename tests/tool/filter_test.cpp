#include "kelvane/kelvane.h"
#include "media.h"
#include "run_tool.h"

#include <iterator>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace {

class FilterTest : public ToolTest {
protected:
    FilterTest() { write("in.pgm", toPgm(scene)); }

    RunResult run(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin() + 1, {path("in.pgm"), path("out.png")});
        return runTool(arguments);
    }

    DecodedPng make(const std::vector<std::string>& arguments) {
        const RunResult result = run(arguments);
        EXPECT_EQ(result.status, 0) << result.err;
        DecodedPng png = decodePng(read("out.png"));
        std::filesystem::remove(path("out.png"));
        return png;
    }

    long fileCount() const {
        return std::distance(std::filesystem::directory_iterator(folder), {});
    }

    const Grey scene = makeScene(161, 121);
};

std::vector<uint8_t> resized(__tag_KIRO_OFFSCREEN source, int width, int height) {
    std::vector<uint8_t> pixels(static_cast<size_t>(3 * width * height));
    EXPECT_EQ(ImageResize_BL_ToBGR24(nullptr, &source, pixels.data(), width, height, 3 * width),
              ERR_NONE);
    for (size_t i = 0; i < pixels.size(); i += 3)
        std::swap(pixels[i], pixels[i + 2]);
    return pixels;
}

// Grey values survive the conversion to 4:2:0 unchanged.
TEST_F(FilterTest, ResizesLikeTheLibrary) {
    std::vector<uint8_t> chroma(80 * 60, 128), luma = scene.pixels;
    const __tag_KIRO_OFFSCREEN grey = {.format = KELVANE_FORMAT_YUV420,
                                       .width = 161,
                                       .height = 121,
                                       .planes = {luma.data(), chroma.data(), chroma.data()},
                                       .pitches = {161, 80, 80}};
    for (const auto& [width, height] : {std::pair{80, 60}, {161, 121}, {333, 57}, {1, 1}}) {
        const DecodedPng png =
            make({"resize", "--size", std::to_string(width) + "x" + std::to_string(height)});
        EXPECT_EQ(png.width, width);
        EXPECT_EQ(png.height, height);
        EXPECT_EQ(png.channels, 3);
        EXPECT_EQ(png.pixels, resized(grey, width, height)) << width;
    }
}

// A one-coloured BMP, which is decoded to bgr24. Rows must need no padding.
std::string toBmp(int width, int height, const char* bgr) {
    std::string bmp = "BM";
    const auto put = [&bmp](uint32_t value) {
        for (int shift = 0; shift < 32; shift += 8)
            bmp += static_cast<char>(value >> shift);
    };
    const auto size = static_cast<uint32_t>(3 * width * height);
    for (const uint32_t value : {54 + size, 0u, 54u, 40u, static_cast<uint32_t>(width),
                                 static_cast<uint32_t>(height), 24u << 16 | 1, 0u, size})
        put(value);
    bmp.resize(54);
    for (int i = 0; i < width * height; ++i)
        bmp.append(bgr, 3);
    return bmp;
}

// Blue and red must not change places, whether the picture is passed on or converted.
TEST_F(FilterTest, KeepsColoursInPlace) {
    std::string ppm = "P6\n40 30\n255\n";
    for (int i = 0; i < 40 * 30; ++i)
        ppm += "\xC8\x64\x14";
    const int expected[] = {200, 100, 20};
    write("in.pgm", ppm);
    const DecodedPng converted = make({"resize", "--size", "20x10"});
    ASSERT_EQ(converted.pixels.size(), 600u);
    for (size_t i = 0; i < 600; ++i)
        ASSERT_NEAR(converted.pixels[i], expected[i % 3], 3) << i;
    write("in.pgm", toBmp(40, 30, "\x14\x64\xC8"));
    const DecodedPng direct = make({"resize", "--size", "20x10"});
    ASSERT_EQ(direct.pixels.size(), 600u);
    for (size_t i = 0; i < 600; ++i)
        ASSERT_EQ(direct.pixels[i], expected[i % 3]) << i;
}

// White of limited range is 235, which the library would show as grey.
TEST_F(FilterTest, ExpandsLimitedRange) {
    if (avcodec_find_encoder(AV_CODEC_ID_WEBP) == nullptr)
        GTEST_SKIP() << "no encoder for WebP, whose luma has limited range";
    for (const auto& [stored, shown] : {std::pair{235, 255}, {16, 0}}) {
        const Grey flat = {40, 30, std::vector<uint8_t>(40 * 30, static_cast<uint8_t>(stored))};
        write("in.pgm", encodePicture(flat, AV_CODEC_ID_WEBP, AV_PIX_FMT_YUV420P));
        for (const uint8_t value : make({"resize", "--size", "20x10"}).pixels)
            ASSERT_NEAR(value, shown, 3);
    }
}

TEST_F(FilterTest, FiltersLumaLikeTheLibrary) {
    std::vector<uint8_t> expected(scene.pixels.size());
    GB_GaussianBlurA(nullptr, scene.pixels.data(), 161, 121, 161, 0, expected.data(), 9);
    const DecodedPng smooth = make({"smooth", "--size", "9"});
    EXPECT_EQ(smooth.channels, 1);
    EXPECT_EQ(smooth.width, 161);
    EXPECT_EQ(smooth.pixels, expected);
    const std::pair<const char*, decltype(&sbrErode)> operations[] = {
        {"erode", sbrErode}, {"dilate", sbrDilate}, {"open", sbrOpen}, {"close", sbrClose}};
    for (const auto& [name, filter] : operations) {
        filter(nullptr, scene.pixels.data(), 161, 121, 161, 1, expected.data(), 4);
        EXPECT_EQ(make({"morph", "--op", name, "--radius", "4"}).pixels, expected) << name;
    }
    EXPECT_EQ(make({"smooth", "--size", "1"}).pixels, scene.pixels);
}

TEST_F(FilterTest, ReplacesNothingUnasked) {
    write("out.png", "precious");
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"resize", "--size", "8x6"},
          {"smooth", "--size", "3"},
          {"morph", "--op", "open", "--radius", "1"}}) {
        expectRefused(run(command), "out.png", "--force");
        EXPECT_EQ(read("out.png"), "precious");
    }
    EXPECT_EQ(run({"smooth", "--size", "3", "--force"}).status, 0);
    EXPECT_EQ(decodePng(read("out.png")).width, 161);
    EXPECT_EQ(fileCount(), 2);
    std::filesystem::remove(path("out.png"));
    std::filesystem::create_directory(path("out.png"));
    expectRefused(run({"smooth", "--size", "3", "--force"}), "out.png", "not a regular file");
}

TEST_F(FilterTest, LeavesNothingBehindWhenItFails) {
    expectRefused(runTool({"smooth", path("in.pgm"), path("none/out.png"), "--size", "3"}),
                  "none/out.png", "No such file");
    write("in.pgm", "no picture");
    expectRefused(run({"smooth", "--size", "3"}), "in.pgm");
    expectRefused(run({"resize", "--size", "3x3"}), "in.pgm");
    EXPECT_EQ(fileCount(), 1);
}

TEST_F(FilterTest, RefusesSizesInOneLine) {
    for (const char* size : {"0x5", "5", "5x", "x5", "5x5x5", "-3x4", "16001x4", "4x16001", "5 x 5",
                             "99999999999x3", ""})
        expectRefused(run({"resize", "--size", size}), "--size");
    for (const char* size : {"0", "-1", "2896", "many", "162", "163"})
        expectRefused(run({"smooth", "--size", size}), "--size");
    for (const char* radius : {"0", "-1", "1001", "1.5"})
        expectRefused(run({"morph", "--op", "open", "--radius", radius}), "--radius");
    expectRefused(run({"morph", "--op", "melt", "--radius", "1"}), "--op");
    expectRefused(run({"morph", "--op", "0", "--radius", "1"}), "--op");
    EXPECT_EQ(fileCount(), 1);
}

} // namespace
