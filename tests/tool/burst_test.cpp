#include "tool_test.h"

namespace {

using BurstTest = ToolTest;

std::vector<Picture> writeFrames(const std::vector<std::string>& names,
                                 const std::vector<int>& blurs) {
    std::vector<Picture> frames;
    for (size_t i = 0; i < names.size(); ++i) {
        frames.push_back(blurred(makeScene(161, 120), blurs[i]));
        writeFile(names[i], toPnm(frames[i]));
    }
    return frames;
}

TEST_F(BurstTest, IsRankedWithTheLibrarysScores) {
    const std::vector<std::string> names = {"img1.pgm", "img2.pgm", "Img3.PGM", "img10.pgm"};
    const std::vector<Picture> frames = writeFrames(names, {5, 3, 1, 7});
    const Json json = runJson("pick . --keep 3");
    EXPECT_EQ((Json{json["schema"], json["best"]}), (Json{1, 2}));
    EXPECT_EQ(json["order"], (Json{2, 1, 0, 3}));
    EXPECT_EQ(json["chosen"], (Json{0, 1, 2}));
    for (size_t i = 0; i < 4; ++i) {
        Json expected = Json::parse(R"({"time": null, "pixel_format": "gray", "format": "0x601",
            "converted": false, "cropped": true, "width": 160, "height": 120})");
        expected.update({{"index", i}, {"number", i}, {"name", names[i]}});
        expected.update({{"blur", libraryScore(frames[i])}, {"chosen", i < 3}, {"best", i == 2}});
        EXPECT_EQ(json["frames"][i], expected);
    }
    const double median = (libraryScore(frames[0]) + libraryScore(frames[1])) / 2.0;
    const long percent = std::lround((libraryScore(frames[2]) / median - 1) * 100);
    EXPECT_THAT(runText("pick . --keep 9"),
                HasSubstr(join("\nBest: Img3.PGM, ", percent,
                               " % sharper than the median frame; kept 4 of 4.\n")));
    // Ties keep the order of the burst, and a name of foreign bytes is still JSON.
    writeFile("img\xFF.pgm", toPnm(frames[2]));
    EXPECT_EQ(runJson("blur .")["frames"].back()["name"], "img\uFFFD.pgm");
    EXPECT_EQ(runJson("blur .")["order"], (Json{2, 4, 1, 0, 3}));
    EXPECT_THAT(runText("blur img1.pgm img2.pgm"), testing::ContainsRegex("img2.*\n.*img1"));
    for (const char* name : {"img1.pgm", "img2.pgm", "img\xFF.pgm"})
        writeFile(name, toPnm({161, 120}));
    EXPECT_THAT(runText("pick ."), HasSubstr("Best: Img3.PGM, while the median frame is flat"));
}

TEST_F(BurstTest, NamesWhatItLeavesOut) {
    writeFrames({"img1.pgm", "img2.pgm", "img5.pgm"}, {3, 1, 5});
    for (const char* name : {"notes.txt", "README", ".hidden.pgm", "img4.jpg"})
        writeFile(name, "no picture");
    std::filesystem::create_directory("sub.jpg");
    expectRefused("pick .", "img4.jpg: ");
    const Json json = runJson("pick . --skip-bad");
    EXPECT_EQ((Json{json["best"], json["frames"].size(), json["skipped"].size()}), (Json{1, 3, 5}));
    EXPECT_EQ(json["skipped"].back()["name"], "img4.jpg");
    const std::string err = ToolRun("pick . --skip-bad").err;
    EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 5) << err;
    EXPECT_THAT(err, HasSubstr("kelvane: notes.txt: skipped: not a picture\n"));
    EXPECT_EQ(runJson("blur . --every 3")["frames"].back()["name"], "img5.pgm");
    EXPECT_EQ(runJson("blur . --every 3 --max 1")["frames"].back()["name"], "img1.pgm");
}

