#include "analysis/terms.h"

#include <algorithm>

// Products and sums are of single precision and conversions truncate, as in the library.
namespace {

int64_t truncated(float value) { return static_cast<int64_t>(value); }

// The share of the largest of the burst, in ten-thousandths.
std::vector<int64_t> sharesOf(const std::vector<int64_t>& values) {
    const auto largest = static_cast<double>(*std::ranges::max_element(values));
    std::vector<int64_t> shares;
    for (const int64_t value : values) {
        const double share = static_cast<float>(value) / (largest + 0.0001);
        shares.push_back(static_cast<int64_t>(share * 10000.0));
    }
    return shares;
}

// A small object counts as none, a large one as the largest.
int64_t areaPoints(int64_t share) { return share > 8000 ? 10000 : share < 2000 ? 0 : share; }

// How far an edge reaches into the margin of a tenth of the side: 0 to 1.
float intrusion(int32_t distance, int32_t side) {
    const int64_t margin = truncated(static_cast<float>(side) * 0.1f);
    if (margin == 0 || distance >= margin)
        return 0;
    return static_cast<float>(margin - distance) / static_cast<float>(margin);
}

float borderPenalty(const __tag_rect& rect, int32_t width, int32_t height) {
    float sum = intrusion(rect.left, width);
    sum += intrusion(width - rect.right, width);
    sum += intrusion(rect.top, height);
    sum += intrusion(height - rect.bottom, height);
    return sum * 0.25f * 10000.0f;
}

void addFaces(const std::vector<Face>& faces, Terms& terms) {
    terms.faces = 400 * std::ssize(faces);
    for (const Face& face : faces) {
        terms.eyes += face.eyesOpen == 1 ? 600 : face.eyesOpen == 0 ? -99900 : 0;
        terms.smiles += face.smileDegree == 30 ? 500 : face.smileDegree == 80 ? 1000 : 0;
        terms.codes -= face.code >= 13 && face.code <= 16 ? 300 : 0;
    }
}

void addSharpness(std::vector<Terms>& terms) {
    std::vector<int64_t> frames, objects;
    for (const Terms& ofFrame : terms) {
        frames.push_back(ofFrame.score);
        objects.push_back(ofFrame.objectScore);
    }
    frames = sharesOf(frames);
    objects = sharesOf(objects);
    for (size_t i = 0; i < terms.size(); ++i) {
        terms[i].share = frames[i];
        terms[i].objectShare = objects[i];
        terms[i].sharpness = truncated(0.8f * static_cast<float>(frames[i]));
        terms[i].objectSharpness = truncated(1.2f * static_cast<float>(objects[i]));
    }
}

void addObjects(const std::vector<MovingObject>& objects, int32_t width, int32_t height,
                std::vector<Terms>& terms) {
    std::vector<int64_t> areas;
    for (const MovingObject& object : objects)
        areas.push_back(object.found ? object.area : 0);
    areas = sharesOf(areas);
    for (size_t i = 0; i < terms.size(); ++i) {
        // A frame without an object counts as one with an empty object in its corner.
        const __tag_rect rect = objects[i].found ? objects[i].rect : __tag_rect{};
        terms[i].area = areaPoints(areas[i]);
        terms[i].border = 0 - borderPenalty(rect, width, height);
    }
}

} // namespace

std::vector<Terms> computeTerms(std::span<const int64_t> scores, const MovingObjects* moving,
                                const FacesOfFrames& faces, int32_t width, int32_t height) {
    std::vector<Terms> terms(scores.size());
    const bool moves = moving != nullptr && moving->used;
    size_t faceCount = 0;
    for (const std::vector<Face>& ofFrame : faces)
        faceCount += ofFrame.size();
    for (size_t i = 0; i < terms.size(); ++i) {
        const int64_t object =
            moves && moving->ofFrames[i].found ? moving->ofFrames[i].score : int64_t{0};
        terms[i].score = scores[i];
        terms[i].objectScore = object == 0 ? scores[i] : object;
        if (!faces.empty() && faceCount >= terms.size() / 2)
            addFaces(faces[i], terms[i]);
    }
    addSharpness(terms);
    if (moves)
        addObjects(moving->ofFrames, width, height, terms);
    for (Terms& t : terms) {
        const int64_t sum = t.sharpness + t.objectSharpness + t.faces + t.eyes + t.smiles +
                            t.codes + constantTerm + t.area;
        t.total = truncated(static_cast<float>(sum) + t.border);
    }
    return terms;
}
