#include "tool_test.h"

namespace {

using BadInputTest = ToolTest;

TEST_F(BadInputTest, IsRefusedInOneLine) {
    writeFile("a.pgm", toPnm(makeScene(160, 120)));
    writeFile("b.pgm", toPnm(makeScene(120, 160)));
    writeFile("low.pgm", toPnm(makeScene(200, 99)));
    writeFile("empty.jpg", "");
    for (const char* folder : {"nothing", "texts", "bad", "out.d"})
        std::filesystem::create_directory(folder);
    for (const char* name : {"text.jpg", "old.png", "texts/a.txt", "bad/a.jpg"})
        writeFile(name, "this is no picture\nat all\n");

    // A command, what makes it bad, and what stderr has to say.
    const std::tuple<std::string, std::vector<std::string>, std::string> cases[] = {
        {"", {"", "melt", "pick", "align a.pgm", "smooth a.pgm out.png"}, "arguments: "},
        {"pick", {"missing.jpg", "none/a.jpg", "a.pgm none.jpg"}, ".jpg: No such file"},
        {"blur", {"'te\nxt.jpg'", "a.pgm 'te\nxt.jpg'"}, "te?xt.jpg: "},
        {"pick", {"empty.jpg", "a.pgm empty.jpg"}, "empty.jpg: the file is empty"},
        {"blur", {"text.jpg", "a.pgm text.jpg"}, "text.jpg: "},
        {"blur", {"nothing", "texts"}, ": no pictures in this folder"},
        {"pick --skip-bad", {"bad", "text.jpg"}, ": no frame could be read"},
        {"",
         {"pick a.pgm b.pgm", "pick --skip-bad a.pgm b.pgm", "align a.pgm b.pgm",
          "changes a.pgm b.pgm"},
         "b.pgm: 120 x 160 pixels, but a.pgm has 160 x 120"},
        {"pick a.pgm --keep", {"0", "-1", "many"}, "--keep: "},
        {"blur a.pgm", {"--every 0", "--max 0", "--keep 2", "--report out.html"}, "--"},
        {"pick a.pgm --group-gap", {"-1", "86401", "x"}, "--group-gap: "},
        {"pick", {"", "--group", "--group-gap 5"}, "arguments: INPUT is required"},
        {"pick a.pgm", {"--csv --json", "--group --faces x", "--group=x", "--strict"}, "--"},
        {"",
         {"pick --moving low.pgm", "changes low.pgm low.pgm --overlay out.png"},
         "100 on the shorter side"},
        {"resize a.pgm out.png --size",
         {"0x5", "5", "5x", "x5", "5x5x5", "16001x4", "4x16001", "'5 x 5'", "99999999999x3", "''"},
         "--size: "},
        {"smooth a.pgm out.png --size", {"0", "-1", "2896", "many", "160", "161"}, "--size: "},
        {"morph a.pgm out.png --op open --radius", {"0", "-1", "1001", "1.5"}, "--radius: "},
        {"morph a.pgm out.png --radius 1 --op", {"melt", "0"}, "--op: "},
        {"",
         {"resize a.pgm old.png --size 8x6", "smooth a.pgm old.png --size 3",
          "morph a.pgm old.png --op open --radius 1", "pick a.pgm --report old.png",
          "changes a.pgm a.pgm --overlay old.png"},
         "old.png: exists; --force"},
        {"resize a.pgm --size 8x6", {"out.d --force"}, "out.d: exists and is not a regular file"},
        {"smooth a.pgm --size 3", {"none/out.png"}, "none/out.png: No such file"},
        {"",
         {"resize text.jpg --size 8x6 out.png", "smooth text.jpg --size 3 old.png --force",
          "changes a.pgm text.jpg --overlay old.png --force"},
         "text.jpg: "},
    };
    for (const auto& [command, endings, message] : cases)
        for (const std::string& ending : endings)
            expectRefused(join(command, " ", ending), message);
    for (const char* accepted :
         {"--help", "pick --help", "version", "blur a.pgm b.pgm", "align low.pgm low.pgm"})
        EXPECT_NE(runText(accepted), "");
}

} // namespace
