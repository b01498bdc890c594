#include "output/burst_section.h"

#include "base/text.h"
#include "output/html.h"
#include "output/report.h"
#include "output/term_values.h"

#include <fmt/format.h>

#include <filesystem>

namespace {

std::string text(int64_t number) { return std::to_string(number); }

std::string pageSize(int32_t width, int32_t height) {
    return fmt::format("{} × {}", width, height);
}

std::string pageSize(const __tag_rect& rect) {
    return pageSize(rect.right - rect.left, rect.bottom - rect.top);
}

std::string rectangle(const char* kind, const __tag_rect& rect) {
    return part("rectangle", {{"class", kind},
                              {"x", text(rect.left)},
                              {"y", text(rect.top)},
                              {"width", text(rect.right - rect.left)},
                              {"height", text(rect.bottom - rect.top)}});
}

// How a comparison calls its other frame.
const char* roleText(const Comparison& comparison) {
    switch (comparison.role) {
    case Comparison::Role::leastSharp: return "least sharp";
    case Comparison::Role::sharpest: return "sharpest";
    case Comparison::Role::secondBest: break;
    }
    return "second best";
}

std::string capitalized(std::string text) {
    if (text[0] >= 'a' && text[0] <= 'z')
        text[0] = static_cast<char>(text[0] - 'a' + 'A');
    return text;
}

// ", 12 % less": a score beside another.
std::string comparedScore(int64_t score, int64_t other) {
    if (other == 0)
        return "";
    const double percent = 100.0 * static_cast<double>(score) / static_cast<double>(other) - 100;
    const std::string amount =
        fmt::format("{:.{}f}", std::abs(percent), std::abs(percent) < 10 ? 1 : 0);
    return amount == "0.0" ? "" : fmt::format(", {} % {}", amount, percent > 0 ? "more" : "less");
}

class BurstSection {
public:
    BurstSection(const Burst& burst, const SectionPlace& place)
        : burst_(burst), measured_(burst.measured), sheet_(burst.sheet), place_(place),
          id_(burstId(place.number)) {}

