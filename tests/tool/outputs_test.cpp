#include "tool_test.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace {

using OutputsTest = ToolTest;
namespace fs = std::filesystem;

// A JPEG with the time of its capture in an EXIF segment, big-endian: one directory that leads to
// another, which holds two texts.
std::string withCaptureTime(const std::string& jpeg, const std::string& date,
                            const std::string& fraction) {
    const auto number = [](size_t value, int bytes) {
        std::string text;
        while (bytes-- > 0)
            text += static_cast<char>(value >> 8 * bytes);
        return text;
    };
    const auto entry = [&](size_t tag, size_t type, size_t count, size_t value) {
        return number(tag, 2) + number(type, 2) + number(count, 4) + number(value, 4);
    };
    constexpr size_t second = 26, texts = second + 30;
    const std::string tiff =
        std::string("MM\0*", 4) + number(8, 4) + number(1, 2) + entry(0x8769, 4, 1, second) +
        number(0, 4) + number(2, 2) + entry(0x9003, 2, date.size() + 1, texts) +
        entry(0x9291, 2, fraction.size() + 1, texts + date.size() + 1) + number(0, 4) + date +
        '\0' + fraction + std::string(8, '\0'); // so long that no text fits into its entry
    return jpeg.substr(0, 2) + "\xFF\xE1" + number(tiff.size() + 8, 2) +
           std::string("Exif\0\0", 6) + tiff + jpeg.substr(2);
}

std::string jpegOf(const Picture& picture) {
    return encode(picture, AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ420P);
}

TEST_F(OutputsTest, AreCommaSeparatedValues) {
    const Picture sharp = makeScene(160, 120), soft = blurred(sharp, 5);
    const int high = libraryScore(sharp), low = libraryScore(soft);
    writeFile("1 plain.pgm", toPnm(soft));
    writeFile("2,\"x\"\n.pgm", toPnm(sharp));
    const std::string first = join("0,1 plain.pgm,0,,160,120,", low);
    const std::string second = join("1,\"2,\"\"x\"\"\n.pgm\",1,,160,120,", high);
    const std::string head = "index,name,number,time,width,height,blur";
    EXPECT_EQ(runText("blur . --csv"), join(head, "\n", second, "\n", first, "\n"));
    EXPECT_EQ(runText("pick . --csv"),
              join(head, ",chosen,best\n", first, ",0,0\n", second, ",1,1\n"));
    EXPECT_THAT(runText("pick . --csv --moving"),
                HasSubstr(join(",chosen,best,left,top,right,bottom,area\n", first, ",0,0,,,,,\n")));
    EXPECT_THAT(runText("pick . --csv --group-gap=60"), HasSubstr("\n1,1,\"2,"));
    std::vector<std::string> pngs(3, encode(soft, AV_CODEC_ID_PNG, AV_PIX_FMT_GRAY8));
    writeFile("v.ivf", toIvf("MPNG", pngs));
    EXPECT_THAT(runText("pick v.ivf --csv --every 2"),
                HasSubstr(join("\n1,v.ivf,2,0.200000,160,120,", low, ",0,0\n")));
}

