#include "report_page.h"

#include "comparison.h"
#include "error.h"
#include "html.h"
#include "page_text.h"
#include "report.h"
#include "reread.h"
#include "text.h"

#include <algorithm>
#include <set>

namespace {

constexpr size_t mostOnOneSheet = 256;
constexpr size_t mostOnAllSheets = 1024;
constexpr size_t leastOnOneSheet = 4;
constexpr size_t mostComparisons = 40;

// "1,234,567".
std::string grouped(int64_t number) {
    std::string text = std::to_string(number);
    for (size_t i = text.size(); i > 3; i -= 3)
        text.insert(i - 3, 1, ',');
    return text;
}

std::string pageSize(int32_t width, int32_t height) {
    return std::to_string(width) + " × " + std::to_string(height);
}

std::string burstId(size_t burst) { return "burst-" + std::to_string(burst + 1); }

std::string frameId(const std::string& burst, size_t frame) {
    return burst + "-frame-" + std::to_string(frame);
}

// One section of the page.
class BurstSection {
public:
    BurstSection(Burst& burst, size_t number, size_t count, PhaseTimes& times)
        : burst_(burst), measured_(burst.measured), id_(burstId(number)), number_(number),
          count_(count), times_(times) {}

    std::string html() {
        readAgain();
        const MeasuredFrame& first = measured_.frames.front();
        std::string frames;
        for (const size_t frame : shown_)
            frames += frameHtml(frame);
        return fill(burstTemplate, {{"id", id_},
                                    {"title", title()},
                                    {"verdict", verdict()},
                                    {"notes", notes()},
                                    {"comparison", comparison_ ? comparisonHtml() : ""},
                                    {"sheet_note", sheetNote()},
                                    {"chart", measured_.frames.size() > 1 ? chart() : ""},
                                    {"width", std::to_string(first.width)},
                                    {"height", std::to_string(first.height)},
                                    {"frames", frames}});
    }

private:
    std::string name(size_t frame) const {
        return escaped(frameName(measured_, measured_.frames[frame]));
    }

    std::string link(size_t frame) const {
        return "<a href=\"#" + frameId(id_, frame) + "\">" + name(frame) + "</a>";
    }

    double share(size_t frame) const {
        const int32_t largest = measured_.frames[measured_.order.front()].blur.score;
        return largest == 0 ? 0 : 100.0 * measured_.frames[frame].blur.score / largest;
    }

    // Decodes what the page shows beyond the frames that were pictured as they went by.
    void readAgain() {
        for (const auto& [frame, thumbnail] : burst_.sheet.thumbnails())
            shown_.insert(frame);
        std::set<size_t> missing = {static_cast<size_t>(burst_.ranking.best)};
        for (const int64_t frame : burst_.ranking.chosen)
            if (missing.size() <= burst_.sheet.capacity())
                missing.insert(static_cast<size_t>(frame));
        std::erase_if(missing, [&](size_t frame) { return shown_.contains(frame); });
        shown_.insert(missing.begin(), missing.end());

        BurstComparer comparer(burst_);
        std::set<size_t> wanted = missing;
        const bool compares = number_ < mostComparisons && !comparer.frames().empty();
        if (compares)
            wanted.insert(comparer.frames().begin(), comparer.frames().end());
        const std::vector<size_t> indices(wanted.begin(), wanted.end());
        rereadFrames(measured_, indices, times_, [&](size_t index, const AVFrame& pixels) {
            if (missing.contains(index))
                burst_.sheet.add(index, pixels, measured_.frames[index].path, times_);
            if (compares && std::ranges::count(comparer.frames(), index) > 0)
                comparer.take(index, pixels, times_);
        });
        if (compares)
            comparison_ = comparer.compare(times_);
    }

    std::string title() const {
        if (count_ == 1)
            return "The burst";
        std::string text = "Burst " + std::to_string(number_ + 1);
        return burst_.start.empty() ? text : text + ", " + timeText();
    }

    std::string timeText() const {
        std::string text = burst_.start;
        std::replace(text.begin(), text.end(), 'T', ' ');
        return text;
    }

    std::string verdict() const {
        const auto best = static_cast<size_t>(burst_.ranking.best);
        std::string text = "Best: " + link(best) + ", " +
                           comparedWithMedian(measured_, measured_.frames[best]) + ".";
        if (measured_.frames.size() == 1)
            return text;
        text += " Kept " + std::to_string(burst_.ranking.chosen.size()) + " of " +
                std::to_string(measured_.frames.size());
        const char* separator = ": ";
        for (const int64_t chosen : burst_.ranking.chosen)
            if (shown_.contains(static_cast<size_t>(chosen))) {
                text += separator + link(static_cast<size_t>(chosen));
                separator = ", ";
            }
        return text + ".";
    }

