#include "media.h"
#include "run_tool.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace {

using Json = nlohmann::json;

class FormatsTest : public ToolTest {
protected:
    Json measure(const std::string& name, const std::string& bytes) {
        write(name, bytes);
        const RunResult result = runTool({"blur", path(name), "--json"});
        EXPECT_EQ(result.status, 0) << result.err;
        return result.status == 0 ? result.json()["frames"][0] : Json();
    }
};

TEST_F(FormatsTest, PassesLumaPlanesAsTheyLie) {
    const Grey scene = makeScene(160, 120);
    const int score = libraryScore(scene);
    const struct {
        AVPixelFormat format;
        const char* code;
    } jpegs[] = {{AV_PIX_FMT_YUVJ420P, "0x601"},
                 {AV_PIX_FMT_YUVJ422P, "0x603"},
                 {AV_PIX_FMT_YUVJ444P, "0x601"}};
    for (const auto& jpeg : jpegs) {
        const Json frame = measure("a.jpg", encodePicture(scene, AV_CODEC_ID_MJPEG, jpeg.format));
        EXPECT_EQ(frame["format"], jpeg.code);
        EXPECT_EQ(frame["converted"], false);
        EXPECT_NEAR(frame["blur"].get<double>(), score, score * 0.05);
    }
    const Json grey = measure("a.png", encodePicture(scene, AV_CODEC_ID_PNG, AV_PIX_FMT_GRAY8));
    EXPECT_EQ(grey["format"], "0x601");
    EXPECT_EQ(grey["converted"], false);
    EXPECT_EQ(grey["blur"], score);
}

// Grey values in full-range colour keep their luma, so the score hardly moves; a conversion to
// limited range would lower it by a seventh.
TEST_F(FormatsTest, ConvertsTheRestAndSaysSo) {
    const Grey scene = makeScene(160, 120);
    for (const AVPixelFormat format : {AV_PIX_FMT_RGB24, AV_PIX_FMT_RGBA, AV_PIX_FMT_RGB48BE}) {
        const Json frame = measure("a.png", encodePicture(scene, AV_CODEC_ID_PNG, format));
        EXPECT_EQ(frame["converted"], true);
        EXPECT_EQ(frame["format"], "0x601");
        EXPECT_EQ(frame["pixel_format"], av_get_pix_fmt_name(format));
        EXPECT_NEAR(frame["blur"].get<double>(), libraryScore(scene), libraryScore(scene) * 0.01);
    }
    EXPECT_NE(runTool({"blur", path("a.png")}).out.find("converted to 8-bit 4:2:0"),
              std::string::npos);
}

TEST_F(FormatsTest, ConvertsTenBitVideoInItsRange) {
    const Grey scene = makeScene(160, 120);
    writeVideo(path("a.mkv"), {scene}, AV_CODEC_ID_FFV1, AV_PIX_FMT_YUV420P10LE);
    const Json frame = runTool({"blur", path("a.mkv"), "--json"}).json()["frames"][0];
    EXPECT_EQ(frame["converted"], true);
    EXPECT_EQ(frame["pixel_format"], "yuv420p10le");
    EXPECT_NEAR(frame["blur"].get<double>(), libraryScore(scene), libraryScore(scene) * 0.01);
}

TEST_F(FormatsTest, CropsOddSizes) {
    const Grey odd = makeScene(161, 121);
    const Json frame = measure("odd.pgm", toPgm(odd));
    EXPECT_EQ(frame["width"], 160);
    EXPECT_EQ(frame["height"], 120);
    EXPECT_EQ(frame["cropped"], true);
    EXPECT_EQ(frame["blur"], libraryScore(odd));
    EXPECT_NE(runTool({"pick", path("odd.pgm")}).out.find("odd size (161 x 121)"),
              std::string::npos);
}

} // namespace
