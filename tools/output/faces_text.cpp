#include "output/report.h"
#include "output/table_text.h"

#include "base/text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <tuple>

using Json = OrderedJson;

namespace {

std::string percentText(const std::optional<int>& value) {
    return value ? std::to_string(*value) : "unknown";
}

template <typename Value>
Json orNull(const std::optional<Value>& value) {
    return value ? Json(*value) : Json();
}

// To three decimals: landmarks are not known better.
double rounded(double value) { return std::round(1000 * value) / 1000 + 0.0; }

Row faceRow(const PersonFace& face) {
    const __tag_rect& rect = face.rect;
    return {std::to_string(face.person + 1),
            fmt::format("{} at {},{}", sizeText(rect.right - rect.left, rect.bottom - rect.top),
                        rect.left, rect.top),
            percentText(face.leftEye),
            percentText(face.rightEye),
            percentText(face.smile),
            fmt::format("{:.0f}", std::round(face.measures.yaw) + 0.0),
            fmt::format("{:.0f}", std::round(face.measures.roll) + 0.0),
            fmt::format("{:.2f}", face.confidence),
            face.isRanked ? "" : "not ranked"};
}

Json faceJson(const PersonFace& face) {
    Json landmarks = Json::array();
    for (const LandmarkPoint& point : face.landmarks)
        landmarks.push_back(Json::array({rounded(point.x), rounded(point.y)}));
    return {{"person", face.person},
            {"rect", toJson(face.rect)},
            {"confidence", rounded(face.confidence)},
            {"left_eye", orNull(face.leftEye)},
            {"right_eye", orNull(face.rightEye)},
            {"smile", orNull(face.smile)},
            {"eyes_open", orNull(face.eyesOpen)},
            {"smile_degree", orNull(face.smileDegree)},
            {"yaw", rounded(face.measures.yaw)},
            {"roll", rounded(face.measures.roll)},
            {"eye_width", rounded(face.measures.eyeWidth)},
            {"ranked", face.isRanked},
            {"landmarks", std::move(landmarks)}};
}

// The frames that show more faces than a ranking takes.
size_t crowdedFrames(const People& people) {
    return static_cast<size_t>(std::ranges::count_if(people.ofFrames, [](const auto& faces) {
        return !faces.empty() && !faces.back().isRanked;
    }));
}

} // namespace

Notes peopleNotes(const People& people) {
    const size_t crowded = crowdedFrames(people);
    if (crowded == 0)
        return {};
    return {fmt::format("{} with more than 10 faces: a ranking takes the 10 largest",
                        counted(crowded, "frame"))};
}

std::string facesTable(const Measurement& measured, const People& people) {
    std::vector<Row> rows = {{"frame", measured.isVideo ? "time" : "file", "person", "face",
                              "left eye", "right eye", "smile", "yaw", "roll", "confidence", ""}};
    size_t count = 0;
    for (size_t i = 0; i < people.ofFrames.size(); ++i) {
        const std::string number = std::to_string(frameNumber(measured, i));
        const std::string place = placeText(measured, measured.frames[i]);
        if (people.ofFrames[i].empty())
            rows.push_back({number, place, "-", "-", "", "", "", "", "", "", ""});
        for (const PersonFace& face : people.ofFrames[i]) {
            Row row = faceRow(face);
            row.insert(row.begin(), {number, place});
            rows.push_back(std::move(row));
            ++count;
        }
    }
    std::vector<char> left(rows[0].size());
    left[1] = !measured.isVideo;
    left[3] = left.back() = true;
    std::string text = formatTable(rows, left, {});
    for (const std::string& note : peopleNotes(people))
        text += fmt::format("Note: {}.\n", note);
    return text + fmt::format("{} of {} in {}.\n", counted(count, "face"),
                              counted(people.persons.size(), "person"),
                              counted(people.ofFrames.size(), "frame"));
}

namespace {

// The frame with the fewest closed eyes, and of these with the most faces, the first.
size_t frameOfFewestClosed(const People& people) {
    const auto rank = [&](size_t frame) {
        const size_t faces = people.ofFrames[frame].size();
        return std::tuple(faces == 0, people.withEyes(frame, false), -static_cast<int64_t>(faces));
    };
    size_t best = 0;
    for (size_t i = 1; i < people.ofFrames.size(); ++i)
        if (rank(i) < rank(best))
            best = i;
    return best;
}

std::string closedPersons(std::span<const PersonFace> faces) {
    std::vector<size_t> persons;
    for (const PersonFace& face : faces)
        if (face.eyesOpen == false)
            persons.push_back(face.person + 1);
    std::ranges::sort(persons);
    return fmt::format("person{} {}", persons.size() > 1 ? "s" : "", fmt::join(persons, ", "));
}

} // namespace

std::string peopleSentence(const Burst& burst) {
    if (!burst.people)
        return "";
    const People& people = *burst.people;
    if (people.persons.empty())
        return "Faces: none were found.\n";
    const size_t n = people.ofFrames.size();
    size_t faces = 0, blinking = 0;
    for (size_t i = 0; i < n; ++i) {
        faces += people.ofFrames[i].size();
        blinking += people.withEyes(i, false) > 0 ? 1 : 0;
    }
    std::string text =
        fmt::format("Faces: {} of {} in {}; closed eyes in {} of them", counted(faces, "face"),
                    counted(people.persons.size(), "person"), counted(n, "frame"), blinking);
    const size_t least = frameOfFewestClosed(people);
    if (people.withEyes(least, false) > 0)
        text += fmt::format(". No frame has all eyes open; {} has the fewest closed, those of {}",
                            frameName(burst.measured, burst.measured.frames[least]),
                            closedPersons(people.ofFrames[least]));
    if (crowdedFrames(people) > 0)
        text += "; of a frame with more than 10 faces the 10 largest are ranked";
    return text + ".\n";
}

std::string eyesText(const PersonFace& face) {
    if (!face.eyesOpen)
        return "eyes unknown";
    return *face.eyesOpen ? "eyes open" : "eyes closed";
}

std::string smileText(const PersonFace& face) {
    const uint32_t degree = face.smileDegree.value_or(0);
    return degree == 80 ? "broad smile" : degree == 30 ? "smile" : "";
}

Json personsJson(const People& people) {
    Json persons = Json::array();
    for (size_t i = 0; i < people.persons.size(); ++i)
        persons.push_back({{"person", i},
                           {"frames", people.persons[i].frames},
                           {"best_frame", orNull(people.persons[i].bestFrame)}});
    return persons;
}

Json facesOfFrameJson(std::span<const PersonFace> faces) {
    Json list = Json::array();
    for (const PersonFace& face : faces)
        list.push_back(faceJson(face));
    return list;
}

std::string facesFileText(const FacesOfFrames& frames) {
    Json json = {{"frames", Json::array()}};
    for (const std::vector<Face>& faces : frames) {
        Json list = Json::array();
        for (const Face& face : faces) {
            Json entry = {{"rect", toJson(face.rect)}, {"code", face.code}};
            if (face.smileDegree != unknownOfFace)
                entry["smile"] = face.smileDegree;
            if (face.eyesOpen != unknownOfFace)
                entry["eyes_open"] = face.eyesOpen == 1;
            list.push_back(std::move(entry));
        }
        json["frames"].push_back({{"faces", std::move(list)}});
    }
    return printJson(json);
}
