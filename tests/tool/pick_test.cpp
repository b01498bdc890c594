#include "media.h"
#include "run_tool.h"

#include <cmath>

namespace {

using Json = nlohmann::json;

// A burst whose third frame is sharp and whose others are blurred by known amounts; by name as
// text, img10 would come before img2.
class PickTest : public ToolTest {
protected:
    PickTest() {
        const int radii[] = {2, 1, 0, 3};
        const char* const names[] = {"img1.pgm", "img2.pgm", "img3.pgm", "img10.pgm"};
        for (size_t i = 0; i < 4; ++i) {
            frames.push_back(boxBlur(makeScene(160, 120), radii[i]));
            write(names[i], toPgm(frames.back()));
        }
    }

    std::vector<Grey> frames;
};

TEST_F(PickTest, RanksABurstWithTheLibrarysScores) {
    const RunResult result = runTool({"pick", folder, "--keep", "3", "--json"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    const Json json = result.json();
    EXPECT_EQ(json["schema"], 1);
    EXPECT_EQ(json["best"], 2);
    EXPECT_EQ(json["order"], (Json{2, 1, 0, 3}));
    EXPECT_EQ(json["chosen"], (Json{0, 1, 2}));
    ASSERT_EQ(json["frames"].size(), 4u);
    EXPECT_EQ(json["frames"][3]["name"], "img10.pgm");
    for (size_t i = 0; i < 4; ++i) {
        const Json& frame = json["frames"][i];
        EXPECT_EQ(frame["blur"], libraryScore(frames[i])) << i;
        EXPECT_EQ(frame["best"], i == 2);
        EXPECT_EQ(frame["chosen"], i != 3);
        EXPECT_EQ(frame["time"], Json());
        EXPECT_EQ(frame["width"], 160);
        EXPECT_EQ(frame["height"], 120);
    }
}

TEST_F(PickTest, SaysInOneSentenceWhichIsBest) {
    const RunResult result = runTool({"pick", folder, "--keep", "9"});
    EXPECT_EQ(result.status, 0);
    const double median = (libraryScore(frames[0]) + libraryScore(frames[1])) / 2.0;
    const long percent = std::lround((libraryScore(frames[2]) / median - 1) * 100);
    EXPECT_NE(result.out.find("\nBest: img3.pgm, " + std::to_string(percent) +
                              " % sharper than the median frame; kept 4 of 4.\n"),
              std::string::npos)
        << result.out;
    EXPECT_EQ(result.out.find('\x1b'), std::string::npos);
}

TEST_F(PickTest, CopesWithFlatFrames) {
    const Grey flat = {160, 120, std::vector<uint8_t>(160 * 120, 90)};
    for (const char* name : {"img1.pgm", "img2.pgm", "img10.pgm"})
        write(name, toPgm(flat));
    const RunResult oneSharp = runTool({"pick", folder});
    EXPECT_NE(oneSharp.out.find("Best: img3.pgm, while the median frame is flat"),
              std::string::npos);
    write("img3.pgm", toPgm(flat));
    const RunResult allFlat = runTool({"pick", folder});
    EXPECT_NE(allFlat.out.find("Best: img1.pgm, as flat as the median frame"), std::string::npos);
}

TEST_F(PickTest, SkipsInAFolderWhatIsNoPicture) {
    write("notes.txt", "text");
    write("README", "text");
    write(".hidden.pgm", "");
    std::filesystem::create_directory(path("sub.jpg"));
    const RunResult result = runTool({"pick", folder, "--json"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errorLines(), 4) << result.err;
    EXPECT_NE(result.err.find("kelvane: notes.txt: skipped: not a picture\n"), std::string::npos);
    EXPECT_EQ(result.json()["frames"].size(), 4u);
    EXPECT_EQ(result.json()["skipped"].size(), 4u);
}

TEST_F(PickTest, LeavesOutBadPicturesOnRequest) {
    write("img4.jpg", "not a JPEG");
    expectRefused(runTool({"pick", folder}), "img4.jpg");
    const RunResult result = runTool({"pick", folder, "--skip-bad", "--json"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errorLines(), 1);
    EXPECT_EQ(result.json()["best"], 2);
    EXPECT_EQ(result.json()["skipped"][0]["name"], "img4.jpg");
}

TEST_F(PickTest, TakesEveryNthFileUpToALimit) {
    const Json json = runTool({"blur", folder, "--every", "2", "--max", "1", "--json"}).json();
    ASSERT_EQ(json["frames"].size(), 1u);
    EXPECT_EQ(json["frames"][0]["name"], "img1.pgm");
    EXPECT_EQ(runTool({"blur", folder, "--every", "2", "--json"}).json()["frames"].size(), 2u);
}

TEST_F(PickTest, PrintsJsonForAnyFileName) {
    write("img\xFF.pgm", toPgm(frames[0]));
    const Json json = runTool({"blur", folder, "--json"}).json();
    EXPECT_EQ(json["frames"].back()["name"], "img\uFFFD.pgm");
}

TEST_F(PickTest, BlurListsTheSharpestFirst) {
    const RunResult result = runTool({"blur", path("img1.pgm"), path("img3.pgm")});
    EXPECT_EQ(result.status, 0);
    EXPECT_LT(result.out.find("img3.pgm"), result.out.find("img1.pgm"));
    EXPECT_NE(result.out.find(std::to_string(libraryScore(frames[2]))), std::string::npos);
}

} // namespace
