#include "tool_test.h"

namespace {

class PictureTest : public ToolTest {
protected:
    static Picture make(const std::string& words) {
        runText(words, " out.png --force");
        return readPng("out.png");
    }

    // Two parts of one scene, the second (dx, dy) further.
    void writePair(int width, int height, int dx, int dy) {
        a = makeScene(width, height, 0, 0, 90, 150);
        b = makeScene(width, height, dx, dy, 90, 150);
        writeFile("a.pgm", toPnm(a));
        writeFile("b.pgm", toPnm(b));
    }

    Picture a = {}, b = {};
};

TEST_F(PictureTest, IsFilteredAsByTheLibrary) {
    writePair(161, 121, 0, 0);
    // Grey values survive the conversion to 4:2:0 unchanged.
    std::vector<uint8_t> chroma(80 * 60, 128);
    __tag_KIRO_OFFSCREEN grey = a.view();
    grey.planes[1] = grey.planes[2] = chroma.data();
    grey.pitches[1] = grey.pitches[2] = 80;
    for (const auto& [width, height] : {std::pair{80, 60}, {161, 121}, {333, 57}, {16000, 1}}) {
        Picture expected = {width, height, 3};
        ImageResize_BL_ToBGR24(nullptr, &grey, &expected.at(0, 0), width, height, 3 * width);
        EXPECT_TRUE(make(join("resize a.pgm --size ", width, "x", height)) == expected) << width;
    }
    for (const int size : {1, 9, 161})
        EXPECT_TRUE(make(join("smooth a.pgm --size ", size)) == blurred(a, size)) << size;
    const std::pair<const char*, decltype(&sbrErode)> operations[] = {
        {"erode", sbrErode}, {"dilate", sbrDilate}, {"open", sbrOpen}, {"close", sbrClose}};
    for (const auto& [name, filter] : operations)
        for (const int radius : {4, 1000}) {
            Picture expected = a;
            filter(nullptr, &a.at(0, 0), 161, 121, 161, 1, &expected.at(0, 0), radius);
            const std::string words = join("morph a.pgm --op ", name, " --radius ", radius);
            EXPECT_TRUE(make(words) == expected) << words;
        }
    EXPECT_EQ(files().size(), 3u);
}

// Blue and red must not change places, whether the picture is passed on or converted, and white of
// limited range, 235, is shown as white.
TEST_F(PictureTest, KeepsItsColours) {
    Picture colour = {40, 30, 3};
    for (size_t i = 0; i < colour.pixels.size(); ++i)
        colour.pixels[i] = static_cast<uint8_t>(200 - 90 * (i % 3));
    writeFile("in.ppm", toPnm(colour));
    writeFile("in.bmp", encode(colour, AV_CODEC_ID_BMP, AV_PIX_FMT_BGR24));
    Picture converted = make("resize in.ppm --size 20x10");
    Picture direct = make("resize in.bmp --size 20x10");
    for (const int c : {0, 1, 2}) {
        EXPECT_NEAR(converted.at(19, 9, c), colour.at(0, 0, c), 3);
        EXPECT_EQ(direct.at(19, 9, c), colour.at(0, 0, 2 - c)); // its blue comes first
    }
    if (avcodec_find_encoder(AV_CODEC_ID_WEBP) == nullptr)
        GTEST_SKIP() << "no encoder for WebP, whose luma has limited range";
    const Picture white = {40, 30, 1, std::vector<uint8_t>(40 * 30, 235)};
    writeFile("in.webp", encode(white, AV_CODEC_ID_WEBP, AV_PIX_FMT_YUV420P));
    EXPECT_THAT(make("resize in.webp --size 20x10").pixels, testing::Each(testing::Ge(252)));
}

TEST_F(PictureTest, IsAlignedWithAnother) {
    // Frames of 320 pixels are searched up to 15 pixels in either direction.
    for (const auto& [dx, dy] : {std::pair{0, 0}, {9, -5}, {-7, 6}, {15, 2}, {1, -15}}) {
        SCOPED_TRACE(dx);
        writePair(320, 241, dx, dy);
        const bool atLimit = std::max(dx, -dy) == 15;
        const Json json = runJson("align a.pgm b.pgm");
        EXPECT_EQ((Json{json["command"], json["width"], json["height"]}),
                  (Json{"align", 320, 241}));
        EXPECT_EQ((Json{json["dx"], json["dy"]}), (Json{dx, dy}));
        EXPECT_EQ((Json{json["fits"], json["at_limit"]}), (Json{!atLimit, atLimit}));
        EXPECT_GT(json["agreement"], 0.95);
        EXPECT_EQ(json["agreement_unshifted"] > 0.84, dx == 0);
        const std::string text = runText("align a.pgm b.pgm");
        EXPECT_THAT(text, HasSubstr(join("Shift of B against A: (", dx, ", ", dy, ")")));
        EXPECT_THAT(text, HasSubstr(atLimit ? "at its limit" : "\nThe shift fits.\n"));
    }
    // Another scene; in the second size the search reaches beyond the picture's height.
    for (const auto& [width, height] : {std::pair{320, 240}, {3000, 20}}) {
        writePair(width, height, 5000, 0);
        const Json json = runJson("align a.pgm b.pgm");
        EXPECT_EQ(json["fits"], false);
        EXPECT_LT(json["agreement"], 0.75);
        EXPECT_THAT(runText("align a.pgm b.pgm"), testing::Not(HasSubstr("The shift fits")));
    }
}

// The yellow box just inside `box`, `changed` tinted pixels within, the picture around it.
void expectOverlay(Picture overlay, Picture picture, const __tag_rect& box, long changed) {
    ASSERT_EQ(overlay.pixels.size(), 3 * picture.pixels.size());
    long red = 0, boxed = 0;
    for (int y = 0; y < picture.height; ++y)
        for (int x = 0; x < picture.width; ++x) {
            const int grey = picture.at(x, y);
            const std::array<int, 3> pixel = {overlay.at(x, y, 0), overlay.at(x, y, 1),
                                              overlay.at(x, y, 2)};
            const std::array untouched = {grey, grey, grey}, yellow = {255, 255, 0};
            const std::array tinted = {(grey + 255) / 2, grey / 2, grey / 2};
            const int depth =
                std::min({x - box.left, box.right - 1 - x, y - box.top, box.bottom - 1 - y});
            const bool isTinted = depth > 0 && pixel == tinted;
            ASSERT_EQ(pixel, depth == 0 ? yellow : isTinted ? tinted : untouched) << x << ' ' << y;
            red += isTinted;
            boxed += depth == 0;
        }
    EXPECT_TRUE(red <= changed && changed <= red + boxed) << red << ' ' << changed;
}

// The tool's own mask has to give the library's rectangle: without padding in the mask's rows, with
// some, and with sides that ask for smoothing. A ramp of 0 to 90 brighter on the left and darker on
// the right passes the limits of 55 and 45 in its columns 19 to 44.
TEST_F(PictureTest, ShowsWhatChanged) {
    for (const auto& [width, height] : {std::pair{320, 240}, {333, 261}, {384, 300}}) {
        SCOPED_TRACE(width);
        writePair(width, height, 6, -4);
        for (int y = 80; y < 120; ++y)
            for (int x = 0; x < 60; ++x)
                b.at(100 + x, y) =
                    static_cast<uint8_t>(b.at(100 + x, y) + 3 * (x < 30 ? x : x - 60));
        writeFile("b.pgm", toPnm(b));

        void* roi = nullptr;
        __tag_KIRO_OFFSCREEN first = a.view(), second = b.view();
        _tag_DRAV_ALIGNMENT alignment = {};
        _tag_ROI_INFO info = {};
        ASSERT_EQ(roiInit(nullptr, width, height, KELVANE_FORMAT_YUV420, &roi), ERR_NONE);
        ASSERT_EQ(roiCalculate(roi, &first, &second, &alignment, &info), ERR_NONE);
        roiUninit(&roi);
        const auto& [left, top, right, bottom] = info.rect;
        EXPECT_TRUE(std::abs(left - 119) <= 4 && std::abs(right - 145) <= 4) << left << right;
        EXPECT_TRUE(std::abs(top - 80) <= 4 && std::abs(bottom - 120) <= 4) << top << bottom;

        const Json json = runJson("changes a.pgm b.pgm --force --overlay out.png");
        EXPECT_EQ(json["rect"], (Json{left, top, right, bottom}));
        EXPECT_EQ(json["changed_ratio"].get<float>(), info.changedRatio);
        EXPECT_EQ((Json{json["dx"], json["dy"], json["fits"]}), (Json{6, -4, true}));
        expectOverlay(readPng("out.png"), a, {left + 6, top - 4, right + 6, bottom - 4},
                      std::lround(info.changedRatio * static_cast<float>(width * height)));
    }
    writePair(320, 240, 3, 0);
    const Json json = runJson("changes a.pgm b.pgm");
    EXPECT_EQ((Json{json["rect"], json["changed_ratio"]}), (Json{nullptr, 0.0}));
    EXPECT_THAT(runText("changes a.pgm b.pgm"), HasSubstr("Changed: nothing."));
}

} // namespace