    std::string html() const {
        const MeasuredFrame& first = measured_.frames.front();
        std::string frames, comparisons;
        for (const size_t frame : sheet_.shown)
            frames += frameHtml(frame);
        for (const Comparison& comparison : burst_.comparisons)
            comparisons += comparisonHtml(comparison);
        return lines("burst", {{"id", id_},
                               {"title", title()},
                               {"verdict", verdict()},
                               {"notes", notes()},
                               {"comparisons", comparisons},
                               {"people", burst_.people ? peopleHtml() : ""},
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

    // The name as a link to the file, or to the moment of a video.
    std::string link(size_t frame) const {
        const MeasuredFrame& measured = measured_.frames[frame];
        std::error_code ignored;
        if (!std::filesystem::is_regular_file(measured.path, ignored))
            return part("name", {{"name", name(frame)}});
        std::string target = linkFrom(place_.folder, measured.path);
        if (measured_.isVideo && measured.seconds)
            target += fmt::format("#t={:.3f}", *measured.seconds);
        return part("link", {{"target", target}, {"name", name(frame)}});
    }

    double share(size_t frame) const {
        const double largest = measured_.value(measured_.order.front());
        return largest == 0 ? 0 : 100 * measured_.value(frame) / largest;
    }

    std::string title() const {
        if (place_.count == 1)
            return "The burst";
        const std::string start = startText(burst_);
        return fmt::format("Burst {}{}{}", place_.number + 1, start.empty() ? "" : ", ", start);
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

    // What took part besides the sharpness, and what speaks against the verdict.
    std::string notes() const {
        std::string notes;
        const auto add = [&](std::string note) {
            note.erase(note.find_last_not_of('\n') + 1);
            if (!note.empty())
                notes += lines("note", {{"text", escaped(note)}});
        };
        size_t faces = 0;
        for (const std::vector<Face>& ofFrame : burst_.faces)
            faces += ofFrame.size();
        if (!burst_.faces.empty() && !burst_.people)
            add(fmt::format("Faces: {} in {}{}.", faces, counted(measured_.frames.size(), "frame"),
                            faces >= measured_.frames.size() / 2 ? "; they count"
                                                                 : ", too few to count"));
        add(commonPartSentence(burst_));
        add(peopleSentence(burst_));
        add(movingSentence(burst_));
        add(detailSentence(burst_));
        add(choiceSentence(burst_));
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
            note += fmt::format("Under each frame is its {}, and that as a share of the highest.",
                                measureText());
        if (burst_.moving && burst_.moving->found > 0)
            note += " A yellow frame marks what moves.";
        if (burst_.people && !burst_.people->persons.empty())
            note += " White frames are faces; those with closed eyes are dotted.";
        if (!burst_.comparisons.empty())
            note += " The dashed frames are the cut-outs above.";
        return note;
    }

    const char* measureText() const {
        return measured_.measure == Measure::detail ? "detail" : "blur score";
    }

    std::string valueText(size_t frame) const {
        const MeasuredFrame& measured = measured_.frames[frame];
        return measured_.measure == Measure::detail ? fmt::format("{:.1f}", measured.detail)
                                                    : grouped(measured.blur.score);
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
        return lines("chart", {{"measure", capitalized(measureText())},
                               {"count", text(column)},
                               {"width", text(3 * column)},
                               {"lowest", valueText(measured_.order.back())},
                               {"highest", valueText(measured_.order.front())},
                               {"bars", bars}});
    }

    std::string cutOut(const Comparison::Side& side, const char* role, const std::string& score,
                       bool best) const {
        const std::string badge =
            part("badge", {{"class", best ? "best" : ""}, {"text", capitalized(role)}});
        return part("cut-out", {{"class", best ? " class=\"best\"" : ""},
                                {"jpeg", base64(side.jpeg)},
                                {"width", text(side.rect.right - side.rect.left)},
                                {"height", text(side.rect.bottom - side.rect.top)},
                                {"alt", fmt::format("Cut-out of {}, the {} frame, at 100 %",
                                                    name(side.frame), role)},
                                {"name", link(side.frame)},
                                {"badge", badge},
                                {"score", score}});
    }

    std::string comparisonHtml(const Comparison& comparison) const {
        const auto& best = comparison.best;
        const auto& other = comparison.other;
        const char* const role = roleText(comparison);
        const bool samePlace = best.rect.left == other.rect.left && best.rect.top == other.rect.top;
        std::string where = fmt::format(
            "{} pixels at 100 %, at {} of the best frame: {}.", pageSize(best.rect),
            pairText(best.rect.left, best.rect.top),
            comparison.ofObject ? "what moves" : "where the sharpness of the two differs most");
        if (!samePlace)
            where += fmt::format(" The other frame shows it at {}.",
                                 pairText(other.rect.left, other.rect.top));
        const std::string score = fmt::format("Blur score {} here", grouped(other.score));
        return lines(
            "comparison",
            {{"title",
              fmt::format("{} and {}", comparison.ofObject ? "What moves: best" : "Best", role)},
             {"best",
              cutOut(best, "best", fmt::format("Blur score {} here", grouped(best.score)), true)},
             {"other", cutOut(other, role, score + comparedScore(other.score, best.score), false)},
             {"place", where}});
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

    // The faces of one person as a row, and in words what each shows.
    std::string personHtml(size_t person) const {
        std::string row;
        size_t open = 0, closed = 0;
        for (const size_t frame : sheet_.shown)
            for (const PersonFace& face : burst_.people->ofFrames[frame]) {
                if (face.person != person || face.cutout.empty())
                    continue;
                open += face.eyesOpen == true ? 1 : 0;
                closed += face.eyesOpen == false ? 1 : 0;
                const std::string smile = smileText(face);
                const std::string said = eyesText(face) + (smile.empty() ? "" : ", " + smile);
                row += lines("face", {{"jpeg", base64(face.cutout)},
                                      {"class", face.eyesOpen == false ? "closed" : "open"},
                                      {"name", name(frame)},
                                      {"said", said}});
            }
        if (row.empty())
            return "";
        const std::optional<size_t> best = burst_.people->persons[person].bestFrame;
        const std::string where = best ? fmt::format("; best in {}", name(*best)) : "";
        return lines("person", {{"title", fmt::format("Person {}: eyes open in {}, closed in {}{}",
                                                      person + 1, open, closed, where)},
                                {"faces", row}});
    }

    std::string peopleHtml() const {
        constexpr size_t most = 30;
        const size_t count = burst_.people->persons.size();
        std::string persons;
        for (size_t i = 0; i < std::min(count, most); ++i)
            persons += personHtml(i);
        if (count > most)
            persons += lines(
                "note", {{"text", fmt::format("{} more persons are not shown.", count - most)}});
        return persons.empty() ? "" : lines("people", {{"persons", persons}});
    }

    std::string marks(size_t frame) const {
        std::string rectangles;
        if (burst_.people)
            for (const PersonFace& face : burst_.people->ofFrames[frame])
                rectangles += rectangle(face.eyesOpen == false ? "face closed" : "face", face.rect);
        if (burst_.moving && burst_.moving->ofFrames[frame].found)
            rectangles += rectangle("moving", burst_.moving->ofFrames[frame].rect);
        for (const Comparison& comparison : burst_.comparisons)
            for (const Comparison::Side* side : {&comparison.best, &comparison.other})
                if (side->frame == frame && !comparison.ofObject)
                    rectangles += rectangle("crop", side->rect);
        const MeasuredFrame& size = measured_.frames[frame];
        return rectangles.empty() ? ""
                                  : part("marks", {{"width", text(size.width)},
                                                   {"height", text(size.height)},
                                                   {"rectangles", rectangles}});
    }

    std::string details(size_t frame) const {
        std::string details;
        const auto add = [&](const std::string& line) {
            details += lines("detail", {{"text", line}});
        };
        const MeasuredFrame& measured = measured_.frames[frame];
        add(measured_.measure == Measure::detail
                ? fmt::format("Blur score {}", grouped(measured.blur.score))
                : fmt::format("Detail {:.1f}", measured.detail));
        if (burst_.moving && burst_.moving->ofFrames[frame].found) {
            const __tag_rect& rect = burst_.moving->ofFrames[frame].rect;
            add(fmt::format("Moving: {} at {}", pageSize(rect), pairText(rect.left, rect.top)));
        }
        if (!burst_.faces.empty()) {
            const std::vector<Face>& faces = burst_.faces[frame];
            const auto closed = std::ranges::count(faces, 0u, &Face::eyesOpen);
            add(counted(faces.size(), "face") +
                (closed > 0 ? fmt::format(", {} with closed eyes", closed) : ""));
        }
        return details;
    }

    // The terms of the frame's total, in a fold.
    std::string terms(size_t frame) const {
        std::string rows;
        for (const TermValue& term : usedTermValues(burst_, frame))
            rows += part("term", {{"name", term.title}, {"value", termText(term)}});
        return lines("terms", {{"total", grouped(burst_.terms[frame].total)}, {"rows", rows}});
    }

    std::string frameHtml(size_t frame) const {
        const bool best = burst_.isBest(frame), kept = burst_.isChosen(frame);
        std::string badge;
        if (best || kept)
            badge = part("badge",
                         {{"class", best ? "best" : "kept"}, {"text", best ? "Best" : "Kept"}});
        return lines("frame",
                     {{"classes", fmt::format("{}{}", kept ? " kept" : "", best ? " best" : "")},
                      {"picture", picture(frame)},
                      {"marks", marks(frame)},
                      {"name", link(frame)},
                      {"badges", badge},
                      {"share", fmt::format("{:.2f}", share(frame))},
                      {"percent", fmt::format("{:.1f}", share(frame))},
                      {"score", valueText(frame)},
                      {"details", details(frame)},
                      {"terms", terms(frame)}});
    }

    const Burst& burst_;
    const Measurement& measured_;
    const ContactSheet& sheet_;
    const SectionPlace& place_;
    const std::string id_;
};

} // namespace

std::string burstId(size_t number) { return fmt::format("burst-{}", number + 1); }

std::string startText(const Burst& burst) {
    std::string start = burst.start;
    std::replace(start.begin(), start.end(), 'T', ' ');
    return start;
}

std::string burstSection(const Burst& burst, const SectionPlace& place) {
    return BurstSection(burst, place).html();
}
