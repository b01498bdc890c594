#include "media.h"
#include "run_tool.h"

#include <algorithm>

namespace {

using Json = nlohmann::json;

// A bright textured square crosses a darker scene by more than its size per frame. The scene is
// sharpest in frame 1 and the square in frame 3; elsewhere they are blurred.
class MovingTest : public ToolTest {
protected:
    void writeBurst(int frames, bool moving) {
        for (int i = 0; i < frames; ++i) {
            Grey frame = dimmed(boxBlur(makeScene(320, 240), i == 1 ? 0 : 1), 2, 0);
            const Grey square = dimmed(boxBlur(makeScene(side, side), i == 3 ? 0 : 2), 3, 170);
            for (int y = 0; moving && y < side; ++y)
                std::copy_n(&square.pixels[static_cast<size_t>(y * side)], side,
                            &frame.pixels[static_cast<size_t>((y + top) * 320 + leftOf(i))]);
            write(names[i], toPgm(frame));
        }
    }

    RunResult pick(std::vector<std::string> options) {
        options.insert(options.begin(), {"pick", folder});
        return runTool(options);
    }

    static Grey dimmed(Grey image, int divisor, int offset) {
        for (uint8_t& pixel : image.pixels)
            pixel = static_cast<uint8_t>(pixel / divisor + offset);
        return image;
    }

    static int leftOf(int i) { return 40 + 45 * i; }

    static constexpr const char* names[] = {"f0.pgm", "f1.pgm", "f2.pgm", "f3.pgm", "f4.pgm"};
    static constexpr int side = 40;
    static constexpr int top = 100;
};

TEST_F(MovingTest, TheMovingObjectDecides) {
    writeBurst(5, true);
    EXPECT_EQ(pick({"--json"}).json()["best"], 1);
    const RunResult result = pick({"--json", "--moving"});
    ASSERT_EQ(result.status, 0) << result.err;
    const Json json = result.json();
    EXPECT_EQ(json["best"], 3);
    EXPECT_EQ(json["moving_used"], true);
    ASSERT_EQ(json["frames"].size(), 5u);
    for (int i = 0; i < 5; ++i) {
        const Json& object = json["frames"][static_cast<size_t>(i)]["moving"];
        ASSERT_TRUE(object.is_object()) << i;
        const int expected[] = {leftOf(i), top, leftOf(i) + side, top + side};
        for (size_t edge = 0; edge < 4; ++edge)
            EXPECT_NEAR(object["rect"][edge].get<int>(), expected[edge], 6) << i << " " << edge;
        EXPECT_NEAR(object["area"].get<double>(), side * side, 400) << i;
        EXPECT_EQ(object["used"], true);
    }
    const RunResult table = pick({"--moving"});
    EXPECT_NE(table.out.find("Moving: an object in 5 of 5 frames;"), std::string::npos)
        << table.out;
    EXPECT_NE(table.out.find("Best: f3.pgm"), std::string::npos);
}

TEST_F(MovingTest, AStillBurstRanksAsWithout) {
    writeBurst(4, false);
    Json still = pick({"--json", "--moving"}).json();
    EXPECT_EQ(still["moving_used"], false);
    still.erase("moving_used");
    for (Json& frame : still["frames"]) {
        EXPECT_EQ(frame["moving"], Json());
        frame.erase("moving");
    }
    EXPECT_EQ(still, pick({"--json"}).json());
    EXPECT_NE(pick({"--moving"}).out.find("Moving: nothing was found"), std::string::npos);
}

// The square stands in one frame of five: its neighbours differ from that frame alone.
TEST_F(MovingTest, TooFewObjectsAreSetAside) {
    writeBurst(5, false);
    std::string with = read("f0.pgm");
    for (size_t y = 0; y < side; ++y)
        with.replace(15 + (y + top) * 320 + 40, side, side, '\xF0');
    write("f0.pgm", with);
    const Json json = pick({"--json", "--moving"}).json();
    EXPECT_EQ(json["moving_used"], false);
    EXPECT_EQ(json["best"], 1);
    EXPECT_EQ(json["frames"][0]["moving"]["used"], false);
    EXPECT_NE(pick({"--moving"}).out.find("too few to count"), std::string::npos);
}

// Another scene in the middle shows no movement, and hides none of the frames that fit.
TEST_F(MovingTest, AnotherSceneIsNoMovement) {
    writeBurst(3, true);
    Grey other = makeScene(320, 240);
    std::reverse(other.pixels.begin(), other.pixels.end());
    write("f1.pgm", toPgm(other));
    const Json json = pick({"--json", "--moving"}).json();
    EXPECT_EQ(json["frames"][1]["moving"], Json());
    EXPECT_EQ(json["frames"][0]["moving"]["used"], true);
    EXPECT_NE(pick({"--moving"}).out.find("2 of 3 frames (1 not comparable"), std::string::npos);
}

TEST_F(MovingTest, NeedsFramesThatAreLargeEnough) {
    write("a.pgm", toPgm(makeScene(200, 99)));
    write("b.pgm", toPgm(makeScene(200, 99)));
    expectRefused(pick({"--moving"}), folder, "100 on the shorter side");
    std::filesystem::remove(path("b.pgm"));
    write("a.pgm", toPgm(makeScene(200, 101)));
    const RunResult single = pick({"--moving"});
    EXPECT_EQ(single.status, 0) << single.err;
    EXPECT_NE(single.out.find("Moving: nothing was found"), std::string::npos);
}

} // namespace
