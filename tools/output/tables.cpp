#include "output/report.h"

#include "base/text.h"
#include "output/table_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <set>
#include <unistd.h>

namespace {

std::string timeText(const MeasuredFrame& frame) {
    return frame.seconds ? fmt::format("{:.3f} s", *frame.seconds) : "-";
}

// One line about the frames that share something, naming the first of them. `text` makes it of the
// first; it is empty without such frames.
std::string noteOn(const Measurement& measured,
                   const std::function<bool(const MeasuredFrame&)>& sharesIt,
                   const std::function<std::string(const MeasuredFrame&)>& text) {
    const auto first = std::ranges::find_if(measured.frames, sharesIt);
    if (first == measured.frames.end())
        return "";
    const auto count = static_cast<size_t>(std::ranges::count_if(measured.frames, sharesIt));
    std::string which = frameName(measured, *first);
    if (count == measured.frames.size() && count > 1)
        which = "all frames";
    else if (count > 1)
        which = fmt::format("{} from {}", counted(count, "frame"), which);
    return fmt::format("Note: {}: {}.\n", which, text(*first));
}

std::string notes(const Measurement& measured) {
    std::string text;
    std::set<std::string> renderings;
    for (const MeasuredFrame& frame : measured.frames)
        renderings.insert(frame.rendering);
    renderings.erase("");
    for (const std::string& rendering : renderings)
        text += noteOn(
            measured, [&](const MeasuredFrame& frame) { return frame.rendering == rendering; },
            [&](const MeasuredFrame&) { return fmt::format("raw, read as {}", rendering); });
    text += noteOn(
        measured, [](const MeasuredFrame& frame) { return frame.converted; },
        [](const MeasuredFrame& first) {
            return fmt::format("converted to 8-bit 4:2:0 before measuring ({})", first.pixelFormat);
        });
    text += noteOn(
        measured, [](const MeasuredFrame& frame) { return frame.cropped; },
        [](const MeasuredFrame& first) {
            return fmt::format("measured without the last column or row of an odd size ({})",
                               sizeText(first.width, first.height));
        });
    text += noteOn(
        measured, [](const MeasuredFrame& frame) { return !frame.companions.empty(); },
        [](const MeasuredFrame& first) {
            return fmt::format("together with another file of the same photograph ({})",
                               oneLine(first.companions.front().name));
        });
    return text;
}

std::string noteLines(const Notes& notes) {
    std::string text;
    for (const std::string& line : notes)
        text += fmt::format("Note: {}.\n", line);
    return text;
}

std::string objectText(const MovingObject& object) {
    const __tag_rect& rect = object.rect;
    return object.found ? fmt::format("{} at {},{}",
                                      sizeText(rect.right - rect.left, rect.bottom - rect.top),
                                      rect.left, rect.top)
                        : "-";
}

std::string areaText(const MovingObject& object) {
    return object.found ? std::to_string(object.area) : "-";
}

std::string bestSentence(const Burst& burst) {
    const Measurement& measured = burst.measured;
    const auto best = static_cast<size_t>(burst.ranking.best);
    return fmt::format("Best: {}, {}; kept {} of {}.\n", frameName(measured, measured.frames[best]),
                       comparedWithMedian(measured, best), burst.ranking.chosen.size(),
                       measured.frames.size());
}

std::string detailText(const MeasuredFrame& frame) { return fmt::format("{:.1f}", frame.detail); }

Row pickRow(const Burst& burst, size_t i) {
    const Measurement& measured = burst.measured;
    const MeasuredFrame& frame = measured.frames[i];
    Row row = {std::to_string(frameNumber(measured, i)), placeText(measured, frame),
               std::to_string(frame.blur.score), detailText(frame)};
    if (burst.moving) {
        row.push_back(objectText(burst.moving->ofFrames[i]));
        row.push_back(areaText(burst.moving->ofFrames[i]));
    }
    row.push_back(burst.isChosen(i) ? "yes" : "");
    row.push_back(burst.isBest(i) ? "best" : "");
    return row;
}

// A row for each frame; bold ones only on a terminal.
std::string pickRows(std::span<const Burst> bursts, bool numbered,
                     std::span<const size_t> boldRows) {
    const bool video = bursts.front().measured.isVideo;
    Row head = {"frame", video ? "time" : "file", "blur score", "detail", "chosen", "best"};
    std::vector<char> left = {false, !video, false, false, true, true};
    if (bursts.front().moving) {
        head.insert(head.begin() + 4, {"moving object", "area"});
        left.insert(left.begin() + 4, {true, false});
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
    return fmt::format("Note: {} of {} without a capture time: grouped by when the file was last "
                       "changed.\n",
                       counted(files, "frame"), frames);
}

// By what the bursts were told apart, unless it was by time alone.
std::string reasonsNote(std::span<const Burst> bursts) {
    std::string reasons;
    for (const GroupReason reason : {GroupReason::burstId, GroupReason::fileNames,
                                     GroupReason::sequenceNumber, GroupReason::captureTimes}) {
        const auto count = std::ranges::count(bursts, reason, &Burst::reason);
        if (count > 0)
            reasons +=
                fmt::format("{}{} by {}", reasons.empty() ? "" : ", ",
                            counted(static_cast<size_t>(count), "burst"), reasonText(reason));
        if (reason == GroupReason::captureTimes && count == std::ssize(bursts))
            return "";
    }
    return fmt::format("Note: {}.\n", reasons);
}

std::string turnText(const Alignment& alignment) {
    if (alignment.cornerOffset < 1)
        return "";
    const std::string degrees = fmt::format("{:.2f}", std::abs(alignment.turn));
    const std::string percent = fmt::format("{:.1f}", 100 * std::abs(alignment.scale - 1));
    std::string what;
    if (degrees != "0.00")
        what = fmt::format("turned by {} degrees {}", degrees,
                           alignment.turn < 0 ? "anticlockwise" : "clockwise");
    if (percent != "0.0")
        what += fmt::format("{}{} % {}", what.empty() ? "" : " and ", percent,
                            alignment.scale < 1 ? "smaller" : "larger");
    return fmt::format("Beside the shift B is {}, which moves its corners by {:.0f} pixels.\n",
                       what, alignment.cornerOffset);
}

// Without a sign before what is shown as 0.
std::string correlationText(double correlation) {
    return fmt::format("{:.2f}", std::round(100 * correlation) / 100 + 0.0);
}

std::string shiftVerdict(const Alignment& alignment) {
    if (alignment.atLimit)
        return "The search ended at its limit: the true shift may be larger, or there is none.\n";
    return alignment.fits
               ? "The shift fits.\n"
               : "The shift does not fit: something else than a shift (a turn, a large object, "
                 "another scene) tells these pictures apart, or it is too large.\n";
}

std::string rectText(const __tag_rect& rect) {
    return fmt::format("{} pixels at {}", sizeText(rect.right - rect.left, rect.bottom - rect.top),
                       pairText(rect.left, rect.top));
}

// What makes pictures of one scene differ all over.
const char* wholeSceneReason(const Alignment& alignment) {
    if (!alignment.fits)
        return "no shift brings A and B together";
    if (alignment.cornerOffset >= 2)
        return "B is turned or of another size";
    return "near and far things are shifted by different ways, or one picture is less sharp";
}

std::string regionsText(const Changes& changes) {
    std::string text;
    for (size_t i = 0; i < changes.regions.size(); ++i) {
        const ChangedRegion& region = changes.regions[i];
        text += fmt::format("Region {}: {}; {} changed, {:.2f} % of the picture.\n", i + 1,
                            rectText(region.rect), region.area, 100 * changes.share(region.area));
    }
    return text.empty() ? "Regions: only specks, each below 0.2 % of the picture.\n" : text;
}

std::string differenceText(const Changes& changes) {
    if (changes.area == 0)
        return "Changed: nothing.\n";
    const double percent = 100 * changes.share(changes.area);
    if (changes.wholeScene)
        return fmt::format("Changed: the whole scene, since {}; {:.2f} % of the picture differ.\n",
                           wholeSceneReason(changes.alignment), percent);
    return fmt::format("Changed: {} of B; {:.2f} % of the picture differ.\n{}",
                       rectText(changes.rect), percent, regionsText(changes));
}

std::string lightText(const LightChange& light) {
    if (!light.isLarge())
        return "";
    return fmt::format("Light: B is {:.2f} times A {} {:.0f}, which was undone before the "
                       "comparison.\n",
                       light.gain, light.offset < 0 ? "less" : "plus", std::abs(light.offset));
}

} // namespace

std::string frameName(const Measurement& measured, const MeasuredFrame& frame) {
    if (!measured.isVideo)
        return oneLine(frame.name);
    return fmt::format("frame {} at {}", frame.number, timeText(frame));
}

std::string placeText(const Measurement& measured, const MeasuredFrame& frame) {
    return measured.isVideo ? timeText(frame) : oneLine(frame.name);
}

int64_t frameNumber(const Measurement& measured, size_t i) {
    return measured.isVideo ? measured.frames[i].number : static_cast<int64_t>(i);
}

const char* measureName(Measure measure) {
    return measure == Measure::detail ? "detail" : "sharpness";
}

std::string comparedWithMedian(const Measurement& measured, size_t best) {
    if (measured.frames.size() == 1)
        return "the only frame";
    if (measured.medianValue == 0)
        return measured.value(best) == 0 ? "as flat as the median frame"
                                         : "while the median frame is flat";
    const double percent = (measured.value(best) / measured.medianValue - 1) * 100;
    const std::string amount =
        fmt::format("{:.{}f}", std::abs(percent), std::abs(percent) < 1 ? 1 : 0);
    const bool byDetail = measured.measure == Measure::detail;
    if (amount == "0.0")
        return byDetail ? "with as much detail as the median frame"
                        : "as sharp as the median frame";
    if (byDetail)
        return fmt::format("with {} % {} detail than the median frame", amount,
                           percent > 0 ? "more" : "less");
    return amount + (percent > 0 ? " % sharper" : " % less sharp") + " than the median frame";
}

std::string commonPartSentence(const Burst& burst) {
    if (!burst.commonPart)
        return "";
    const CommonPart& part = *burst.commonPart;
    if (!part.isUsed())
        return fmt::format("Compared: whole frames, since {}.\n", part.obstacle);
    if (!part.moves())
        return "";
    const __tag_rect& rect = part.rect;
    return fmt::format("Compared: what all frames show, {} at {} of the first.\n",
                       sizeText(rect.right - rect.left, rect.bottom - rect.top),
                       pairText(rect.left, rect.top));
}

std::string detailSentence(const Burst& burst) {
    if (!burst.bestByDetail)
        return "";
    const Measurement& measured = burst.measured;
    const MeasuredFrame& other = measured.frames[*burst.bestByDetail];
    const MeasuredFrame& best = measured.frames[static_cast<size_t>(burst.ranking.best)];
    return fmt::format("By detail {} would be best: {:.1f}, and {:.1f} for {}. Noise or light may "
                       "have decided; look at both.\n",
                       frameName(measured, other), other.detail, best.detail,
                       frameName(measured, best));
}

const char* choiceName(Choice choice) {
    switch (choice) {
    case Choice::sharpest: return "sharpest";
    case Choice::library: return "library";
    case Choice::spread: break;
    }
    return "spread";
}

std::string choiceSentence(const Burst& burst) {
    const size_t kept = burst.ranking.chosen.size();
    const auto wanted =
        std::min(static_cast<size_t>(burst.choice.keep), burst.measured.frames.size());
    if (kept == wanted)
        return "";
    return fmt::format("Note: only {} of {} are kept, since no other has {} % of the best one's "
                       "score.\n",
                       kept, counted(wanted, "frame"), burst.choice.minShare);
}

std::string movingSentence(const Burst& burst) {
    if (!burst.moving)
        return "";
    const MovingObjects& moving = *burst.moving;
    const size_t n = moving.ofFrames.size();
    std::string text = moving.found == 0 ? "Moving: nothing was found"
                                         : fmt::format("Moving: an object in {} of {}",
                                                       moving.found, counted(n, "frame"));
    if (const auto lonely = n - static_cast<size_t>(moving.compared); lonely > 0 && n > 1)
        text += fmt::format(" ({} not comparable with the neighbours)", lonely);
    if (moving.used)
        return text + "; its sharpness, size and place count.\n";
    return text + (moving.found == 0 ? "" : ", too few to count") + "; ranked without.\n";
}

const char* reasonText(GroupReason reason) {
    switch (reason) {
    case GroupReason::burstId: return "burst id";
    case GroupReason::fileNames: return "file names";
    case GroupReason::sequenceNumber: return "sequence number";
    case GroupReason::captureTimes: break;
    }
    return "capture times";
}

std::string pickTable(const Burst& burst, const Notes& more) {
    const Measurement& measured = burst.measured;
    const auto best = static_cast<size_t>(burst.ranking.best);
    const size_t boldRow = best + 1;
    return pickRows({&burst, 1}, false, {&boldRow, 1}) + notes(measured) + noteLines(more) +
           commonPartSentence(burst) + peopleSentence(burst) + movingSentence(burst) +
           detailSentence(burst) + choiceSentence(burst) + bestSentence(burst);
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
        for (const std::string& line :
             {notes(burst.measured), commonPartSentence(burst), peopleSentence(burst),
              movingSentence(burst), detailSentence(burst), choiceSentence(burst)})
            if (!line.empty())
                notesOfBursts += fmt::format("Burst {}: {}", i + 1, line);
    }
    return pickRows(bursts, true, boldRows) + notesOfBursts + timesNote(bursts) +
           reasonsNote(bursts) +
           fmt::format("{}; kept {} of {}.\n", counted(bursts.size(), "burst"), kept,
                       counted(frames, "frame"));
}

