#include "tool_test.h"

namespace {

using FormatsTest = ToolTest;

// Grey values in full-range colour keep their luma, so that a conversion hardly moves the score;
// one to limited range would lower it by a seventh.
TEST_F(FormatsTest, AreMeasuredAsTheyLieOrConverted) {
    for (const char* folder : {"cut", "damaged"})
        std::filesystem::create_directory(folder);
    const Picture scene = makeScene(160, 121);
    const double score = libraryScore(scene);
    size_t pieces = 0;
    std::string tenBits = "YUV4MPEG2 W160 H121 F10:1 C420p10\nFRAME\n";
    for (const uint8_t pixel : scene.pixels)
        tenBits += {static_cast<char>(pixel << 2), static_cast<char>(pixel >> 6)};
    for (int i = 0; i < 2 * 80 * 61; ++i)
        tenBits += {0, 2};
    const std::tuple<std::string, std::string, double> cases[] = {
        {"gray", toPnm(scene), 0},
        {"gray", encode(scene, AV_CODEC_ID_PNG, AV_PIX_FMT_GRAY8), 0},
        {"gray", encode(scene, AV_CODEC_ID_TIFF, AV_PIX_FMT_GRAY8), 0},
        {"yuvj420p", encode(scene, AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ420P), 0.05},
        {"yuvj422p", encode(scene, AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ422P), 0.05},
        {"yuvj444p", encode(scene, AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ444P), 0.05},
        {"rgb24", encode(scene, AV_CODEC_ID_PNG, AV_PIX_FMT_RGB24, 3), 0.01},
        {"rgba", encode(scene, AV_CODEC_ID_PNG, AV_PIX_FMT_RGBA, 4), 0.01},
        {"rgb48be", encode(scene, AV_CODEC_ID_PNG, AV_PIX_FMT_RGB48BE, 6), 0.01},
        {"yuv420p10le", tenBits, 0.01}};
    for (const auto& [format, file, tolerance] : cases) {
        SCOPED_TRACE(format);
        writeFile("a", file);
        const Json frame = runJson("blur a")["frames"][0];
        EXPECT_NEAR(frame["blur"].get<double>(), score, score * tolerance);
        EXPECT_EQ(frame["pixel_format"], format);
        EXPECT_EQ(frame["format"], format == "yuvj422p" ? "0x603" : "0x601");
        const bool converted = tolerance == 0.01;
        EXPECT_EQ((Json{frame["converted"], frame["cropped"]}), (Json{converted, true}));
        EXPECT_EQ(runText("blur a").find("converted to 8-bit") != std::string::npos, converted);
        if (format == "yuv420p10le") // a video, which ends where its data ends
            break;
        for (const unsigned percent : {1u, 10u, 25u, 50u, 75u, 90u, 99u}) {
            writeFile(join("cut/", ++pieces, ".pnm"), file.substr(0, file.size() * percent / 100));
            std::string damaged = file;
            for (size_t at = percent; at < file.size(); at += file.size() / 7 + percent * percent)
                damaged[at] = static_cast<char>(damaged[at] ^ static_cast<int>(percent));
            writeFile(join("damaged/", pieces, ".pnm"), damaged);
        }
    }
    writeFile("cut/whole.pnm", toPnm(scene));
    const Json json = runJson("blur cut --skip-bad");
    EXPECT_EQ((Json{json["skipped"].size(), json["frames"].size()}), (Json{pieces, 1}));
    const std::pair<const char*, const char*> commands[] = {
        {"blur damaged/", ".pnm"},
        {"pick --report page.html --force damaged/", ".pnm"},
        {"pick --moving cut/whole.pnm damaged/", ".pnm"},
        {"resize --size 9x7 --force damaged/", ".pnm out.png"},
        {"align cut/whole.pnm damaged/", ".pnm"},
        {"changes --overlay out.png --force cut/whole.pnm damaged/", ".pnm"}};
    for (size_t i = 1; i <= pieces; ++i) {
        const auto& [command, end] = commands[i % std::size(commands)];
        const ToolRun run(join(command, i, end));
        EXPECT_THAT(WEXITSTATUS(run.status), testing::AnyOf(0, 2)) << command << i << run.err;
    }
    EXPECT_THAT(runText("blur a"), HasSubstr("odd size (160 x 121)"));
    std::string damaged = encode(scene, AV_CODEC_ID_PNG, AV_PIX_FMT_GRAY8);
    damaged[damaged.size() / 2] ^= 1;
    writeFile("a.png", damaged);
    expectRefused("blur a.png", "a.png: ");
    // Cameras append a preview or a film to a JPEG; without the last marker the picture is cut.
    const std::string jpeg = encode(scene, AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ420P);
    writeFile("a.jpg", join(jpeg, jpeg.substr(0, 200), "trailing bytes"));
    EXPECT_EQ(runJson("blur a.jpg")["frames"].size(), 1u);
    writeFile("a.jpg", jpeg.substr(0, jpeg.size() - 2));
    expectRefused("blur a.jpg", "a.jpg: the JPEG data is truncated");
}

} // namespace
