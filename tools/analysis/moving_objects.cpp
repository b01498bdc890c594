#include "analysis/moving_objects.h"

#include "analysis/changed_mask.h"
#include "analysis/object_track.h"

#include <algorithm>

namespace {

constexpr int32_t smallestSide = 11; // the library takes no smaller object

// Where a frame differs from two others: each byte tells from which of them.
struct Evidence {
    enum : unsigned char { fromFirst = 1, fromSecond = 2, fromBoth = 3 };

    int comparisons = 0;
    std::vector<unsigned char> pixels;

    void add(const ChangedMask& mask) {
        const unsigned char flag = comparisons++ == 0 ? fromFirst : fromSecond;
        pixels.resize(mask.pixels.size());
        for (size_t i = 0; i < pixels.size(); ++i)
            pixels[i] = static_cast<unsigned char>(pixels[i] | (mask.pixels[i] & flag));
    }

    int64_t count(unsigned char flags) const {
        return std::count_if(pixels.begin(), pixels.end(),
                             [flags](unsigned char p) { return (p & flags) == flags; });
    }
};

class Comparisons {
public:
    explicit Comparisons(std::vector<LumaImage>& frames)
        : frames_(frames), evidence_(frames.size()) {}

    // Each frame with both neighbours, the ends with the two frames next to them.
    std::vector<Evidence>& compareAll() {
        const size_t n = frames_.size();
        for (size_t i = 0; i + 1 < n; ++i)
            compare(i, i + 1, true, true);
        if (n > 2) {
            compare(0, 2, true, false);
            compare(n - 3, n - 1, false, true);
        }
        return evidence_;
    }

private:
    // Frames that do not show the same scene shifted are left out: everything would seem to move.
    void compare(size_t first, size_t second, bool forFirst, bool forSecond) {
        const ChangedMask mask = findChangedMask(aligner_, frames_[first], frames_[second]);
        if (!mask.alignment.fits || isWholeScene(mask))
            return;
        if (forFirst)
            evidence_[first].add(moved(mask, mask.alignment.shift));
        if (forSecond)
            evidence_[second].add(mask);
    }

    std::vector<LumaImage>& frames_;
    std::vector<Evidence> evidence_;
    Aligner aligner_;
};

// A comparison shows the object at two places: in this frame and in the other. When the object
// leaves its place, what both comparisons have in common is its place in this frame, half of either
// comparison. An object that moves by less than its size only changes at its edges, and the edges
// in two comparisons hardly meet. Where an animal fills a quarter of the frame the common part was
// 0.16 to 0.24 of the larger comparison, and its rectangle overlapped the true one by 0.17 in the
// mean (intersection over union), the rectangle of the larger comparison by 0.47, that of both
// together by 0.56. The larger one is taken nevertheless: the ends of the burst have only one
// neighbour, and against the area of both together they could never win. One answer for the whole
// burst keeps areas and sharpness comparable.
bool leavesItsPlace(const std::vector<Evidence>& frames) {
    int64_t common = 0, larger = 0;
    for (size_t i = 1; i + 1 < frames.size(); ++i) {
        if (frames[i].comparisons < 2)
            continue;
        common += frames[i].count(Evidence::fromBoth);
        larger +=
            std::max(frames[i].count(Evidence::fromFirst), frames[i].count(Evidence::fromSecond));
    }
    return larger > 0 && 3 * common >= larger;
}

// Leaves only what moves marked. At the ends of the burst the frame after the neighbour only
// narrows it down: it is further away, and the object would seem larger than in the other frames.
void keepMoving(Evidence& evidence, bool onlyCommon, bool isEnd) {
    unsigned char wanted = Evidence::fromFirst;
    if (onlyCommon && evidence.comparisons == 2)
        wanted = Evidence::fromBoth;
    else if (!isEnd && evidence.count(Evidence::fromSecond) > evidence.count(Evidence::fromFirst))
        wanted = Evidence::fromSecond;
    for (unsigned char& pixel : evidence.pixels)
        pixel = (pixel & wanted) == wanted ? 255 : 0;
}

ChangedMask toMask(Evidence& evidence, const LumaImage& frame) {
    ChangedMask mask = {frame.width, frame.height, std::move(evidence.pixels), {}};
    mask.pixels.resize(frame.pixels.size()); // nothing when no comparison was possible
    return mask;
}

// A single comparison does not tell at which of its places an object is: they are taken together.
std::vector<ChangedRegion> placesOf(const ChangedMask& mask, int comparisons) {
    std::vector<ChangedRegion> regions = findRegions(mask);
    if (comparisons == 1 && !regions.empty())
        regions = {joined(regions)};
    return regions;
}

// An object that only changes at its edges is taken to fill its rectangle: the pixels that change
// tell how fast it moves, not how large it is.
MovingObject toObject(ChangedMask mask, const __tag_rect& rect, bool onlyEdges) {
    if (std::min(rect.right - rect.left, rect.bottom - rect.top) < smallestSide)
        return {};
    for (int32_t y = 0; y < mask.height; ++y)
        for (int32_t x = 0; x < mask.width; ++x) {
            const bool inside =
                y >= rect.top && y < rect.bottom && x >= rect.left && x < rect.right;
            unsigned char& pixel = mask.pixels[mask.index(x, y)];
            pixel = inside && (onlyEdges || pixel != 0) ? 255 : 0;
        }
    const auto area = std::count(mask.pixels.begin(), mask.pixels.end(), 255);
    return {true, rect, area, std::move(mask.pixels)};
}

} // namespace

MovingObjects findMovingObjects(std::vector<LumaImage>& frames) {
    Comparisons comparisons(frames);
    std::vector<Evidence>& evidence = comparisons.compareAll();
    const bool onlyCommon = leavesItsPlace(evidence);
    MovingObjects objects;
    std::vector<ChangedMask> masks;
    std::vector<std::vector<ChangedRegion>> regions;
    for (size_t i = 0; i < frames.size(); ++i) {
        objects.compared += evidence[i].comparisons > 0 ? 1 : 0;
        keepMoving(evidence[i], onlyCommon, i == 0 || i + 1 == frames.size());
        masks.push_back(toMask(evidence[i], frames[i]));
        regions.push_back(placesOf(masks.back(), evidence[i].comparisons));
    }
    const std::vector<std::optional<ChangedRegion>> track = followObject(regions);
    for (size_t i = 0; i < frames.size(); ++i) {
        objects.ofFrames.push_back(
            track[i] ? toObject(std::move(masks[i]), track[i]->rect, !onlyCommon) : MovingObject());
        objects.found += objects.ofFrames.back().found ? 1 : 0;
    }
    objects.used = objects.found > std::ssize(frames) / 2;
    return objects;
}
