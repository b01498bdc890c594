#include "media.h"
#include "run_tool.h"

namespace {

using Json = nlohmann::json;

// Three frames, the first of which is the sharpest.
class FacesTest : public ToolTest {
protected:
    FacesTest() {
        int radius = 0;
        for (const char* name : {"f0.pgm", "f1.pgm", "f2.pgm"})
            write(name, toPgm(boxBlur(makeScene(161, 120), radius++)));
    }

    RunResult pick(const std::string& faces,
                   const std::vector<std::string>& names = {"f0.pgm", "f1.pgm", "f2.pgm"}) {
        write("faces.txt", faces);
        std::vector<std::string> words = {"pick", "--json", "--faces", path("faces.txt")};
        for (const std::string& name : names)
            words.push_back(path(name));
        return runTool(words);
    }

    // The best of three equal frames, each with the same face but for what is told here.
    int bestOfEqual(const std::vector<Json>& details) {
        Json file;
        for (Json face : details) {
            face["rect"] = {160, 10, 161, 80}; // in the column that is not measured
            file["frames"].push_back({{"faces", {face}}});
        }
        const RunResult result = pick(file.dump(), {"f0.pgm", "f0.pgm", "f0.pgm"});
        EXPECT_EQ(result.status, 0) << result.err;
        return result.status == 0 ? result.json()["best"].get<int>() : -1;
    }
};

TEST_F(FacesTest, EachStateCounts) {
    const Json unknown = Json::object();
    EXPECT_EQ(bestOfEqual({unknown, unknown, unknown}), 0);
    EXPECT_EQ(bestOfEqual({{{"eyes_open", false}}, unknown, unknown}), 1);
    EXPECT_EQ(bestOfEqual({unknown, unknown, {{"eyes_open", true}}}), 2);
    EXPECT_EQ(bestOfEqual({{{"smile", 0}}, {{"smile", 30}}, {{"smile", 0}}}), 1);
    EXPECT_EQ(bestOfEqual({{{"smile", 30}}, unknown, {{"smile", 80}}}), 2);
    EXPECT_EQ(bestOfEqual({{{"code", 13}}, {{"code", 12}}, unknown}), 1);
}

TEST_F(FacesTest, ClosedEyesLoseToBlurAndManySmilesBeatSharpness) {
    const std::string closed = R"({"frames":[{"faces":[{"rect":[0,0,9,9],"eyes_open":false}]},
                                             {"faces":[]},{"faces":[]}]})";
    EXPECT_EQ(pick(closed).json()["best"], 1);
    Json smiling = {{"frames", {{{"faces", Json::array()}}, {{"faces", Json::array()}}}}};
    const Json face = {{"rect", {0, 0, 161, 120}}, {"smile", 80}, {"eyes_open", true}};
    smiling["frames"].push_back({{"faces", std::vector<Json>(10, face)}});
    EXPECT_EQ(pick(smiling.dump()).json()["best"], 2);
}

TEST_F(FacesTest, MalformedFilesAreRefused) {
    const auto oneFace = [](const std::string& face) {
        std::string file = R"({"frames":[{"faces":[]},{"faces":[]},{"faces":[)";
        return file.append(face).append("]}]}");
    };
    std::string eleven = R"({"rect":[0,0,9,9]})";
    for (int i = 0; i < 10; ++i)
        eleven.append(R"(,{"rect":[0,0,9,9]})");
    const std::pair<std::string, std::string> cases[] = {
        {"", "not valid JSON"},
        {"{\"frames\":[", "not valid JSON"},
        {"[]", "must be an object"},
        {"{}", "\"frames\" is missing"},
        {R"({"frames":{}})", "frames: must be an array"},
        {R"({"frames":[{"faces":[]}]})", "describes 1 frames, the burst has 3"},
        {R"({"frames":[],"extra":1})", "unknown key \"extra\""},
        {R"({"frames":[{"face":[]}]})", "unknown key \"face\""},
        {oneFace(R"({"rect":[0,0,9,9],"colour":1})"), "unknown key \"colour\""},
        {oneFace(eleven), "at most 10 faces"},
        {oneFace("{}"), "\"rect\" is missing"},
        {oneFace(R"({"rect":[0,0,9]})"), "rect: must be [left, top, right, bottom]"},
        {oneFace(R"({"rect":[0,0,9,"9"]})"), "rect[3]: must be an integer"},
        {oneFace(R"({"rect":[0,0,9,1.5]})"), "rect[3]: must be an integer"},
        {oneFace(R"({"rect":[-1,0,9,9]})"), "rect[0]: must be 0 to"},
        {oneFace(R"({"rect":[0,0,18446744073709551615,9]})"), "rect[2]: must be 0 to"},
        {oneFace(R"({"rect":[9,0,9,9]})"), "empty"},
        {oneFace(R"({"rect":[0,0,162,9]})"), "leaves the frame of 161 x 120"},
        {oneFace(R"({"rect":[0,0,9,121]})"), "leaves the frame"},
        {oneFace(R"({"rect":[0,0,9,9],"code":17})"), "frames[2].faces[0].code: must be 0 to 16"},
        {oneFace(R"({"rect":[0,0,9,9],"smile":50})"), "smile: must be 0, 30 or 80"},
        {oneFace(R"({"rect":[0,0,9,9],"eyes_open":1})"), "eyes_open: must be true or false"},
    };
    for (const auto& [file, reason] : cases) {
        SCOPED_TRACE(file);
        expectRefused(pick(file), "faces.txt", reason);
    }
    expectRefused(runTool({"pick", folder, "--faces", path("none.json")}), "none.json");
}

} // namespace
