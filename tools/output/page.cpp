#include "output/page.h"

#include "base/text.h"
#include "output/report.h"
#include "page_text.h"

#include <fmt/format.h>

#include <new>
#include <stdexcept>
#include <string_view>

extern "C" {
#include <libavutil/base64.h>
}

namespace {

constexpr size_t mostOnOneSheet = 256;
constexpr size_t mostOnAllSheets = 1024;
constexpr size_t leastOnOneSheet = 4;
constexpr size_t mostComparisons = 40;

// Text for HTML, between tags and in quoted attributes; control characters are replaced.
std::string escaped(std::string_view text) {
    std::string html;
    for (const char c : oneLine(text)) {
        switch (c) {
        case '&': html += "&amp;"; break;
        case '<': html += "&lt;"; break;
        case '>': html += "&gt;"; break;
        case '"': html += "&quot;"; break;
        case '\'': html += "&#39;"; break;
        default: html += c;
        }
    }
    return html;
}

std::string base64(std::string_view bytes) {
    std::string text(AV_BASE64_SIZE(bytes.size()), '\0');
    if (av_base64_encode(text.data(), static_cast<int>(text.size()),
                         reinterpret_cast<const uint8_t*>(bytes.data()),
                         static_cast<int>(bytes.size())) == nullptr)
        throw std::bad_alloc();
    text.pop_back(); // its terminator
    return text;
}

using Values = std::map<std::string_view, std::string>;

// Puts a value in the place of each "{{name}}" of a template.
std::string fill(std::string_view form, const Values& values) {
    std::string text;
    for (;;) {
        const size_t open = form.find("{{");
        text += form.substr(0, open);
        if (open == std::string_view::npos)
            return text;
        const size_t close = form.find("}}", open);
        text += values.at(form.substr(open + 2, close - open - 2));
        form.remove_prefix(close + 2);
    }
}

// A part of tools/page/parts.html, without the line feed at its end.
std::string part(std::string_view name, const Values& values) {
    const std::string_view parts = pageParts;
    const std::string head = fmt::format("<!-- {} -->\n", name);
    const size_t at = parts.find(head);
    if (at == std::string_view::npos)
        throw std::logic_error(fmt::format("the page has no part {}", name));
    const size_t start = at + head.size();
    const size_t end = std::min(parts.find("\n<!-- ", start), parts.size() - 1);
    return fill(parts.substr(start, end - start), values);
}

// The same as lines of their own.
std::string lines(std::string_view name, const Values& values) { return part(name, values) + "\n"; }

std::string text(int64_t number) { return std::to_string(number); }

// "1,234,567".
std::string grouped(int64_t number) {
    std::string digits = text(number);
    for (size_t i = digits.size(); i > 3; i -= 3)
        digits.insert(i - 3, 1, ',');
    return digits;
}

std::string pageSize(int32_t width, int32_t height) {
    return fmt::format("{} × {}", width, height);
}

std::string burstId(size_t burst) { return fmt::format("burst-{}", burst + 1); }

std::string frameId(const std::string& burst, size_t frame) {
    return fmt::format("{}-frame-{}", burst, frame);
}

std::string startText(const Burst& burst) {
    std::string start = burst.start;
    std::replace(start.begin(), start.end(), 'T', ' ');
    return start;
}

std::string rectangle(const char* kind, const __tag_rect& rect) {
    return part("rectangle", {{"class", kind},
                              {"x", text(rect.left)},
                              {"y", text(rect.top)},
                              {"width", text(rect.right - rect.left)},
                              {"height", text(rect.bottom - rect.top)}});
}

// One section of the page.
class BurstSection {
public:
    BurstSection(const Burst& burst, size_t number, size_t count)
        : burst_(burst), measured_(burst.measured), sheet_(burst.sheet), id_(burstId(number)),
          number_(number), count_(count) {}

    std::string html() const {
        const MeasuredFrame& first = measured_.frames.front();
        std::string frames;
        for (const size_t frame : sheet_.shown)
            frames += frameHtml(frame);
        return lines("burst", {{"id", id_},
                               {"title", title()},
                               {"verdict", verdict()},
                               {"notes", notes()},
                               {"comparison", burst_.comparison ? comparisonHtml() : ""},
                               {"sheet_note", sheetNote()},
                               {"chart", measured_.frames.size() > 1 ? chart() : ""},
                               {"width", text(first.width)},
                               {"height", text(first.height)},
                               {"frames", frames}});
    }

private:
    std::string name(size_t frame) const {
        return escaped(frameName(measured_, measured_.frames[frame]));
    }

    std::string link(size_t frame) const {
        return part("link", {{"id", frameId(id_, frame)}, {"name", name(frame)}});
    }

    double share(size_t frame) const {
        const int32_t largest = measured_.frames[measured_.order.front()].blur.score;
        return largest == 0 ? 0 : 100.0 * measured_.frames[frame].blur.score / largest;
    }

    std::string title() const {
        if (count_ == 1)
            return "The burst";
        const std::string start = startText(burst_);
        return fmt::format("Burst {}{}{}", number_ + 1, start.empty() ? "" : ", ", start);
    }

