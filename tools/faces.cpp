#include "faces.h"

#include "error.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <initializer_list>
#include <string_view>
#include <system_error>

using Json = nlohmann::json;

namespace {

constexpr size_t mostFaces = 10;
constexpr size_t headerSize = 32;
constexpr size_t faceSize = 40;
constexpr size_t recordSize = 412;
constexpr size_t faceCountOffset = 400;
constexpr uint32_t notKnown = UINT32_MAX;

// One value of the file, with its path for messages: "frames[2].faces[0].code".
class Node {
public:
    Node(const Json& json, const std::string& file, std::string path)
        : json_(json), file_(file), path_(std::move(path)) {}

    [[noreturn]] void fail(const std::string& reason) const {
        throw InputError(file_, path_.empty() ? reason : path_ + ": " + reason);
    }

    void checkKeys(std::initializer_list<std::string_view> known) const {
        if (!json_.is_object())
            fail("must be an object");
        for (const auto& entry : json_.items())
            if (std::find(known.begin(), known.end(), entry.key()) == known.end())
                fail("unknown key \"" + entry.key() + "\"");
    }

    bool has(const char* key) const { return json_.contains(key); }

    Node get(const char* key) const {
        if (!has(key))
            fail(std::string("\"") + key + "\" is missing");
        return {json_.at(key), file_, path_.empty() ? key : path_ + "." + key};
    }

    std::vector<Node> elements() const {
        if (!json_.is_array())
            fail("must be an array");
        std::vector<Node> nodes;
        for (size_t i = 0; i < json_.size(); ++i)
            nodes.emplace_back(json_[i], file_, path_ + "[" + std::to_string(i) + "]");
        return nodes;
    }

    int64_t integer(int64_t low, int64_t high) const {
        if (!json_.is_number_integer())
            fail("must be an integer");
        const bool fits = !json_.is_number_unsigned() || json_.get<uint64_t>() <= INT64_MAX;
        if (!fits || json_.get<int64_t>() < low || json_.get<int64_t>() > high)
            fail("must be " + std::to_string(low) + " to " + std::to_string(high));
        return json_.get<int64_t>();
    }

    bool boolean() const {
        if (!json_.is_boolean())
            fail("must be true or false");
        return json_.get<bool>();
    }

private:
    const Json& json_;
    const std::string& file_;
    std::string path_;
};

__tag_rect parseRect(const Node& node) {
    const std::vector<Node> edges = node.elements();
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

uint32_t parseSmile(const Node& node) {
    const int64_t degree = node.integer(0, 80);
    if (degree != 0 && degree != 30 && degree != 80)
        node.fail("must be 0, 30 or 80");
    return static_cast<uint32_t>(degree);
}

Face parseFace(const Node& node) {
    node.checkKeys({"rect", "code", "smile", "eyes_open"});
    Face face = {parseRect(node.get("rect")), 0, notKnown, notKnown};
    if (node.has("code"))
        face.code = static_cast<uint32_t>(node.get("code").integer(0, 16));
    if (node.has("smile"))
        face.smileDegree = parseSmile(node.get("smile"));
    if (node.has("eyes_open"))
        face.eyesOpen = node.get("eyes_open").boolean() ? 1 : 0;
    return face;
}

std::vector<Face> parseFrame(const Node& node) {
    node.checkKeys({"faces"});
    const Node list = node.get("faces");
    std::vector<Face> faces;
    for (const Node& face : list.elements())
        faces.push_back(parseFace(face));
    if (faces.size() > mostFaces)
        list.fail("at most 10 faces");
    return faces;
}

Json parseFile(const std::string& path) {
    errno = 0;
    std::ifstream file(path);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    if (!file)
        throw InputError(path,
                         errno != 0 ? std::generic_category().message(errno) : "cannot be read");
    try {
        return Json::parse(text);
    } catch (const Json::parse_error& error) {
        throw InputError(path, "not valid JSON at byte " + std::to_string(error.byte));
    }
}

// Integers of the record are little-endian, as on every platform that the library is built for.
void put(unsigned char* at, uint32_t value) { std::memcpy(at, &value, sizeof value); }

__tag_rect clip(__tag_rect rect, int32_t width, int32_t height) {
    return {std::min(rect.left, width - 1), std::min(rect.top, height - 1),
            std::min(rect.right, width), std::min(rect.bottom, height)};
}

} // namespace

FacesOfFrames readFaces(const std::string& path) {
    const Json json = parseFile(path);
    const Node root(json, path, "");
    root.checkKeys({"frames"});
    FacesOfFrames frames;
    for (const Node& frame : root.get("frames").elements())
        frames.push_back(parseFrame(frame));
    return frames;
}

void checkFaces(const FacesOfFrames& faces, const std::string& path, size_t frameCount,
                int32_t width, int32_t height) {
    if (faces.size() != frameCount)
        throw InputError(path, "describes " + std::to_string(faces.size()) +
                                   " frames, the burst has " + std::to_string(frameCount));
    for (size_t i = 0; i < faces.size(); ++i)
        for (size_t j = 0; j < faces[i].size(); ++j)
            if (faces[i][j].rect.right > width || faces[i][j].rect.bottom > height)
                throw InputError(path, "frames[" + std::to_string(i) + "].faces[" +
                                           std::to_string(j) + "].rect: leaves the frame of " +
                                           std::to_string(width) + " x " + std::to_string(height));
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
