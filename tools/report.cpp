#include "report.h"

#include "json_output.h"
#include "text.h"

#include <algorithm>
#include <cstdio>
#include <span>
#include <unistd.h>

using Json = OrderedJson;

namespace {

using Row = std::vector<std::string>;

std::string formatTable(const std::vector<Row>& rows, std::span<const char> leftAligned,
                        size_t boldRow) {
    std::vector<size_t> widths(leftAligned.size());
    for (const Row& row : rows)
        for (size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], displayWidth(row[i]));
    std::string text;
    for (size_t r = 0; r < rows.size(); ++r) {
        std::string line;
        for (size_t i = 0; i < rows[r].size(); ++i)
            line += (i == 0 ? "" : "  ") + (leftAligned[i] ? padRight(rows[r][i], widths[i])
                                                           : padLeft(rows[r][i], widths[i]));
        line.erase(line.find_last_not_of(' ') + 1);
        text += (r == boldRow ? "\x1b[1m" + line + "\x1b[0m" : line) + "\n";
    }
    return text;
}

std::string timeText(const MeasuredFrame& frame) {
    return frame.seconds ? fixed(*frame.seconds, 3) + " s" : "-";
}

// What tells a frame from the others: its time in a video, its file among pictures.
std::string placeText(const Measurement& measured, const MeasuredFrame& frame) {
    return measured.isVideo ? timeText(frame) : oneLine(frame.name);
}

std::string longName(const Measurement& measured, const MeasuredFrame& frame) {
    if (!measured.isVideo)
        return oneLine(frame.name);
    return "frame " + std::to_string(frame.number) + " at " + timeText(frame);
}

int64_t frameNumber(const Measurement& measured, size_t i) {
    return measured.isVideo ? measured.frames[i].number : static_cast<int64_t>(i);
}

// One line about `count` frames that share something, naming the first of them.
std::string note(const Measurement& measured, size_t count, const MeasuredFrame& first,
                 const std::string& text) {
    std::string which = longName(measured, first);
    if (count == measured.frames.size() && count > 1)
        which = "all frames";
    else if (count > 1)
        which = counted(count, "frame") + " from " + which;
    return "Note: " + which + ": " + text + ".\n";
}

std::string notes(const Measurement& measured) {
    size_t converted = 0, cropped = 0;
    const MeasuredFrame* firstConverted = nullptr;
    const MeasuredFrame* firstCropped = nullptr;
    for (const MeasuredFrame& frame : measured.frames) {
        if (frame.converted && converted++ == 0)
            firstConverted = &frame;
        if (frame.cropped && cropped++ == 0)
            firstCropped = &frame;
    }
    std::string text;
    if (converted > 0)
        text +=
            note(measured, converted, *firstConverted,
                 "converted to 8-bit 4:2:0 before measuring (" + firstConverted->pixelFormat + ")");
    if (cropped > 0)
        text += note(measured, cropped, *firstCropped,
                     "measured without the last column or row of an odd size (" +
                         std::to_string(firstCropped->width) + " x " +
                         std::to_string(firstCropped->height) + ")");
    return text;
}

std::string comparedWithMedian(const Measurement& measured, const MeasuredFrame& best) {
    if (measured.frames.size() == 1)
        return "the only frame";
    if (measured.medianScore == 0)
        return best.blur.score == 0 ? "as flat as the median frame"
                                    : "while the median frame is flat";
    const double percent = (best.blur.score / measured.medianScore - 1) * 100;
    const std::string amount = fixed(std::abs(percent), std::abs(percent) < 1 ? 1 : 0);
    if (amount == "0.0")
        return "as sharp as the median frame";
    return amount + (percent > 0 ? " % sharper" : " % less sharp") + " than the median frame";
}

Json toJson(const Measurement& measured, const MeasuredFrame& frame, size_t index) {
    char code[16];
    std::snprintf(code, sizeof code, "0x%x", frame.blur.format);
    return {{"index", index},
            {"name", frame.name},
            {"number", frameNumber(measured, index)},
            {"time", frame.seconds ? Json(*frame.seconds) : Json()},
            {"pixel_format", frame.pixelFormat},
            {"format", code},
            {"converted", frame.converted},
            {"cropped", frame.cropped},
            {"width", frame.blur.width},
            {"height", frame.blur.height},
            {"blur", frame.blur.score}};
}

Json skippedJson(const Measurement& measured) {
    Json skipped = Json::array();
    for (const Skipped& file : measured.skipped)
        skipped.push_back({{"name", file.name}, {"reason", file.reason}});
    return skipped;
}

std::string objectText(const MovingObject& object) {
    const __tag_rect& rect = object.rect;
    return object.found ? sizeText(rect.right - rect.left, rect.bottom - rect.top) + " at " +
                              std::to_string(rect.left) + "," + std::to_string(rect.top)
                        : "-";
}