TEST_F(BurstTest, MayBeAVideo) {
    std::vector<std::string> pngs;
    std::vector<int> scores;
    for (int i = 0; i < 12; ++i) {
        const Picture frame = blurred(makeScene(160, 120), 1 + 2 * std::abs(i - 6));
        pngs.push_back(encode(frame, AV_CODEC_ID_PNG, AV_PIX_FMT_GRAY8));
        scores.push_back(libraryScore(frame));
    }
    writeFile("a.ivf", toIvf("MPNG", pngs));
    Json json = runJson("pick a.ivf");
    EXPECT_EQ((Json{json["best"], json["frames"].size()}), (Json{6, 12}));
    for (size_t i = 0; i < 12; ++i) {
        EXPECT_EQ(json["frames"][i]["blur"], scores[i]);
        EXPECT_NEAR(json["frames"][i]["time"].get<double>(), static_cast<double>(i) / 10, 0.001);
    }
    EXPECT_THAT(runText("pick a.ivf"), HasSubstr("Best: frame 6 at 0.600 s, "));
    json = runJson("pick a.ivf --every 3 --max 3");
    EXPECT_EQ((Json{json["best"], json["frames"].size()}), (Json{2, 3}));
    EXPECT_EQ(json["frames"][2]["number"], 6);
    expectRefused("pick a.ivf a.ivf", "a.ivf: a video has to be the only input");
    const std::string jpeg = encode(makeScene(160, 120), AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ420P);
    const std::string video = toIvf("MJPG", std::vector(12, jpeg));
    writeFile("a.ivf", video.substr(0, video.size() / 2));
    expectRefused("pick a.ivf", "truncated");
    json = runJson("blur a.ivf --skip-bad");
    EXPECT_EQ((Json{json["frames"].size(), json["skipped"].size()}), (Json{5, 1}));
}

TEST_F(BurstTest, IsRankedByFaces) {
    writeFrames({"f0.pgm", "f1.pgm", "f2.pgm"}, {1, 3, 5});
    const auto face = [](const char* key, const char* value) { // in the column not measured
        return join(R"({"rect": [160,10,161,80], ")", key, "\": ", value, "}");
    };
    const auto frames = [](const std::string& a, const std::string& b, const std::string& c) {
        const char* const next = R"(]}, {"faces": [)";
        return join(R"({"frames": [{"faces": [)", a, next, b, next, c, "]}]}");
    };
    const std::string none = face("code", "0"), smile = face("smile", "30");
    const std::string closed = face("eyes_open", "false"), open = face("eyes_open", "true");
    std::string smiles = face("smile", "80");
    for (int i = 1; i < 10; ++i)
        smiles = join(smiles, ",", face("smile", "80"));
    const std::string equal = " f0.pgm f0.pgm f0.pgm", burst = " f0.pgm f1.pgm f2.pgm";
    const std::tuple<std::string, std::string, int> ranked[] = {
        {equal, frames(none, none, none), 0},
        {equal, frames(closed, none, none), 1},
        {equal, frames(none, none, open), 2},
        {equal, frames(face("smile", "0"), smile, face("smile", "0")), 1},
        {equal, frames(smile, none, face("smile", "80")), 2},
        {equal, frames(face("code", "13"), face("code", "12"), face("code", "16")), 1},
        {burst, frames(closed, "", ""), 1},
        {burst, frames("", "", smiles), 2}};
    for (const auto& [names, file, best] : ranked) {
        writeFile("faces", file);
        EXPECT_EQ(runJson("pick --faces faces", names)["best"], best) << file;
    }
    const std::pair<std::string, std::string> malformed[] = {
        {"", "not valid JSON"},
        {"[]", "must be an object"},
        {"{}", "\"frames\" is missing"},
        {R"({"frames":{}})", "frames: must be an array"},
        {R"({"frames":[{"faces":[]}]})", "describes 1 frames, the burst has 3"},
        {R"({"frames":[],"extra":1})", "unknown key \"extra\""},
        {R"({"frames":[{"face":[]}]})", "unknown key \"face\""},
        {frames("", "", join(smiles, ",", open)), "at most 10 faces"},
        {frames("", "", "{}"), "\"rect\" is missing"},
        {frames("", "", R"({"rect":[0,0,9]})"), "rect: must be [left, top, right, bottom]"},
        {frames("", "", R"({"rect":[0,0,9,1.5]})"), "rect[3]: must be an integer"},
        {frames("", "", R"({"rect":[-1,0,9,9]})"), "rect[0]: must be 0 to"},
        {frames("", "", R"({"rect":[0,0,18446744073709551615,9]})"), "rect[2]: must be 0 to"},
        {frames("", "", R"({"rect":[9,0,9,9]})"), "empty"},
        {frames("", "", R"({"rect":[0,0,162,9]})"), "leaves the frame of 161 x 120"},
        {frames("", "", R"({"rect":[0,0,9,121]})"), "leaves the frame"},
        {frames("", "", face("code", "17")), "frames[2].faces[0].code: must be 0 to 16"},
        {frames("", "", face("smile", "50")), "smile: must be 0, 30 or 80"},
        {frames("", "", face("eyes_open", "1")), "eyes_open: must be true or false"},
        {frames("", "", face("colour", "1")), "unknown key \"colour\""}};
    for (const auto& [file, reason] : malformed) {
        writeFile("faces", file);
        expectRefused("pick --faces faces" + burst, reason);
    }
    expectRefused("pick . --faces none.json", "none.json: No such file");
}

