#include "tool_test.h"

namespace {

using PageTest = ToolTest;

// Looks at the page in two frames, of a desk's and of a phone's width, and writes what it finds
// into itself, from where `--dump-dom` prints it.
constexpr const char* probe = R"html(<!DOCTYPE html><meta charset="utf-8">
<iframe src="out.html" width="1200" height="900"></iframe>
<iframe src="out.html" width="320" height="900"></iframe>
<pre id="result"></pre><script>
function inside(picture, rect) {  // in pixels of the frame that the thumbnail shows
  const p = picture.getBoundingClientRect(), r = rect.getBoundingClientRect();
  const [,, width, height] = rect.ownerSVGElement.getAttribute("viewBox").split(" ").map(Number);
  const x = width / p.width, y = height / p.height;
  return [(r.left - p.left) * x, (r.top - p.top) * y, (r.right - p.left) * x, (r.bottom - p.top) * y];
}
addEventListener("load", () => {
  document.getElementById("result").textContent = JSON.stringify([frames[0], frames[1]].map(view => {
    const all = query => [...view.document.querySelectorAll(query)];
    return {
      images: all("img").map(i => i.complete && i.naturalWidth > 0 && i.alt !== ""),
      names: all(".frame .name").map(name => name.textContent),
      best: all(".frame").map(f => f.classList.contains("best") && !!f.querySelector(".badge.best")),
      kept: all(".frame").map(f => f.classList.contains("kept") && !!f.querySelector(".badge")),
      bars: all(".frame .bar").map(b => b.firstChild.getBoundingClientRect().width /
                                        b.getBoundingClientRect().width),
      moving: all(".frame .picture").map(p => {
        const rect = p.querySelector("rect.moving");
        return rect && inside(p, rect);
      }),
      links: all("a").map(a => !!view.document.getElementById(a.getAttribute("href").slice(1))),
      overflow: view.document.documentElement.scrollWidth - view.innerWidth,
      light: parseInt(view.getComputedStyle(view.document.body).backgroundColor.slice(4)) > 127
    };
  })).replace(/[<>&]/g, c => "\\u00" + c.charCodeAt(0).toString(16));
});
</script>)html";

// What the browser finds; its console must stay empty.
Json look(const std::string& options) {
    writeFile("probe.html", probe);
    const std::string command =
        join("chromium --headless --no-sandbox --disable-gpu --disable-dev-shm-usage "
             "--user-data-dir=../browser "
             "--allow-file-access-from-files --enable-logging=stderr --virtual-time-budget=5000 ",
             options, " --dump-dom \"file://$PWD/probe.html\" >../dom 2>../log");
    EXPECT_EQ(std::system(command.c_str()), 0) << readFile("../log");
    EXPECT_THAT(readFile("../log"), testing::Not(HasSubstr("CONSOLE")));
    const std::string dom = readFile("../dom"), start = "<pre id=\"result\">";
    const size_t at = dom.find(start), end = dom.find("</pre>", at);
    return at == std::string::npos
               ? Json()
               : Json::parse(dom.substr(at + start.size(), end - at - start.size()), nullptr,
                             false);
}

// A square that crosses the scene, in files whose names are to be escaped.
void writeBurst() {
    for (int i = 0; i < 5; ++i) {
        Picture frame = blurred(makeScene(400, 300, 0, 0, 0, 120), i == 1 ? 1 : 3);
        Picture square = blurred(makeScene(40, 40, 0, 0, 170, 250), i == 3 ? 1 : 5);
        for (int y = 0; y < 40; ++y)
            std::copy_n(&square.at(0, y), 40, &frame.at(60 + 45 * i, 120 + y));
        writeFile(join(i, " <b>&'x'.pgm"), toPnm(frame));
    }
}