    // What beside the sharpness took part.
    std::string notes() const {
        std::string text;
        size_t faces = 0;
        for (const std::vector<Face>& ofFrame : burst_.faces)
            faces += ofFrame.size();
        if (!burst_.faces.empty())
            text += "<p>Faces: " + std::to_string(faces) + " in " +
                    counted(measured_.frames.size(), "frame") +
                    (faces >= measured_.frames.size() / 2 ? "; they count.</p>\n"
                                                          : ", too few to count.</p>\n");
        if (burst_.moving)
            text += "<p>" + escaped(trimmed(movingSentence(burst_))) + "</p>\n";
        if (burst_.fileTimes > 0)
            text += "<p>" + counted(burst_.fileTimes, "frame") +
                    " without a capture time: the file’s own time was taken.</p>\n";
        return text;
    }

    static std::string trimmed(std::string text) {
        text.erase(text.find_last_not_of('\n') + 1);
        return text;
    }

    std::string sheetNote() const {
        const size_t n = measured_.frames.size();
        std::string text;
        if (shown_.size() < n)
            text = "Shown are " + std::to_string(shown_.size()) + " of " + std::to_string(n) +
                   " frames: one in " + std::to_string(burst_.sheet.step()) +
                   ", the best and kept ones. ";
        if (n > 1)
            text +=
                "Under each frame is its blur score, and that as a share of the sharpest one’s.";
        if (burst_.moving && burst_.moving->found > 0)
            text += " A yellow frame marks what moves.";
        if (comparison_)
            text += " The dashed frame is the cut-out above.";
        return text;
    }

    std::string chart() const {
        const int count = static_cast<int>(shown_.size());
        std::string text = "<svg class=\"chart\" viewBox=\"0 0 " + std::to_string(count) +
                           " 100\" style=\"max-width: " + std::to_string(3 * count) +
                           "rem\" preserveAspectRatio=\"none\" role=\"img\" aria-label=\"Blur "
                           "scores in the order of the burst, from " +
                           grouped(measured_.frames[measured_.order.back()].blur.score) + " to " +
                           grouped(measured_.frames[measured_.order.front()].blur.score) + "\">\n";
        int column = 0;
        for (const size_t frame : shown_) {
            const std::string height = fixed(share(frame), 2);
            text += "<rect x=\"" + fixed(column++ + 0.1, 1) + "\" y=\"" +
                    fixed(100 - share(frame), 2) + "\" width=\"0.8\" height=\"" + height + "\"" +
                    (burst_.isBest(frame)     ? " class=\"best\""
                     : burst_.isChosen(frame) ? " class=\"kept\""
                                              : "") +
                    "/>\n";
        }
        return text + "</svg>\n";
    }

    std::string comparisonHtml() const {
        const auto& [best, other] = *comparison_;
        const bool least = measured_.order.back() == other.frame;
        const __tag_rect& rect = best.rect;
        const int32_t width = rect.right - rect.left, height = rect.bottom - rect.top;
        std::string place = pageSize(width, height) + " pixels at 100 %, at " +
                            pairText(rect.left, rect.top) +
                            " of the best frame: where the "
                            "sharpness of the two differs most.";
        if (best.rect.left != other.rect.left || best.rect.top != other.rect.top)
            place += " The other frame shows the same at " +
                     pairText(other.rect.left, other.rect.top) + ".";
        return fill(comparisonTemplate,
                    {{"title", least ? "Best and least sharp" : "Best and sharpest"},
                     {"width", std::to_string(width)},
                     {"height", std::to_string(height)},
                     {"best_jpeg", base64(best.jpeg)},
                     {"best_name", name(best.frame)},
                     {"best_id", frameId(id_, best.frame)},
                     {"best_score", grouped(std::lround(best.score))},
                     {"other_jpeg", base64(other.jpeg)},
                     {"other_name", name(other.frame)},
                     {"other_id", frameId(id_, other.frame)},
                     {"other_role", least ? "least sharp" : "sharpest"},
                     {"other_badge", least ? "Least sharp" : "Sharpest"},
                     {"other_score", grouped(std::lround(other.score))},
                     {"place", place}});
    }

    std::string picture(size_t frame) const {
        const auto found = burst_.sheet.thumbnails().find(frame);
        if (found == burst_.sheet.thumbnails().end())
            return "<span class=\"missing quiet\">cannot be shown</span>";
        const Thumbnail& thumbnail = found->second;
        std::string alt = name(frame);
        if (burst_.isBest(frame))
            alt += ", the best frame";
        else if (burst_.isChosen(frame))
            alt += ", kept";
        return "<img src=\"data:image/jpeg;base64," + base64(thumbnail.jpeg) + "\" width=\"" +
               std::to_string(thumbnail.width) + "\" height=\"" + std::to_string(thumbnail.height) +
               "\" alt=\"" + alt + "\" decoding=\"async\">";
    }

    static std::string rectangle(const char* kind, const __tag_rect& rect) {
        return std::string("<rect class=\"") + kind + "\" x=\"" + std::to_string(rect.left) +
               "\" y=\"" + std::to_string(rect.top) + "\" width=\"" +
               std::to_string(rect.right - rect.left) + "\" height=\"" +
               std::to_string(rect.bottom - rect.top) + "\"/>";
    }