    std::string verdict() const {
        const auto best = static_cast<size_t>(burst_.ranking.best);
        std::string verdict =
            fmt::format("Best: {}, {}.", link(best), comparedWithMedian(measured_, best));
        if (measured_.frames.size() == 1)
            return verdict;
        verdict +=
            fmt::format(" Kept {} of {}", burst_.ranking.chosen.size(), measured_.frames.size());
        const char* separator = ": ";
        for (const int64_t chosen : burst_.ranking.chosen)
            if (sheet_.shown.contains(static_cast<size_t>(chosen))) {
                verdict += separator + link(static_cast<size_t>(chosen));
                separator = ", ";
            }
        return verdict + ".";
    }

    // What took part besides the sharpness.
    std::string notes() const {
        std::string notes;
        const auto add = [&](const std::string& note) { notes += lines("note", {{"text", note}}); };
        size_t faces = 0;
        for (const std::vector<Face>& ofFrame : burst_.faces)
            faces += ofFrame.size();
        if (!burst_.faces.empty())
            add(fmt::format("Faces: {} in {}{}.", faces, counted(measured_.frames.size(), "frame"),
                            faces >= measured_.frames.size() / 2 ? "; they count"
                                                                 : ", too few to count"));
        for (std::string sentence : {commonPartSentence(burst_), movingSentence(burst_)}) {
            sentence.erase(sentence.find_last_not_of('\n') + 1);
            if (!sentence.empty())
                add(escaped(sentence));
        }
        if (burst_.reason != GroupReason::captureTimes)
            add(fmt::format("One burst by its {}.", reasonText(burst_.reason)));
        if (burst_.fileTimes > 0)
            add(fmt::format("{} without a capture time: the file’s own time was taken.",
                            counted(burst_.fileTimes, "frame")));
        return notes;
    }

    std::string sheetNote() const {
        const size_t n = measured_.frames.size();
        std::string note;
        if (sheet_.shown.size() < n)
            note = fmt::format("Shown are {} of {} frames: one in {}, the best and kept ones. ",
                               sheet_.shown.size(), n, sheet_.step);
        if (n > 1)
            note +=
                "Under each frame is its blur score, and that as a share of the sharpest one’s.";
        if (burst_.moving && burst_.moving->found > 0)
            note += " A yellow frame marks what moves.";
        if (burst_.comparison)
            note += " The dashed frame is the cut-out above.";
        return note;
    }

    std::string chart() const {
        std::string bars;
        int column = 0;
        for (const size_t frame : sheet_.shown) {
            const char* const mark = burst_.isBest(frame)     ? " class=\"best\""
                                     : burst_.isChosen(frame) ? " class=\"kept\""
                                                              : "";
            bars += lines("bar", {{"x", fmt::format("{:.1f}", column++ + 0.1)},
                                  {"y", fmt::format("{:.2f}", 100 - share(frame))},
                                  {"height", fmt::format("{:.2f}", share(frame))},
                                  {"class", mark}});
        }
        const auto score = [&](size_t frame) {
            return grouped(measured_.frames[frame].blur.score);
        };
        return lines("chart", {{"count", text(column)},
                               {"width", text(3 * column)},
                               {"lowest", score(measured_.order.back())},
                               {"highest", score(measured_.order.front())},
                               {"bars", bars}});
    }

    std::string comparisonHtml() const {
        const auto& [best, other] = *burst_.comparison;
        const bool least = measured_.order.back() == other.frame;
        const __tag_rect& rect = best.rect;
        const int32_t width = rect.right - rect.left, height = rect.bottom - rect.top;
        std::string place = fmt::format("{} pixels at 100 %, at {} of the best frame: where the "
                                        "sharpness of the two differs most.",
                                        pageSize(width, height), pairText(rect.left, rect.top));
        if (rect.left != other.rect.left || rect.top != other.rect.top)
            place += fmt::format(" The other frame shows the same at {}.",
                                 pairText(other.rect.left, other.rect.top));
        return lines("comparison", {{"title", least ? "Best and least sharp" : "Best and sharpest"},
                                    {"width", text(width)},
                                    {"height", text(height)},
                                    {"best_jpeg", base64(best.jpeg)},
                                    {"best_name", name(best.frame)},
                                    {"best_id", frameId(id_, best.frame)},
                                    {"best_score", grouped(best.score)},
                                    {"other_jpeg", base64(other.jpeg)},
                                    {"other_name", name(other.frame)},
                                    {"other_id", frameId(id_, other.frame)},
                                    {"other_role", least ? "least sharp" : "sharpest"},
                                    {"other_badge", least ? "Least sharp" : "Sharpest"},
                                    {"other_score", grouped(other.score)},
                                    {"place", place}});
    }

    std::string picture(size_t frame) const {
        const auto found = sheet_.thumbnails.find(frame);
        if (found == sheet_.thumbnails.end())
            return part("missing", {});
        const Thumbnail& thumbnail = found->second;
        const char* const rank = burst_.isBest(frame)     ? ", the best frame"
                                 : burst_.isChosen(frame) ? ", kept"
                                                          : "";
        return part("picture", {{"jpeg", base64(thumbnail.jpeg)},
                                {"width", text(thumbnail.width)},
                                {"height", text(thumbnail.height)},
                                {"alt", name(frame) + rank}});
    }

