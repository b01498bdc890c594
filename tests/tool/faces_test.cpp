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

    RunResult pick(const std::string& faces) {
        write("faces.txt", faces);
        return runTool({"pick", path("f0.pgm"), path("f1.pgm"), path("f2.pgm"), "--json", "--faces",
                        path("faces.txt")});
    }

    // The burst with one face in each frame.
    Json pickFaces(const std::vector<Json>& details) {
        Json file;
        for (Json face : details) {
            face["rect"] = {10, 10, 60, 80};
            file["frames"].push_back({{"faces", {face}}});
        }
        const RunResult result = pick(file.dump());
        EXPECT_EQ(result.status, 0) << result.err;
        return result.json();
    }
};

TEST_F(FacesTest, ChangeWhichFrameIsBest) {
    EXPECT_EQ(pickFaces({Json::object(), Json::object(), Json::object()})["best"], 0);
    EXPECT_EQ(
        pickFaces({{{"eyes_open", false}}, {{"eyes_open", true}}, {{"eyes_open", false}}})["best"],
        1);
    // Ten smiling faces outweigh any difference in sharpness.
    Json smiling = Json::array();
    for (int i = 0; i < 10; ++i)
        smiling.push_back({{"rect", {0, 0, 161, 120}}, {"smile", 80}, {"eyes_open", true}});
    const Json none = {{"faces", Json::array()}};
    const Json file = {{"frames", {none, none, {{"faces", smiling}}}}};
    EXPECT_EQ(pick(file.dump()).json()["best"], 2);
    Json coded = file;
    for (Json& face : coded["frames"][2]["faces"])
        face = {{"rect", {160, 0, 161, 120}}, {"code", 13}};
    EXPECT_EQ(pick(coded.dump()).json()["best"], 0);
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
