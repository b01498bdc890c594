#include "kelvane/kelvane.h"
#include "media.h"
#include "run_tool.h"

#include <algorithm>

namespace {

using Json = nlohmann::json;

class PairTest : public ToolTest {
protected:
    // Two parts of one scene, the second (dx, dy) further.
    void writeShifted(int width, int height, int dx, int dy) {
        const Grey scene = makeScene(width + 80, height + 80);
        a = crop(scene, 40, 40, width, height);
        b = crop(scene, 40 + dx, 40 + dy, width, height);
        writePair();
    }

    void writePair() {
        write("a.pgm", toPgm(a));
        write("b.pgm", toPgm(b));
    }

    RunResult run(const char* command, std::vector<std::string> options = {}) {
        options.insert(options.begin(), {command, path("a.pgm"), path("b.pgm")});
        return runTool(options);
    }

    Json runJson(const char* command) {
        const RunResult result = run(command, {"--json"});
        EXPECT_EQ(result.status, 0) << result.err;
        return result.json();
    }

    Grey a, b;
};

__tag_KIRO_OFFSCREEN viewOf(Grey& image) {
    return {.format = KELVANE_FORMAT_YUV420,
            .width = image.width,
            .height = image.height,
            .planes = {image.pixels.data()},
            .pitches = {image.width}};
}

// The yellow box just inside `box`, a tint within, the untouched picture around it.
void expectOverlay(const DecodedPng& png, const Grey& picture, const __tag_rect& box) {
    __tag_rect yellow = {png.width, png.height, 0, 0};
    for (int y = 0; y < png.height; ++y)
        for (int x = 0; x < png.width; ++x) {
            const auto i = static_cast<size_t>(y * png.width + x);
            const uint8_t* const p = &png.pixels[3 * i];
            const int grey = picture.pixels[i];
            if (p[0] == 255 && p[1] == 255 && p[2] == 0) {
                yellow = {std::min(yellow.left, x), std::min(yellow.top, y),
                          std::max(yellow.right, x + 1), std::max(yellow.bottom, y + 1)};
                continue;
            }
            const int depth = std::min(std::min(x - box.left, box.right - 1 - x),
                                       std::min(y - box.top, box.bottom - 1 - y));
            const bool tinted = p[0] == (grey + 255) / 2 && p[1] == grey / 2 && p[2] == grey / 2;
            const bool untouched = p[0] == grey && p[1] == grey && p[2] == grey;
            ASSERT_TRUE(depth < 0   ? untouched
                        : depth > 5 ? tinted
                                    : tinted || untouched)
                << x << ", " << y;
        }
    EXPECT_EQ((Json{yellow.left, yellow.top, yellow.right, yellow.bottom}),
              (Json{box.left, box.top, box.right, box.bottom}));
}

TEST_F(PairTest, FindsTheShift) {
    for (const auto& [dx, dy] : {std::pair{0, 0}, {9, -5}, {-7, 6}}) {
        writeShifted(320, 241, dx, dy);
        const Json json = runJson("align");
        EXPECT_EQ(json["schema"], 1);
        EXPECT_EQ(json["command"], "align");
        EXPECT_EQ(json["width"], 320);
        EXPECT_EQ(json["height"], 241);
        EXPECT_EQ(json["dx"], dx);
        EXPECT_EQ(json["dy"], dy);
        EXPECT_EQ(json["fits"], true);
        EXPECT_EQ(json["at_limit"], false);
        EXPECT_GT(json["agreement"], 0.95);
        if (dx == 0)
            EXPECT_EQ(json["agreement_unshifted"], json["agreement"]);
        else
            EXPECT_LT(json["agreement_unshifted"], 0.84);
        const RunResult text = run("align");
        const std::string head = "Shift of B against A: (";
        EXPECT_EQ(text.out.rfind(head + std::to_string(dx) + ", " + std::to_string(dy) + ")", 0),
                  0u)
            << text.out;
        EXPECT_NE(text.out.find("\nThe shift fits.\n"), std::string::npos);
    }
}

TEST_F(PairTest, SaysWhenAShiftDoesNotFit) {
    writeShifted(320, 240, 0, 0);
    std::reverse(b.pixels.begin(), b.pixels.end());
    writePair();
    const Json json = runJson("align");
    EXPECT_EQ(json["fits"], false);
    EXPECT_LT(json["agreement"], 0.7);
    EXPECT_EQ(run("align").out.find("The shift fits"), std::string::npos);
    // Frames of 320 pixels are searched up to 15 pixels in either direction.
    writeShifted(320, 240, 15, 2);
    const Json limit = runJson("align");
    EXPECT_EQ(limit["dx"], 15);
    EXPECT_EQ(limit["at_limit"], true);
    EXPECT_EQ(limit["fits"], false);
    EXPECT_NE(run("align").out.find("at its limit"), std::string::npos);
}

// The tool's own mask has to give the library's rectangle: without padding in the mask's rows, with
// some, and with sides that ask for smoothing.
TEST_F(PairTest, FindsAndDrawsWhatChanged) {
    for (const auto& [width, height] : {std::pair{320, 240}, {333, 261}, {384, 300}}) {
        SCOPED_TRACE(width);
        writeShifted(width, height, 6, -4);
        for (Grey* image : {&a, &b})
            for (uint8_t& pixel : image->pixels)
                pixel /= 2;
        for (int y = 80; y < 120; ++y)
            std::fill_n(b.pixels.begin() + y * width + 100, 60, uint8_t{250});
        writePair();

        void* roi = nullptr;
        __tag_KIRO_OFFSCREEN first = viewOf(a), second = viewOf(b);
        _tag_DRAV_ALIGNMENT alignment = {};
        _tag_ROI_INFO info = {};
        ASSERT_EQ(roiInit(nullptr, width, height, KELVANE_FORMAT_YUV420, &roi), ERR_NONE);
        ASSERT_EQ(roiCalculate(roi, &first, &second, &alignment, &info), ERR_NONE);
        roiUninit(&roi);
        const __tag_rect r = info.rect;
        EXPECT_LE(std::max(std::abs(r.left - 100), std::abs(r.right - 160)), 4);
        EXPECT_LE(std::max(std::abs(r.top - 80), std::abs(r.bottom - 120)), 4);

        const RunResult result = run("changes", {"--json", "--overlay", path("out.png")});
        ASSERT_EQ(result.status, 0) << result.err;
        const Json json = result.json();
        EXPECT_EQ(json["rect"], (Json{r.left, r.top, r.right, r.bottom}));
        EXPECT_EQ(json["changed_ratio"].get<float>(), info.changedRatio);
        EXPECT_NEAR(info.changedRatio, 60.0 * 40 / (width * height), 0.01);
        EXPECT_EQ(json["dx"], 6);
        EXPECT_EQ(json["dy"], -4);
        EXPECT_EQ(json["fits"], true);

        const DecodedPng png = decodePng(read("out.png"));
        std::filesystem::remove(path("out.png"));
        ASSERT_EQ(png.width, width);
        ASSERT_EQ(png.height, height);
        const __tag_rect inFirst = {r.left + 6, r.top - 4, r.right + 6, r.bottom - 4};
        expectOverlay(png, a, inFirst);
    }
}

TEST_F(PairTest, SaysWhenNothingChanged) {
    writeShifted(320, 240, 3, 0);
    const Json json = runJson("changes");
    EXPECT_EQ(json["rect"], Json());
    EXPECT_EQ(json["changed_ratio"], 0.0);
    EXPECT_NE(run("changes").out.find("Changed: nothing."), std::string::npos);
    write("out.png", "precious");
    expectRefused(run("changes", {"--overlay", path("out.png")}), "out.png", "--force");
    EXPECT_EQ(read("out.png"), "precious");
}

TEST_F(PairTest, SizesHaveToBeEqualAndLargeEnough) {
    writeShifted(200, 99, 0, 0);
    expectRefused(run("changes", {"--overlay", path("out.png")}), "a.pgm", "100 on the shorter");
    EXPECT_FALSE(std::filesystem::exists(path("out.png")));
    EXPECT_EQ(run("align").status, 0);
    // Here the search reaches further than the picture is high; the overlap may be empty.
    writeShifted(3000, 20, 0, 0);
    std::reverse(b.pixels.begin(), b.pixels.end());
    writePair();
    EXPECT_EQ(runJson("align")["fits"], false);
    b = makeScene(200, 100);
    writePair();
    for (const char* command : {"align", "changes"})
        expectRefused(run(command), "b.pgm", "a.pgm has 3000 x 20");
}

} // namespace
