#include "analysis/face_finder.h"

#include "analysis/face_measures.h"
#include "analysis/pyramid.h"
#include "base/error.h"

#include <algorithm>
#include <cmath>

#include <dlfcn.h>

namespace {

constexpr const char* component = "libkelvane-faces.so";
constexpr const char* packagedLandmarks = "/usr/share/dlib/shape_predictor_68_face_landmarks.dat";

// Of a face where it is looked for.
constexpr double detectedWidth = 80;

// Smaller faces than the picture has do not appear by enlarging it further.
constexpr double mostEnlarged = 2;

// It stays loaded until the process ends: what it made is in use until then.
OpenFaceDetector* findOpen() {
    void* const library = dlopen(component, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr)
        return nullptr;
    return reinterpret_cast<OpenFaceDetector*>(dlsym(library, openFaceDetectorName));
}

std::unique_ptr<FaceDetector> openDetector(const std::string& given) {
    OpenFaceDetector* const open = findOpen();
    if (open == nullptr) {
        const char* const error = dlerror();
        throw InputError(component, fmt::format("{}; the package kelvane-faces brings what finds "
                                                "faces",
                                                error == nullptr ? "cannot be loaded" : error));
    }
    const std::string path = given.empty() ? packagedLandmarks : given;
    std::string reason;
    std::unique_ptr<FaceDetector> detector(open(path.c_str(), &reason));
    if (!detector)
        throw InputError(path, fmt::format("{}; Debian's package libdlib-data has the file of "
                                           "landmarks, --landmarks FILE names another",
                                           reason));
    return detector;
}

// The whole pixels that a box covers of a frame; nothing when that is less than half of it.
std::optional<__tag_rect> insideOf(const DetectedFace& face, int32_t width, int32_t height) {
    const auto clamped = [](double edge, int32_t side) {
        return static_cast<int32_t>(std::clamp<double>(std::round(edge), 0, side));
    };
    const __tag_rect rect = {clamped(face.left, width), clamped(face.top, height),
                             clamped(face.right, width), clamped(face.bottom, height)};
    const double area = (face.right - face.left) * (face.bottom - face.top);
    const double inside = static_cast<double>(rect.right - rect.left) * (rect.bottom - rect.top);
    return inside > 0 && inside >= area / 2 ? std::optional(rect) : std::nullopt;
}

int64_t areaOf(const __tag_rect& rect) {
    return int64_t{rect.right - rect.left} * (rect.bottom - rect.top);
}

GreyView viewOf(const LumaImage& luma) {
    return {luma.pixels.data(), luma.width, luma.height, luma.width};
}

} // namespace

FaceFinder::FaceFinder(const FaceRules& rules)
    : smallestFace_(rules.smallestFace), detector_(openDetector(rules.landmarksFile)) {}

std::vector<PersonFace> FaceFinder::find(const __tag_KIRO_OFFSCREEN& image) const {
    const int32_t longer = std::max(image.width, image.height);
    const double scale = std::min(mostEnlarged, detectedWidth / (smallestFace_ * longer));
    const auto width = std::max(1, static_cast<int32_t>(std::lround(image.width * scale)));
    const GreyView full = {image.planes[0], image.width, image.height, image.pitches[0]};
    LumaImage reduced; // by halves, so that no pixel is left out
    if (image.width >= 2 * width)
        reduced = halved(copyLuma(image));
    while (reduced.width >= 2 * width)
        reduced = halved(reduced);
    const GreyView working = reduced.width > 0 ? viewOf(reduced) : full;
    std::vector<PersonFace> faces;
    for (const DetectedFace& found : detector_->detect(working, width, full))
        if (const auto rect = insideOf(found, image.width, image.height))
            faces.push_back({.rect = *rect,
                             .confidence = found.confidence,
                             .landmarks = found.landmarks,
                             .measures = measureFace(found.landmarks)});
    std::ranges::stable_sort(faces, std::greater(),
                             [](const PersonFace& face) { return areaOf(face.rect); });
    return faces;
}

const FaceFinder& sharedFaceFinder(const FaceRules& rules) {
    static const FaceFinder finder(rules);
    return finder;
}

bool canFindFaces() { return findOpen() != nullptr; }
