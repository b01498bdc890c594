#include "output/report.h"
#include "output/term_values.h"

#include <fmt/format.h>

#include <cmath>

using Json = OrderedJson;

namespace {

Json namesOf(std::span<const Companion> companions) {
    Json names = Json::array();
    for (const Companion& companion : companions)
        names.push_back(companion.name);
    return names;
}

Json frameJson(const Measurement& measured, size_t index) {
    const MeasuredFrame& frame = measured.frames[index];
    return {{"index", index},
            {"name", frame.name},
            {"number", frameNumber(measured, index)},
            {"time", frame.seconds ? Json(*frame.seconds) : Json()},
            {"companions", namesOf(frame.companions)},
            {"orientation", frame.orientation},
            {"pixel_format", frame.pixelFormat},
            {"rendering", frame.rendering.empty() ? Json() : Json(frame.rendering)},
            {"format", fmt::format("{:#x}", frame.blur.format)},
            {"converted", frame.converted},
            {"cropped", frame.cropped},
            {"width", frame.blur.width},
            {"height", frame.blur.height},
            {"blur", frame.blur.score},
            {"detail", std::round(100 * frame.detail) / 100}};
}

// Null when frames were not to be compared in a part, or there is only one.
Json commonPartJson(const std::optional<CommonPart>& part) {
    if (!part)
        return nullptr;
    return {{"used", part->isUsed()},
            {"rect", part->isUsed() ? toJson(part->rect) : Json()},
            {"reason", part->isUsed() ? Json() : Json(part->obstacle)}};
}

Json shiftJson(const std::optional<CommonPart>& part, size_t frame) {
    if (!part || !part->isUsed())
        return nullptr;
    return Json::array({part->shifts[frame].dx, part->shifts[frame].dy});
}

Json objectJson(const MovingObject& object, bool used) {
    if (!object.found)
        return nullptr;
    return {{"rect", toJson(object.rect)},
            {"area", object.area},
            {"blur", object.score},
            {"used", used}};
}

Json termsJson(const Terms& terms) {
    Json json;
    for (const TermValue& term : termValues(terms)) {
        if (term.value == std::trunc(term.value))
            json[term.key] = static_cast<int64_t>(term.value);
        else
            json[term.key] = term.value;
    }
    return json;
}

} // namespace

Json jsonHead(const char* command) {
    _tag_VERSION_INFO version = {};
    DRAV_GetVersion(&version);
    return {{"schema", 1}, {"library", version.version}, {"command", command}};
}

Json toJson(const __tag_rect& rect) {
    return Json::array({rect.left, rect.top, rect.right, rect.bottom});
}

Json pickJson(const Burst& burst) {
    const Ranking& ranking = burst.ranking;
    Json json = {{"measure", measureName(burst.measured.measure)}, {"frames", Json::array()}};
    for (size_t i = 0; i < burst.measured.frames.size(); ++i) {
        Json frame = frameJson(burst.measured, i);
        frame["blur_whole"] = burst.measured.frames[i].wholeScore;
        frame["shift"] = shiftJson(burst.commonPart, i);
        frame["chosen"] = burst.isChosen(i);
        frame["best"] = burst.isBest(i);
        if (burst.moving)
            frame["moving"] = objectJson(burst.moving->ofFrames[i], burst.moving->used);
        if (burst.people)
            frame["faces"] = facesOfFrameJson(burst.people->ofFrames[i]);
        frame["terms"] = termsJson(burst.terms[i]);
        json["frames"].push_back(std::move(frame));
    }
    if (burst.moving)
        json["moving_used"] = burst.moving->used;
    json["common_part"] = commonPartJson(burst.commonPart);
    if (burst.people)
        json["persons"] = personsJson(*burst.people);
    json["order"] = burst.measured.order;
    json["choose"] = choiceName(burst.choice.choice);
    json["min_share"] = burst.choice.minShare;
    json["chosen"] = ranking.chosen;
    json["best"] = ranking.best;
    json["best_by_detail"] = burst.bestByDetail ? Json(*burst.bestByDetail) : Json();
    return json;
}

Json groupJson(double gap, std::span<const Burst> bursts) {
    Json json = {{"group_seconds", gap}, {"bursts", Json::array()}};
    for (const Burst& burst : bursts) {
        Json entry = {{"start", burst.start},
                      {"start_zone", burst.startZone.empty() ? Json() : Json(burst.startZone)},
                      {"file_times", burst.fileTimes},
                      {"reason", reasonText(burst.reason)}};
        entry.update(pickJson(burst));
        json["bursts"].push_back(std::move(entry));
    }
    return json;
}

Json blurJson(const Measurement& measured) {
    Json json = {{"measure", measureName(measured.measure)}, {"frames", Json::array()}};
    for (size_t i = 0; i < measured.frames.size(); ++i)
        json["frames"].push_back(frameJson(measured, i));
    json["order"] = measured.order;
    return json;
}

Json facesJson(const Measurement& measured, const People& people) {
    Json json = {{"frames", Json::array()}};
    for (size_t i = 0; i < measured.frames.size(); ++i) {
        Json frame = frameJson(measured, i);
        frame["faces"] = facesOfFrameJson(people.ofFrames[i]);
        json["frames"].push_back(std::move(frame));
    }
    json["persons"] = personsJson(people);
    return json;
}

Json skippedJson(std::span<const Skipped> skipped) {
    Json json = Json::array();
    for (const Skipped& file : skipped)
        json.push_back({{"name", file.name}, {"reason", file.reason}});
    return json;
}

Json changesJson(const Changes& changes) {
    Json regions = Json::array();
    for (const ChangedRegion& region : changes.regions)
        regions.push_back({{"rect", toJson(region.rect)},
                           {"area", region.area},
                           {"share", changes.share(region.area)}});
    const LightChange& light = changes.light;
    return {
        {"rect", changes.rect.right == 0 ? Json() : toJson(changes.rect)},
        {"changed_ratio", changes.share(changes.area)},
        {"regions", std::move(regions)},
        {"whole_scene", changes.wholeScene},
        {"light", {{"gain", light.gain}, {"offset", light.offset}, {"undone", light.isLarge()}}}};
}

Json alignmentJson(const Alignment& alignment, const BitAgreement& bits) {
    return {{"dx", alignment.shift.dx},
            {"dy", alignment.shift.dy},
            {"turn", alignment.turn},
            {"scale", alignment.scale},
            {"correlation", alignment.correlation},
            {"correlation_unshifted", alignment.correlationUnshifted},
            {"agreement", bits.shifted},
            {"agreement_unshifted", bits.unshifted},
            {"at_limit", alignment.atLimit},
            {"fits", alignment.fits}};
}

// File names need not be UTF-8; JSON has to be.
std::string printJson(const Json& json, int indent) {
    return json.dump(indent, ' ', false, Json::error_handler_t::replace) + "\n";
}
