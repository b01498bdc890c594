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
                        std::span<const size_t> boldRows) {
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
        const bool bold = std::find(boldRows.begin(), boldRows.end(), r) != boldRows.end();
        text += (bold ? "\x1b[1m" + line + "\x1b[0m" : line) + "\n";
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

// One line about `count` frames that share something, naming the first of them.
std::string note(const Measurement& measured, size_t count, const MeasuredFrame& first,
                 const std::string& text) {
    std::string which = frameName(measured, first);
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

std::string objectText(const MovingObject& object) {
    const __tag_rect& rect = object.rect;
    return object.found ? sizeText(rect.right - rect.left, rect.bottom - rect.top) + " at " +
                              std::to_string(rect.left) + "," + std::to_string(rect.top)
                        : "-";
}

std::string areaText(const MovingObject& object) {
    return object.found ? std::to_string(object.area) : "-";
}

std::string bestSentence(const Burst& burst) {
    const Measurement& measured = burst.measured;
    const MeasuredFrame& winner = measured.frames[static_cast<size_t>(burst.ranking.best)];
    return "Best: " + frameName(measured, winner) + ", " + comparedWithMedian(measured, winner) +
           "; kept " + std::to_string(burst.ranking.chosen.size()) + " of " +
           std::to_string(measured.frames.size()) + ".\n";
}

Row pickRow(const Burst& burst, size_t i) {
    const Measurement& measured = burst.measured;
    const MeasuredFrame& frame = measured.frames[i];
    Row row = {std::to_string(frameNumber(measured, i)), placeText(measured, frame),
               std::to_string(frame.blur.score)};
    if (burst.moving) {
        row.push_back(objectText(burst.moving->ofFrames[i]));
        row.push_back(areaText(burst.moving->ofFrames[i]));
    }
    row.push_back(burst.isChosen(i) ? "yes" : "");
    row.push_back(burst.isBest(i) ? "best" : "");
    return row;
}

// A row for each frame; bold ones on a terminal alone.
std::string pickRows(std::span<const Burst> bursts, bool numbered,
                     std::span<const size_t> boldRows) {
    const bool video = bursts.front().measured.isVideo;
    Row head = {"frame", video ? "time" : "file", "blur score", "chosen", "best"};
    std::vector<char> left = {false, !video, false, true, true};
    if (bursts.front().moving) {
        head.insert(head.begin() + 3, {"moving object", "area"});
        left.insert(left.begin() + 3, {true, false});
    }
    std::vector<Row> rows = {head};
    for (const Burst& burst : bursts)
        for (size_t i = 0; i < burst.measured.frames.size(); ++i)
            rows.push_back(pickRow(burst, i));
    if (numbered) {
        left.insert(left.begin(), false);
        rows[0].insert(rows[0].begin(), "burst");
        size_t row = 1;
        for (size_t b = 0; b < bursts.size(); ++b)
            for (size_t i = 0; i < bursts[b].measured.frames.size(); ++i, ++row)
                rows[row].insert(rows[row].begin(), std::to_string(b + 1));
    }
    return formatTable(rows, left,
                       isatty(STDOUT_FILENO) == 1 ? boldRows : std::span<const size_t>{});
}

// Where the capture times of grouped pictures came from, unless all were in the pictures.
std::string timesNote(std::span<const Burst> bursts) {
    size_t files = 0, frames = 0;
    for (const Burst& burst : bursts) {
        files += burst.fileTimes;
        frames += burst.measured.frames.size();
    }
    if (files == 0)
        return "";
    return "Note: " + counted(files, "frame") + " of " + std::to_string(frames) +
           " without a capture time: grouped by when the file was last changed.\n";
}

Json objectJson(const MovingObject& object, bool used) {
    if (!object.found)
        return nullptr;
    return {{"rect", toJson(object.rect)}, {"area", object.area}, {"used", used}};
}

} // namespace

std::string frameName(const Measurement& measured, const MeasuredFrame& frame) {
    if (!measured.isVideo)
        return oneLine(frame.name);
    return "frame " + std::to_string(frame.number) + " at " + timeText(frame);
}

int64_t frameNumber(const Measurement& measured, size_t i) {
    return measured.isVideo ? measured.frames[i].number : static_cast<int64_t>(i);
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

std::string movingSentence(const Burst& burst) {
    if (!burst.moving)
        return "";
    const MovingObjects& moving = *burst.moving;
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

std::string pickTable(const Burst& burst) {
    const Measurement& measured = burst.measured;
    const auto best = static_cast<size_t>(burst.ranking.best);
    const size_t boldRow = best + 1;
    return pickRows({&burst, 1}, false, {&boldRow, 1}) + notes(measured) + movingSentence(burst) +
           bestSentence(burst);
}

std::string groupTable(std::span<const Burst> bursts) {
    std::vector<size_t> boldRows;
    size_t row = 1, frames = 0, kept = 0;
    std::string notesOfBursts;
    for (size_t i = 0; i < bursts.size(); ++i) {
        const Burst& burst = bursts[i];
        boldRows.push_back(row + static_cast<size_t>(burst.ranking.best));
        row += burst.measured.frames.size();
        frames += burst.measured.frames.size();
        kept += burst.ranking.chosen.size();
        for (const std::string& line : {notes(burst.measured), movingSentence(burst)})
            if (!line.empty())
                notesOfBursts += "Burst " + std::to_string(i + 1) + ": " + line;
    }
    return pickRows(bursts, true, boldRows) + notesOfBursts + timesNote(bursts) +
           counted(bursts.size(), "burst") + "; kept " + std::to_string(kept) + " of " +
           counted(frames, "frame") + ".\n";
}

OrderedJson pickJson(const Burst& burst) {
    const Ranking& ranking = burst.ranking;
    Json json;
    json["frames"] = Json::array();
    for (size_t i = 0; i < burst.measured.frames.size(); ++i) {
        Json frame = toJson(burst.measured, burst.measured.frames[i], i);
        frame["chosen"] = burst.isChosen(i);
        frame["best"] = burst.isBest(i);
        if (burst.moving)
            frame["moving"] = objectJson(burst.moving->ofFrames[i], burst.moving->used);
        json["frames"].push_back(std::move(frame));
    }
    if (burst.moving)
        json["moving_used"] = burst.moving->used;
    json["order"] = burst.measured.order;
    json["chosen"] = ranking.chosen;
    json["best"] = ranking.best;
    return json;
}

OrderedJson skippedJson(std::span<const Skipped> skipped) {
    Json json = Json::array();
    for (const Skipped& file : skipped)
        json.push_back({{"name", file.name}, {"reason", file.reason}});
    return json;
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
    return formatTable(rows, left, {}) + notes(measured);
}

std::string blurJson(const Measurement& measured, std::span<const Skipped> skipped) {
    Json json = jsonHead("blur");
    json["frames"] = Json::array();
    for (size_t i = 0; i < measured.frames.size(); ++i)
        json["frames"].push_back(toJson(measured, measured.frames[i], i));
    json["order"] = measured.order;
    json["skipped"] = skippedJson(skipped);
    return printJson(json);
}
