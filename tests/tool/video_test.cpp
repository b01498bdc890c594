#include "media.h"
#include "run_tool.h"

namespace {

using Json = nlohmann::json;

// Twelve frames of which number 7 is sharp.
class VideoTest : public ToolTest {
protected:
    VideoTest() {
        for (int i = 0; i < 12; ++i)
            frames.push_back(boxBlur(makeScene(160, 120), std::abs(i - 7)));
    }

    std::vector<Grey> frames;
};

TEST_F(VideoTest, RanksTheFramesOfAVideo) {
    writeVideo(path("a.mkv"), frames, AV_CODEC_ID_FFV1, AV_PIX_FMT_YUV420P);
    const Json json = runTool({"pick", path("a.mkv"), "--json"}).json();
    ASSERT_EQ(json["frames"].size(), 12u);
    EXPECT_EQ(json["best"], 7);
    for (size_t i = 0; i < 12; ++i) {
        EXPECT_EQ(json["frames"][i]["blur"], libraryScore(frames[i]));
        EXPECT_NEAR(json["frames"][i]["time"].get<double>(), static_cast<double>(i) / 10, 0.001);
    }
    const RunResult table = runTool({"pick", path("a.mkv")});
    EXPECT_NE(table.out.find("Best: frame 7 at 0.700 s, "), std::string::npos) << table.out;
}

TEST_F(VideoTest, TakesEveryNthFrameUpToALimit) {
    writeVideo(path("a.avi"), frames, AV_CODEC_ID_MPEG4, AV_PIX_FMT_YUV420P);
    const Json json =
        runTool({"pick", path("a.avi"), "--every", "3", "--max", "3", "--json"}).json();
    ASSERT_EQ(json["frames"].size(), 3u);
    EXPECT_EQ(json["frames"][2]["number"], 6);
    EXPECT_EQ(json["best"], 2);
    EXPECT_EQ(runTool({"blur", path("a.avi"), "--json"}).json()["frames"].size(), 12u);
}

TEST_F(VideoTest, RefusesATruncatedVideoUnlessBadFramesAreSkipped) {
    writeVideo(path("a.avi"), frames, AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ420P);
    const std::string whole = read("a.avi");
    write("a.avi", whole.substr(0, whole.size() / 2));
    expectRefused(runTool({"pick", path("a.avi")}), "a.avi", "truncated");
    const RunResult result = runTool({"blur", path("a.avi"), "--skip-bad", "--json"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errorLines(), 1) << result.err;
    const size_t count = result.json()["frames"].size();
    EXPECT_TRUE(count > 1 && count < 12) << count;
}

TEST_F(VideoTest, HasToBeTheOnlyInput) {
    writeVideo(path("a.avi"), frames, AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ420P);
    write("b.pgm", toPgm(frames[0]));
    expectRefused(runTool({"pick", path("b.pgm"), path("a.avi")}), "a.avi", "only input");
}

} // namespace