TEST_F(OutputsTest, AreBurstsOfADay) {
    const std::string small = jpegOf(makeScene(160, 120)),
                      soft = jpegOf(blurred(makeScene(160, 120), 5));
    const std::string large = jpegOf(makeScene(200, 160));
    const auto write = [](const char* name, const std::string& jpeg, const char* time,
                          const char* fraction) {
        writeFile(name, withCaptureTime(jpeg, join("2026:05:01 10:20:", time), fraction));
    };
    fs::create_directory("day");
    write("day/f.jpg", soft, "00", "500000000000");
    write("day/e.jpg", small, "02", "500000000000"); // exactly 2 s later, in another size
    write("day/d.jpg", large, "01", "000000000000");
    write("day/c.jpg", soft, "02", "300000000000"); // before e.jpg by its fraction
    write("day/b.jpg", small, "05", "000000000000");
    writeFile("day/a.jpg", small); // tells no time
    writeFile("day/g.jpg", withCaptureTime(soft, "    :  :     :  :  ", "            "));
    for (const char* name : {"day/a.jpg", "day/g.jpg"}) {
        const timespec times[2] = {{1777600000, 0}, {1777600000, 250000000}};
        utimensat(AT_FDCWD, name, times, 0); // 2026-05-01 01:46:40 UTC
    }
    setenv("TZ", "UTC", 1);

    using Names = std::vector<std::string>;
    const auto names = [](const std::string& words) {
        std::vector<Names> bursts;
        const Json json = runJson("pick day ", words);
        for (const Json& burst : json["bursts"]) {
            bursts.emplace_back();
            for (const Json& frame : burst["frames"])
                bursts.back().push_back(frame["name"]);
        }
        return bursts;
    };
    const std::vector<Names> usual = {
        {"a.jpg", "g.jpg"}, {"f.jpg", "c.jpg", "e.jpg"}, {"d.jpg"}, {"b.jpg"}};
    for (const char* words : {"--group", "--group-gap 2", "--group-gap=2", "--group-gap 2.4 --every 1"})
        EXPECT_EQ(names(words), usual) << words;
    EXPECT_EQ(names("--group-gap 2.5"),
              (std::vector<Names>{usual[0], {"f.jpg", "c.jpg", "e.jpg", "b.jpg"}, {"d.jpg"}}));
    EXPECT_EQ(names("--group-gap 0").size(), 6u);
    EXPECT_EQ(names("--group-gap 9 --max 1"), (std::vector<Names>{{"a.jpg"}, {"f.jpg"}}));

    const Json json = runJson("pick --group day");
    EXPECT_EQ((Json{json["group_seconds"], json["skipped"].size()}), (Json{2.0, 0}));
    const Json& bursts = json["bursts"];
    EXPECT_EQ((Json{bursts[0]["start"], bursts[0]["file_times"]}),
              (Json{"2026-05-01T01:46:40.250", 2}));
    EXPECT_EQ((Json{bursts[1]["start"], bursts[1]["file_times"], bursts[1]["best"]}),
              (Json{"2026-05-01T10:20:00.500", 0, 2}));
    EXPECT_THAT(runText("pick day --group"),
                testing::AllOf(HasSubstr("\n    2      2  e.jpg"),
                               HasSubstr("\nNote: 2 frames of 7 without a capture time"),
                               HasSubstr("\n4 bursts; kept 4 of 7 frames.\n")));
    writeFile("day/a.jpg", "bad");
    expectRefused("pick day --group", "a.jpg: ");
    EXPECT_EQ(runJson("pick day --group --skip-bad")["skipped"][0]["name"], "a.jpg");
}

TEST_F(OutputsTest, AreTheChosenFiles) {
    const Picture scene = makeScene(161, 121);
    fs::create_directory("in");
    for (const int i : {1, 2, 3})
        writeFile(join("in/", i, ".pgm"), toPnm(blurred(scene, 9 - 2 * i)));
    runText("pick in --keep 2 --copy-to copies");
    for (const int i : {2, 3})
        EXPECT_EQ(readFile(join("copies/", i, ".pgm")), readFile(join("in/", i, ".pgm")));
    EXPECT_EQ(fs::last_write_time("copies/3.pgm"), fs::last_write_time("in/3.pgm"));
    EXPECT_FALSE(fs::exists("copies/1.pgm"));
    runText("pick in --link-to links/");
    EXPECT_EQ(fs::read_symlink("links/3.pgm"), fs::absolute("in/3.pgm"));

    // What exists stays, links and what they lead to as well, until it is to be replaced.
    writeFile("copies/3.pgm", "mine");
    const std::string source = readFile("in/3.pgm");
    for (const char* words : {"pick in --copy-to copies", "pick in --link-to links"})
        expectRefused(words, "3.pgm: exists; --force");
    EXPECT_EQ(readFile("copies/3.pgm"), "mine");
    expectRefused("pick in --copy-to in --force", "in/3.pgm: is the chosen file itself");
    runText("pick in --copy-to copies --force");
    EXPECT_EQ(readFile("copies/3.pgm"), source);
    runText("pick in --copy-to links --force");
    EXPECT_FALSE(fs::is_symlink("links/3.pgm"));
    runText("pick in --link-to links --force");
    EXPECT_TRUE(fs::is_symlink("links/3.pgm"));
    EXPECT_EQ(readFile("in/3.pgm"), source);

    fs::create_directories("other/3.pgm");
    const std::pair<const char*, const char*> refused[] = {
        {"pick in --copy-to none/out", "none/out: the folder that would hold it"},
        {"pick in --copy-to in/1.pgm", "in/1.pgm: exists and is not a folder"},
        {"pick in --copy-to other --force", "other/3.pgm: exists and is not a regular file"},
        {"pick in/3.pgm copies/3.pgm --keep 2 --copy-to out", "same name in out as in/3.pgm"},
        {"pick in --copy-to out --link-to out", " excludes --"}};
    for (const auto& [words, message] : refused)
        expectRefused(words, message);

    std::vector<std::string> pngs;
    for (const int size : {5, 1, 3})
        pngs.push_back(encode(blurred(scene, size), AV_CODEC_ID_PNG, AV_PIX_FMT_GRAY8));
    writeFile("v.ivf", toIvf("MPNG", pngs));
    expectRefused("pick v.ivf --link-to frames", "--link-to: frames of a video");
    runText("pick v.ivf --keep 2 --copy-to frames");
    Picture frame = readPng("frames/v-frame-000001.png");
    EXPECT_EQ((std::vector{frame.width, frame.height, frame.channels}), (std::vector{161, 121, 3}));
    Picture grey = scene;
    for (int i = 0; i < 161 * 121; i += 97)
        EXPECT_NEAR(frame.at(i % 161, i / 161, 1), grey.at(i % 161, i / 161), 1);
    EXPECT_TRUE(fs::exists("frames/v-frame-000002.png"));
}

