#include "base/error.h"
#include "commands/pick.h"
#include "media/picture.h"
#include "media/xmp.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <sstream>

namespace fs = std::filesystem;

namespace {

constexpr const char* xmpSpace = "http://ns.adobe.com/xap/1.0/";

// What is written about a frame; empty for nothing.
struct Mark {
    std::string rating;
    std::string label;
};

// The part of "BEST,KEPT,REST" with this number.
std::string partOf(const std::string& list, int number) {
    std::istringstream parts(list);
    std::string part;
    for (int i = 0; i <= number; ++i)
        if (!std::getline(parts, part, ','))
            return "";
    return part;
}

Mark markOf(const PickOptions& options, const Burst& burst, size_t frame) {
    const int number = burst.isBest(frame) ? 0 : burst.isChosen(frame) ? 1 : 2;
    return {partOf(options.ratings, number), partOf(options.labels, number)};
}

// A photograph of two files has one sidecar by its stem, and two by their full names.
std::vector<std::string> sidecarsOf(const PickOptions& options, const MeasuredFrame& frame) {
    if (options.xmpNaming == "stem")
        return {fs::path(frame.path).replace_extension(".xmp").string()};
    std::vector<std::string> paths = {frame.path + ".xmp"};
    for (const Companion& companion : frame.companions)
        paths.push_back(companion.path + ".xmp");
    return paths;
}

// Ratings are numbers; 0 says that there is none.
bool isUnrated(const std::string& rating) {
    return rating.empty() || std::strtod(rating.c_str(), nullptr) == 0;
}

// Sets a property unless it has the value, and says whether it did.
bool change(XmpPacket& packet, const std::string& path, const char* name, const std::string& value,
            bool isSet, bool replace) {
    const std::string old = packet.get(xmpSpace, name);
    if (value.empty() || old == value)
        return false;
    if (isSet && !replace)
        throw InputError(path, fmt::format("has {} {}, and would get {}; --force replaces it", name,
                                           old, value));
    packet.set(xmpSpace, name, value);
    return true;
}

// The sidecar with the mark and everything that it holds; nothing when it has the mark already.
std::optional<OutputFile> marked(const std::string& path, const Mark& mark, bool replace) {
    checkOutputPath(path, true);
    std::error_code ignored;
    const bool exists = fs::exists(path, ignored);
    std::optional<XmpPacket> packet = exists ? XmpPacket::parse(readFile(path)) : XmpPacket();
    if (!packet)
        throw InputError(path, "is no XMP that can be read, and is left as it is");
    bool changed = change(*packet, path, "Rating", mark.rating,
                          !isUnrated(packet->get(xmpSpace, "Rating")), replace);
    changed |= change(*packet, path, "Label", mark.label, !packet->get(xmpSpace, "Label").empty(),
                      replace);
    return changed ? std::optional(OutputFile{path, packet->text(), exists}) : std::nullopt;
}

} // namespace

void checkSidecars(const PickOptions& options) {
    std::error_code ignored;
    const std::string& first = options.inputs.front();
    if (std::ranges::find(options.inputs, "-") != options.inputs.end())
        throw InputError("--xmp", "standard input has no place for a sidecar");
    if (options.inputs.size() == 1 && !fs::is_directory(first, ignored) &&
        !PictureFile(first).isPicture())
        throw InputError("--xmp", "frames of a video have no sidecars");
}

std::vector<OutputFile> planSidecars(const PickOptions& options, std::span<const Burst> bursts) {
    std::map<std::string, std::string> photographs; // by their sidecar
    std::vector<OutputFile> files;
    for (const Burst& burst : bursts)
        for (size_t i = 0; i < burst.measured.frames.size(); ++i) {
            const MeasuredFrame& frame = burst.measured.frames[i];
            const Mark mark = markOf(options, burst, i);
            for (const std::string& path : sidecarsOf(options, frame)) {
                const auto [other, isNew] = photographs.try_emplace(path, frame.path);
                if (!isNew)
                    throw InputError(frame.path, fmt::format("would share the sidecar {} with {}; "
                                                             "--xmp-naming full tells them apart",
                                                             path, other->second));
                if (mark.rating.empty() && mark.label.empty())
                    continue;
                if (auto file = marked(path, mark, options.force))
                    files.push_back(std::move(*file));
            }
        }
    return files;
}
