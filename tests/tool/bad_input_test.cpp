#include "media.h"
#include "run_tool.h"

namespace {

using BadInputTest = ToolTest;

TEST_F(BadInputTest, IsNamedInOneLine) {
    write("empty.jpg", "");
    write("text.jpg", "this is no picture\nat all\n");
    std::filesystem::create_directory(path("nothing"));
    std::filesystem::create_directory(path("texts"));
    write("texts/a.txt", "text");
    for (const char* command : {"pick", "blur"}) {
        expectRefused(runTool({command, path("missing.jpg")}), "missing.jpg", "No such file");
        expectRefused(runTool({command, path("empty.jpg")}), "empty.jpg", "empty");
        expectRefused(runTool({command, path("text.jpg")}), "text.jpg");
        expectRefused(runTool({command, path("nothing")}), "nothing", "no pictures");
        expectRefused(runTool({command, path("texts")}), "texts", "no pictures");
    }
    expectRefused(runTool({"blur", path("mi\nssing.jpg")}), "mi?ssing.jpg");
}

TEST_F(BadInputTest, TruncatedPicturesAreRefused) {
    const Grey scene = makeScene(160, 120);
    const std::pair<std::string, std::string> pictures[] = {
        {"a.jpg", encodePicture(scene, AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ420P)},
        {"a.png", encodePicture(scene, AV_CODEC_ID_PNG, AV_PIX_FMT_RGB24)},
        {"a.tif", encodePicture(scene, AV_CODEC_ID_TIFF, AV_PIX_FMT_RGB24)},
        {"a.pgm", toPgm(scene)}};
    for (const auto& [name, bytes] : pictures) {
        write(name, bytes);
        ASSERT_EQ(runTool({"blur", path(name)}).status, 0) << name;
        for (const unsigned percent : {1u, 10u, 25u, 50u, 75u, 90u, 99u}) {
            SCOPED_TRACE(name + " cut at " + std::to_string(percent) + " %");
            write(name, bytes.substr(0, bytes.size() * percent / 100));
            expectRefused(runTool({"blur", path(name)}), name);
        }
    }
}

// Cameras append a preview or a film to a JPEG; without the last marker the picture itself is cut.
TEST_F(BadInputTest, JpegEndsAtItsMarker) {
    const std::string jpeg =
        encodePicture(makeScene(160, 120), AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ420P);
    write("a.jpg", jpeg.substr(0, jpeg.size() - 2));
    expectRefused(runTool({"blur", path("a.jpg")}), "a.jpg", "truncated");
    write("a.jpg", jpeg + jpeg.substr(0, 200) + "trailing bytes");
    const RunResult result = runTool({"blur", path("a.jpg"), "--json"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.json()["frames"].size(), 1u);
}

TEST_F(BadInputTest, SizesMayDifferForBlurAlone) {
    write("a.pgm", toPgm(makeScene(160, 120)));
    write("b.pgm", toPgm(makeScene(120, 160)));
    expectRefused(runTool({"pick", folder}), "b.pgm", "a.pgm has 160 x 120");
    expectRefused(runTool({"pick", folder, "--skip-bad"}), "b.pgm");
    EXPECT_EQ(runTool({"blur", folder}).status, 0);
}

TEST_F(BadInputTest, ArgumentsAreRefusedInOneLine) {
    write("a.pgm", toPgm(makeScene(160, 120)));
    expectRefused(runTool({}), "arguments");
    expectRefused(runTool({"pick"}), "INPUT");
    expectRefused(runTool({"pick", path("a.pgm"), "--keep", "0"}), "--keep");
    expectRefused(runTool({"pick", path("a.pgm"), "--keep", "many"}), "--keep");
    expectRefused(runTool({"blur", path("a.pgm"), "--every", "0"}), "--every");
    expectRefused(runTool({"blur", path("a.pgm"), "--keep", "2"}), "--keep");
    EXPECT_EQ(runTool({"--help"}).status, 0);
    EXPECT_EQ(runTool({"pick", "--help"}).status, 0);
}

TEST_F(BadInputTest, NothingReadableIsAnErrorEvenWhenSkipping) {
    write("a.jpg", "no picture");
    expectRefused(runTool({"pick", folder, "--skip-bad"}), folder, "no frame");
}

} // namespace