std::string blurTable(const Measurement& measured) {
    const bool video = measured.isVideo;
    std::vector<Row> rows = {{"blur score", "detail", video ? "frame" : "file"}};
    std::vector<char> left = {false, false, !video, false};
    if (video)
        rows[0].push_back("time");
    for (const size_t i : measured.order) {
        const MeasuredFrame& frame = measured.frames[i];
        Row row = {std::to_string(frame.blur.score), detailText(frame)};
        if (video)
            row.push_back(std::to_string(frame.number));
        row.push_back(placeText(measured, frame));
        rows.push_back(std::move(row));
    }
    if (measured.sizes > 1) {
        left.insert(left.begin(), true);
        rows[0].insert(rows[0].begin(), "size");
        for (size_t i = 0; i < measured.order.size(); ++i) {
            const MeasuredFrame& frame = measured.frames[measured.order[i]];
            rows[i + 1].insert(rows[i + 1].begin(), sizeText(frame.width, frame.height));
        }
    }
    return formatTable(rows, left, {}) + notes(measured) + noteLines(blurNotes(measured));
}

Notes blurNotes(const Measurement& measured) {
    if (measured.sizes < 2)
        return {};
    return {fmt::format("{}, each sorted by itself, since scores of different sizes do not compare",
                        counted(measured.sizes, "size"))};
}

std::string alignmentText(const Alignment& alignment) {
    const std::string pair = pairText(alignment.shift.dx, alignment.shift.dy);
    return fmt::format(
        "Shift of B against A: {0}; pixel p of B shows what pixel p + {0} of A shows.\n"
        "Correlation of the edges: {1} where A and B overlap; without the shift {2}.\n"
        "{3}{4}",
        pair, correlationText(alignment.correlation),
        correlationText(alignment.correlationUnshifted), turnText(alignment),
        shiftVerdict(alignment));
}

std::string changesText(const Changes& changes) {
    return differenceText(changes) + lightText(changes.light) + alignmentText(changes.alignment);
}