    std::string marks(size_t frame) const {
        std::string rectangles;
        if (burst_.moving && burst_.moving->ofFrames[frame].found)
            rectangles += rectangle("moving", burst_.moving->ofFrames[frame].rect);
        if (burst_.comparison)
            for (const Comparison::Side* side :
                 {&burst_.comparison->best, &burst_.comparison->other})
                if (side->frame == frame)
                    rectangles += rectangle("crop", side->rect);
        const MeasuredFrame& size = measured_.frames[frame];
        return rectangles.empty() ? ""
                                  : part("marks", {{"width", text(size.width)},
                                                   {"height", text(size.height)},
                                                   {"rectangles", rectangles}});
    }

    std::string details(size_t frame) const {
        std::string details;
        if (burst_.moving && burst_.moving->ofFrames[frame].found) {
            const __tag_rect& rect = burst_.moving->ofFrames[frame].rect;
            const std::string size = pageSize(rect.right - rect.left, rect.bottom - rect.top);
            details += lines("detail", {{"text", fmt::format("Moving: {} at {}", size,
                                                             pairText(rect.left, rect.top))}});
        }
        if (!burst_.faces.empty()) {
            const std::vector<Face>& faces = burst_.faces[frame];
            const auto closed = std::ranges::count(faces, 0u, &Face::eyesOpen);
            details += lines(
                "detail",
                {{"text", counted(faces.size(), "face") +
                              (closed > 0 ? fmt::format(", {} with closed eyes", closed) : "")}});
        }
        return details;
    }

    std::string frameHtml(size_t frame) const {
        const bool best = burst_.isBest(frame), kept = burst_.isChosen(frame);
        std::string badge;
        if (best || kept)
            badge = part("badge",
                         {{"class", best ? "best" : "kept"}, {"text", best ? "Best" : "Kept"}});
        return lines("frame",
                     {{"classes", fmt::format("{}{}", kept ? " kept" : "", best ? " best" : "")},
                      {"id", frameId(id_, frame)},
                      {"picture", picture(frame)},
                      {"marks", marks(frame)},
                      {"name", name(frame)},
                      {"badges", badge},
                      {"share", fmt::format("{:.2f}", share(frame))},
                      {"percent", fmt::format("{:.1f}", share(frame))},
                      {"score", grouped(measured_.frames[frame].blur.score)},
                      {"details", details(frame)}});
    }

    const Burst& burst_;
    const Measurement& measured_;
    const ContactSheet& sheet_;
    const std::string id_;
    const size_t number_;
    const size_t count_;
};

// The bursts in one table, each linked to its section.
std::string contents(std::span<const Burst> bursts) {
    if (bursts.size() < 2)
        return "";
    std::string rows;
    for (size_t i = 0; i < bursts.size(); ++i) {
        const Measurement& measured = bursts[i].measured;
        const auto best = static_cast<size_t>(bursts[i].ranking.best);
        rows += lines("row", {{"id", burstId(i)},
                              {"name", fmt::format("Burst {}", i + 1)},
                              {"start", startText(bursts[i])},
                              {"frames", std::to_string(measured.frames.size())},
                              {"kept", std::to_string(bursts[i].ranking.chosen.size())},
                              {"best", escaped(frameName(measured, measured.frames[best]))}});
    }
    return lines("contents", {{"rows", rows}});
}

std::string summary(std::span<const Burst> bursts) {
    size_t frames = 0, kept = 0;
    for (const Burst& burst : bursts) {
        frames += burst.measured.frames.size();
        kept += burst.ranking.chosen.size();
    }
    std::string summary = bursts.size() > 1 ? counted(bursts.size(), "burst") + ", " : "";
    summary += counted(frames, "frame");
    const MeasuredFrame& first = bursts.front().measured.frames.front();
    if (bursts.size() == 1)
        summary += fmt::format(" of {} pixels", pageSize(first.width, first.height));
    summary += fmt::format(", {} kept.", kept);
    if (bursts.size() > mostComparisons)
        summary += fmt::format(" The first {} bursts show their best frame beside the least sharp.",
                               mostComparisons);
    return summary;
}

} // namespace

size_t sheetCapacity(size_t bursts) {
    return std::clamp(mostOnAllSheets / std::max<size_t>(bursts, 1), leastOnOneSheet,
                      mostOnOneSheet);
}

bool showsComparison(size_t number) { return number < mostComparisons; }

void ReportPage::add(const Burst& burst) {
    sections_ += BurstSection(burst, added_++, count_).html();
}

std::string ReportPage::html(const std::string& title, std::span<const Burst> bursts) const {
    _tag_VERSION_INFO version = {};
    DRAV_GetVersion(&version);
    return fill(pageTemplate, {{"version", escaped(version.version)},
                               {"title", escaped(title)},
                               {"style", styleSheet},
                               {"summary", summary(bursts)},
                               {"contents", contents(bursts)},
                               {"bursts", sections_}});
}
