#include "analysis/faces.h"

#include "base/error.h"
#include "media/files.h"
#include "media/json_input.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr size_t mostFaces = 10;
constexpr size_t headerSize = 32;
constexpr size_t faceSize = 40;
constexpr size_t recordSize = 412;
constexpr size_t faceCountOffset = 400;

__tag_rect parseRect(const JsonNode& node) {
    const std::vector<JsonNode> edges = node.elements();
    if (edges.size() != 4)
        node.fail("must be [left, top, right, bottom]");
    const auto edge = [&](size_t i) {
        return static_cast<int32_t>(edges[i].integer(0, INT32_MAX));
    };
    const __tag_rect rect = {edge(0), edge(1), edge(2), edge(3)};
    if (rect.left >= rect.right || rect.top >= rect.bottom)
        node.fail("the rectangle is empty");
    return rect;
}

uint32_t parseSmile(const JsonNode& node) {
    const int64_t degree = node.integer(0, 80);
    if (degree != 0 && degree != 30 && degree != 80)
        node.fail("must be 0, 30 or 80");
    return static_cast<uint32_t>(degree);
}

Face parseFace(const JsonNode& node) {
    node.checkKeys({"rect", "code", "smile", "eyes_open"});
    Face face = {parseRect(node.get("rect")), 0, unknownOfFace, unknownOfFace};
    if (node.has("code"))
        face.code = static_cast<uint32_t>(node.get("code").integer(0, 16));
    if (node.has("smile"))
        face.smileDegree = parseSmile(node.get("smile"));
    if (node.has("eyes_open"))
        face.eyesOpen = node.get("eyes_open").boolean() ? 1 : 0;
    return face;
}

std::vector<Face> parseFrame(const JsonNode& node) {
    node.checkKeys({"faces"});
    const JsonNode list = node.get("faces");
    std::vector<Face> faces;
    for (const JsonNode& face : list.elements())
        faces.push_back(parseFace(face));
    if (faces.size() > mostFaces)
        list.fail("at most 10 faces");
    return faces;
}

// Integers of the record are little-endian, as on every platform that the library is built for.
void put(unsigned char* at, uint32_t value) { std::memcpy(at, &value, sizeof value); }

__tag_rect clip(__tag_rect rect, int32_t width, int32_t height) {
    return {std::min(rect.left, width - 1), std::min(rect.top, height - 1),
            std::min(rect.right, width), std::min(rect.bottom, height)};
}

} // namespace

FacesOfFrames readFaces(const std::string& path) {
    const nlohmann::json json = parseJson(readFile(path), path);
    const JsonNode root(json, path, "");
    root.checkKeys({"frames"});
    FacesOfFrames frames;
    for (const JsonNode& frame : root.get("frames").elements())
        frames.push_back(parseFrame(frame));
    return frames;
}

void checkFaces(const FacesOfFrames& faces, const std::string& path, size_t frameCount,
                int32_t width, int32_t height) {
    if (faces.size() != frameCount)
        throw InputError(
            path, fmt::format("describes {} frames, the burst has {}", faces.size(), frameCount));
    for (size_t i = 0; i < faces.size(); ++i)
        for (size_t j = 0; j < faces[i].size(); ++j)
            if (faces[i][j].rect.right > width || faces[i][j].rect.bottom > height)
                throw InputError(
                    path, fmt::format("frames[{}].faces[{}].rect: leaves the frame of {} x {}", i,
                                      j, width, height));
}

std::vector<unsigned char> makeRecord(const FacesOfFrames& faces, size_t frameCount, int32_t width,
                                      int32_t height) {
    std::vector<unsigned char> record(headerSize + frameCount * recordSize);
    put(&record[4], static_cast<uint32_t>(frameCount));
    for (size_t i = 0; i < faces.size(); ++i) {
        unsigned char* const frame = &record[headerSize + i * recordSize];
        put(frame + faceCountOffset, static_cast<uint32_t>(faces[i].size()));
        for (size_t j = 0; j < faces[i].size(); ++j) {
            unsigned char* const entry = frame + j * faceSize;
            const __tag_rect rect = clip(faces[i][j].rect, width, height);
            std::memcpy(entry, &rect, sizeof rect);
            put(entry + 16, faces[i][j].code);
            put(entry + 20, faces[i][j].smileDegree);
            put(entry + 24, faces[i][j].eyesOpen);
        }
    }
    return record;
}