TEST_F(OutputsTest, AreLinesOfJson) {
    for (const int i : {1, 2, 3})
        writeFile(join(i, ".pgm"), toPnm(blurred(makeScene(160, 120), i == 2 ? 1 : 5)));
    writeFile("bad.pgm", "no picture");
    // A line, the id of its answer, and the kept frames or the reason against it.
    const std::tuple<std::string, Json, Json> cases[] = {
        {R"({"id": 1, "files": ["1.pgm", "2.pgm", "3.pgm"]})", 1, {1, 2}},
        {R"({"files": ["1.pgm", "2.pgm", "3.pgm"], "id": "x", "keep": 1})", "x", {1}},
        {R"({"id": "y", "files": ["1.pgm", "bad.pgm", "3.pgm"], "skip_bad": true})", "y", {0, 1}},
        {R"({"id": 2, "files": ["1.pgm", "2.pgm", "3.pgm"], "every": 2, "max": 1})", 2, {0}},
        {R"({"id": 3, "files": ["bad.pgm"]})", 3, "bad.pgm"},
        {R"({"id": 4, "files": ["bad.pgm"], "skip_bad": true})", 4, "no frame could be read"},
        {R"({"id": 5, "files": []})", 5, "files: must not be empty"},
        {R"({"id": 6})", 6, "\"files\" is missing"},
        {R"({"id": 7, "files": [1]})", 7, "files[0]: must be a string"},
        {R"({"id": 8, "files": ["1.pgm"], "keep": 0})", 8, "keep: must be 1 to 2147483647"},
        {R"({"id": 9, "files": ["1.pgm"], "moving": 1})", 9, "moving: must be true or false"},
        {R"({"id": 10, "files": ["1.pgm"], "faces": "none"})", 10, "No such file"},
        {R"({"id": 11, "files": ["1.pgm"], "best": 1})", 11, "unknown key \"best\""},
        {R"({"id": 1.5, "files": ["1.pgm"]})", nullptr, "needs an \"id\""},
        {R"({"files": ["1.pgm"]})", nullptr, "needs an \"id\""},
        {"[]", nullptr, "needs an \"id\""},
        {R"({"id": 12, "max": 1e999})", nullptr, "not valid JSON"},
        {"{", nullptr, "not valid JSON"}};
    std::string list, answers;
    for (const auto& [line, id, expected] : cases)
        list += line + "\n\r\n";
    writeFile("list", list);
    const ToolRun run("pick --jsonl --keep 2 <list");
    EXPECT_EQ(run.status, 0) << run.err;
    std::istringstream lines(run.out);
    for (const auto& [line, id, expected] : cases) {
        SCOPED_TRACE(line);
        ASSERT_TRUE(std::getline(lines, answers));
        const Json answer = Json::parse(answers, nullptr, false);
        EXPECT_EQ((Json{answer["schema"], answer["command"], answer["id"]}), (Json{1, "pick", id}));
        if (expected.is_array())
            EXPECT_EQ(answer["chosen"], expected);
        else
            EXPECT_THAT(answer["error"].dump(), HasSubstr(expected.dump().substr(1, 12)));
    }
    EXPECT_FALSE(std::getline(lines, answers));
    EXPECT_EQ(WEXITSTATUS(ToolRun("pick --jsonl --strict <list").status), 2);

    // An answer that was cut does not count.
    writeFile("before", run.out.substr(0, run.out.find("\"x\"")));
    const std::string rest = ToolRun("pick --jsonl --keep 2 --resume before <list").out;
    EXPECT_EQ(rest, run.out.substr(run.out.find('\n') + 1));
    for (const char* words : {"--json", "--group", "--report out.html", "--copy-to out", "1.pgm"})
        expectRefused(join("pick --jsonl ", words), "xcludes");
    expectRefused("pick --jsonl --resume none <list", "none: No such file");
    expectRefused("pick 1.pgm --resume list", "--resume requires --jsonl");
}

} // namespace