    std::string marks(size_t frame) const {
        std::string text;
        if (burst_.moving && burst_.moving->ofFrames[frame].found)
            text += rectangle("moving", burst_.moving->ofFrames[frame].rect);
        if (comparison_)
            for (const Comparison::Side* side : {&comparison_->best, &comparison_->other})
                if (side->frame == frame)
                    text += rectangle("crop", side->rect);
        if (text.empty())
            return text;
        const MeasuredFrame& size = measured_.frames[frame];
        return "<svg viewBox=\"0 0 " + std::to_string(size.width) + " " +
               std::to_string(size.height) +
               "\" preserveAspectRatio=\"none\" aria-hidden=\"true\">" + text + "</svg>";
    }

    std::string details(size_t frame) const {
        std::string text;
        if (burst_.moving && burst_.moving->ofFrames[frame].found) {
            const __tag_rect& rect = burst_.moving->ofFrames[frame].rect;
            text += "<span class=\"line quiet\">Moving: " +
                    pageSize(rect.right - rect.left, rect.bottom - rect.top) + " at " +
                    pairText(rect.left, rect.top) + "</span>\n";
        }
        if (!burst_.faces.empty()) {
            const std::vector<Face>& faces = burst_.faces[frame];
            const auto closed = std::ranges::count(faces, 0u, &Face::eyesOpen);
            text += "<span class=\"line quiet\">" + counted(faces.size(), "face") +
                    (closed > 0 ? ", " + std::to_string(closed) + " with closed eyes" : "") +
                    "</span>\n";
        }
        return text;
    }

    std::string frameHtml(size_t frame) const {
        const bool best = burst_.isBest(frame), kept = burst_.isChosen(frame);
        return fill(frameTemplate,
                    {{"classes", std::string(kept ? " kept" : "") + (best ? " best" : "")},
                     {"id", frameId(id_, frame)},
                     {"picture", picture(frame)},
                     {"marks", marks(frame)},
                     {"name", name(frame)},
                     {"badges", best   ? "<span class=\"badge best\">Best</span>"
                                : kept ? "<span class=\"badge kept\">Kept</span>"
                                       : ""},
                     {"share", fixed(share(frame), 2)},
                     {"percent", fixed(share(frame), 1)},
                     {"score", grouped(measured_.frames[frame].blur.score)},
                     {"details", details(frame)}});
    }

    Burst& burst_;
    const Measurement& measured_;
    const std::string id_;
    const size_t number_;
    const size_t count_;
    PhaseTimes& times_;
    std::set<size_t> shown_;
    std::optional<Comparison> comparison_;
};

// The bursts in one table, each linked to its section.
std::string contents(std::span<const Burst> bursts) {
    if (bursts.size() < 2)
        return "";
    std::string text = "<nav class=\"scroll\" aria-label=\"Bursts\">\n<table>\n<thead><tr>"
                       "<th scope=\"col\">Burst</th><th scope=\"col\">Taken</th>"
                       "<th scope=\"col\" class=\"number\">Frames</th>"
                       "<th scope=\"col\" class=\"number\">Kept</th>"
                       "<th scope=\"col\">Best</th></tr></thead>\n<tbody>\n";
    for (size_t i = 0; i < bursts.size(); ++i) {
        const Burst& burst = bursts[i];
        std::string start = burst.start;
        std::replace(start.begin(), start.end(), 'T', ' ');
        const auto best = static_cast<size_t>(burst.ranking.best);
        text += "<tr><td><a href=\"#" + burstId(i) + "\">Burst " + std::to_string(i + 1) +
                "</a></td><td>" + start + "</td><td class=\"number\">" +
                std::to_string(burst.measured.frames.size()) + "</td><td class=\"number\">" +
                std::to_string(burst.ranking.chosen.size()) + "</td><td>" +
                escaped(frameName(burst.measured, burst.measured.frames[best])) + "</td></tr>\n";
    }
    return text + "</tbody>\n</table>\n</nav>\n";
}

std::string summary(std::span<const Burst> bursts) {
    size_t frames = 0, kept = 0;
    for (const Burst& burst : bursts) {
        frames += burst.measured.frames.size();
        kept += burst.ranking.chosen.size();
    }
    std::string text = bursts.size() > 1 ? counted(bursts.size(), "burst") + ", " : "";
    text += counted(frames, "frame");
    const MeasuredFrame& first = bursts.front().measured.frames.front();
    if (bursts.size() == 1)
        text += " of " + pageSize(first.width, first.height) + " pixels";
    text += ", " + std::to_string(kept) + " kept.";
    if (bursts.size() > mostComparisons)
        text += " The first " + std::to_string(mostComparisons) +
                " bursts show their best frame beside the least sharp.";
    return text;
}

} // namespace

size_t sheetCapacity(size_t bursts) {
    return std::clamp(mostOnAllSheets / std::max<size_t>(bursts, 1), leastOnOneSheet,
                      mostOnOneSheet);
}

void ReportPage::add(Burst& burst, PhaseTimes& times) {
    sections_ += BurstSection(burst, added_++, count_, times).html();
    burst.sheet = ContactSheet(0); // its pictures are in the page now
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