TEST_F(PageTest, StandsAlone) {
    writeBurst();
    const std::string text = runText("pick . --keep 2 --moving --report out.html");
    EXPECT_THAT(text, HasSubstr("Best: 3 <b>"));
    const std::string page = readFile("out.html");
    for (const char* forbidden : {"<b>", "<script", "http:", "https:", "src=\"file", "{{", "url("})
        EXPECT_EQ(page.find(forbidden), std::string::npos) << forbidden;
    expectRefused("pick . --skip-bad --report out.html", "out.html: exists; --force");
    runText("pick . --skip-bad --every 9 --report out.html --force");
    EXPECT_EQ(readFile("out.html").find("Best and least sharp"), std::string::npos);
    writeFile("faces", R"({"frames": [{"faces": [{"rect": [0,0,9,9], "eyes_open": false}]}]})");
    runText("pick '3 <b>&'*  --faces faces --report out.html --force");
    EXPECT_THAT(readFile("out.html"), HasSubstr("1 face, 1 with closed eyes"));
}

// A burst longer than its sheet shows some frames, and always those that matter.
TEST_F(PageTest, IsBoundedForALongVideo) {
    std::vector<std::string> pngs;
    for (int i = 0; i < 600; ++i)
        pngs.push_back(encode(blurred(makeScene(32, 24), i == 301 ? 1 : 3), AV_CODEC_ID_PNG,
                              AV_PIX_FMT_GRAY8));
    writeFile("v.ivf", toIvf("MPNG", pngs));
    runText("pick v.ivf --report out.html");
    const std::string page = readFile("out.html");
    EXPECT_THAT(page, HasSubstr("Shown are 151 of 600 frames: one in 4,"));
    EXPECT_THAT(page, HasSubstr("<li class=\"frame kept best\" id=\"burst-1-frame-301\">"));
}

TEST_F(PageTest, ShowsItsPicturesAndMarks) {
    if (std::system("command -v chromium >../out") != 0)
        GTEST_SKIP() << "Chromium is not installed";
    writeBurst();
    const Json pick = runJson("pick . --keep 2 --moving --report out.html");
    std::vector<std::string> names;
    std::vector<bool> best, kept;
    for (const Json& frame : pick["frames"]) {
        names.push_back(frame["name"]);
        best.push_back(frame["best"]);
        kept.push_back(frame["chosen"]);
    }
    const int sharpest = pick["frames"][pick["order"][0].get<size_t>()]["blur"];
    for (const auto& [options, light] :
         {std::pair{"", true}, {"--blink-settings=preferredColorScheme=0", false}}) {
        const Json views = look(options);
        ASSERT_EQ(views.size(), 2u) << options;
        for (const Json& view : views) {
            EXPECT_EQ(view["images"], Json(std::vector(7, true)));
            EXPECT_EQ((Json{view["names"], view["best"], view["kept"]}), (Json{names, best, kept}));
            EXPECT_THAT(view["links"].get<std::vector<bool>>(),
                        testing::AllOf(testing::SizeIs(testing::Ge(10)), testing::Each(true)));
            EXPECT_LE(view["overflow"], 0);
            EXPECT_EQ(view["light"], light);
            for (size_t i = 0; i < 5; ++i) {
                const Json& frame = pick["frames"][i];
                EXPECT_NEAR(view["bars"][i].get<double>(), frame["blur"].get<double>() / sharpest,
                            0.02);
                EXPECT_THAT(view["moving"][i].get<std::vector<double>>(),
                            testing::Pointwise(testing::DoubleNear(4),
                                               frame["moving"]["rect"].get<std::vector<double>>()));
            }
        }
    }
    // Several bursts in one page: a table of links, and a section for each.
    for (size_t i = 0; i < 5; ++i)
        std::filesystem::last_write_time(names[i], std::filesystem::file_time_type::clock::now() -
                                                       std::chrono::hours(i));
    EXPECT_THAT(runText("pick . --skip-bad --group --report out.html --force"),
                HasSubstr("5 bursts; kept 5 of 5 frames."));
    const Json views = look("");
    ASSERT_EQ(views.size(), 2u);
    EXPECT_EQ(views[1]["images"].size(), 5u);
    EXPECT_LE(views[1]["overflow"], 0);
    EXPECT_THAT(views[1]["links"].get<std::vector<bool>>(), testing::Each(true));
}

} // namespace