// A bright textured square crosses a darker scene by more than its size per frame. The scene is
// sharpest in frame 1 and the square in frame 3; elsewhere they are blurred.
constexpr int side = 40, top = 100;
int leftOf(int i) { return 40 + 45 * i; }

void writeMoving(int count, bool square) {
    for (int i = 0; i < count; ++i) {
        Picture frame = blurred(makeScene(320, 240, 0, 0, 0, 120), i == 1 ? 1 : 3);
        Picture object = blurred(makeScene(side, side, 0, 0, 170, 250), i == 3 ? 1 : 5);
        for (int y = 0; square && y < side; ++y)
            std::copy_n(&object.at(0, y), side, &frame.at(leftOf(i), top + y));
        writeFile(join("f", i, ".pgm"), toPnm(frame));
    }
}

TEST_F(BurstTest, IsRankedByWhatMoves) {
    writeMoving(5, true);
    EXPECT_EQ(runJson("pick .")["best"], 1);
    Json json = runJson("pick . --moving");
    EXPECT_EQ((Json{json["best"], json["moving_used"]}), (Json{3, true}));
    for (int i = 0; i < 5; ++i) {
        const Json& object = json["frames"][static_cast<size_t>(i)]["moving"];
        const std::vector<int> expected = {leftOf(i), top, leftOf(i) + side, top + side};
        EXPECT_THAT(object["rect"].get<std::vector<int>>(),
                    testing::Pointwise(testing::DoubleNear(6), expected));
        EXPECT_NEAR(object["area"].get<double>(), side * side, 400) << i;
        EXPECT_EQ(object["used"], true);
    }
    EXPECT_THAT(runText("pick . --moving"), HasSubstr("Moving: an object in 5 of 5 frames;"));

    // Another scene in the middle shows no movement, and hides none of the frames that fit.
    writeFile("other.pgm", toPnm(makeScene(320, 240, 5000)));
    json = runJson("pick f0.pgm other.pgm f2.pgm --moving");
    EXPECT_EQ(json["frames"][1]["moving"], Json());
    EXPECT_EQ(json["frames"][0]["moving"]["used"], true);
    EXPECT_THAT(runText("pick f0.pgm other.pgm f2.pgm --moving"),
                HasSubstr("2 of 3 frames (1 not comparable"));

    // A still burst ranks as without.
    const std::string moving = readFile("f0.pgm");
    writeMoving(5, false);
    json = runJson("pick f0.pgm f1.pgm f2.pgm");
    json["moving_used"] = false;
    for (Json& frame : json["frames"])
        frame["moving"] = nullptr;
    EXPECT_EQ(runJson("pick f0.pgm f1.pgm f2.pgm --moving"), json);
    for (const char* inputs : {"f0.pgm f1.pgm f2.pgm", "f0.pgm"})
        EXPECT_THAT(runText("pick --moving ", inputs), HasSubstr("Moving: nothing was found"));

    // The square stands in one frame alone: its neighbours differ from that frame.
    writeFile("f0.pgm", moving);
    json = runJson("pick f0.pgm f1.pgm f2.pgm f3.pgm --moving");
    EXPECT_EQ((Json{json["best"], json["moving_used"]}), (Json{1, false}));
    EXPECT_EQ(json["frames"][0]["moving"]["used"], false);
    EXPECT_THAT(runText("pick f0.pgm f1.pgm f2.pgm f3.pgm --moving"),
                HasSubstr("too few to count"));
}

} // namespace