std::string areaText(const MovingObject& object) {
    return object.found ? std::to_string(object.area) : "-";
}

// What became of the search for moving objects, in one sentence.
std::string movingSentence(const MovingObjects& moving) {
    const size_t n = moving.ofFrames.size();
    std::string text = moving.found == 0 ? "Moving: nothing was found"
                                         : "Moving: an object in " + std::to_string(moving.found) +
                                               " of " + counted(n, "frame");
    if (const auto alone = n - static_cast<size_t>(moving.compared); alone > 0 && n > 1)
        text += " (" + std::to_string(alone) + " not comparable with the neighbours)";
    if (moving.used)
        return text + "; its sharpness, size and place count.\n";
    return text + (moving.found == 0 ? "" : ", too few to count") + "; ranked without.\n";
}

Json objectJson(const MovingObject& object, bool used) {
    if (!object.found)
        return nullptr;
    return {{"rect", toJson(object.rect)}, {"area", object.area}, {"used", used}};
}

bool isChosen(const Ranking& ranking, size_t i) {
    return std::binary_search(ranking.chosen.begin(), ranking.chosen.end(),
                              static_cast<int64_t>(i));
}

} // namespace

std::string pickTable(const Measurement& measured, const Ranking& ranking,
                      const MovingObjects* moving) {
    const auto best = static_cast<size_t>(ranking.best);
    std::vector<Row> rows = {
        {"frame", measured.isVideo ? "time" : "file", "blur score", "chosen", "best"}};
    if (moving != nullptr)
        rows[0].insert(rows[0].begin() + 3, {"moving object", "area"});
    for (size_t i = 0; i < measured.frames.size(); ++i) {
        const MeasuredFrame& frame = measured.frames[i];
        rows.push_back({std::to_string(frameNumber(measured, i)), placeText(measured, frame),
                        std::to_string(frame.blur.score), isChosen(ranking, i) ? "yes" : "",
                        i == best ? "best" : ""});
        if (moving != nullptr)
            rows.back().insert(rows.back().begin() + 3,
                               {objectText(moving->ofFrames[i]), areaText(moving->ofFrames[i])});
    }
    const bool file = !measured.isVideo;
    const std::vector<char> left =
        moving != nullptr ? std::vector<char>{false, file, false, true, false, true, true}
                          : std::vector<char>{false, file, false, true, true};
    const size_t boldRow = isatty(STDOUT_FILENO) == 1 ? best + 1 : rows.size();
    const MeasuredFrame& winner = measured.frames[best];
    return formatTable(rows, left, boldRow) + notes(measured) +
           (moving != nullptr ? movingSentence(*moving) : "") +
           "Best: " + longName(measured, winner) + ", " + comparedWithMedian(measured, winner) +
           "; kept " + std::to_string(ranking.chosen.size()) + " of " +
           std::to_string(measured.frames.size()) + ".\n";
}

std::string pickJson(const Measurement& measured, const Ranking& ranking,
                     const MovingObjects* moving) {
    Json json = jsonHead("pick");
    json["frames"] = Json::array();
    for (size_t i = 0; i < measured.frames.size(); ++i) {
        Json frame = toJson(measured, measured.frames[i], i);
        frame["chosen"] = isChosen(ranking, i);
        frame["best"] = static_cast<int64_t>(i) == ranking.best;
        if (moving != nullptr)
            frame["moving"] = objectJson(moving->ofFrames[i], moving->used);
        json["frames"].push_back(std::move(frame));
    }
    if (moving != nullptr)
        json["moving_used"] = moving->used;
    json["order"] = measured.order;
    json["chosen"] = ranking.chosen;
    json["best"] = ranking.best;
    json["skipped"] = skippedJson(measured);
    return printJson(json);
}

std::string blurTable(const Measurement& measured) {
    std::vector<Row> rows = {{"blur score", measured.isVideo ? "frame" : "file"}};
    if (measured.isVideo)
        rows[0].push_back("time");
    for (const size_t i : measured.order) {
        const MeasuredFrame& frame = measured.frames[i];
        Row row = {std::to_string(frame.blur.score)};
        if (measured.isVideo)
            row.push_back(std::to_string(frame.number));
        row.push_back(placeText(measured, frame));
        rows.push_back(std::move(row));
    }
    const char left[] = {false, !measured.isVideo, false};
    return formatTable(rows, left, rows.size()) + notes(measured);
}

std::string blurJson(const Measurement& measured) {
    Json json = jsonHead("blur");
    json["frames"] = Json::array();
    for (size_t i = 0; i < measured.frames.size(); ++i)
        json["frames"].push_back(toJson(measured, measured.frames[i], i));
    json["order"] = measured.order;
    json["skipped"] = skippedJson(measured);
    return printJson(json);
}
