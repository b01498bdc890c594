#include "analysis/object_track.h"

#include <algorithm>
#include <tuple>

namespace {

struct Track {
    std::vector<std::optional<ChangedRegion>> regions; // of each frame
    __tag_rect last = {};
    size_t lastFrame = 0;
    size_t frames = 0;
    int64_t area = 0;

    void add(size_t frame, const ChangedRegion& region) {
        regions[frame] = region;
        last = region.rect;
        lastFrame = frame;
        ++frames;
        area += region.area;
    }
};

int64_t overlapOf(const __tag_rect& a, const __tag_rect& b) {
    const int64_t columns = std::min(a.right, b.right) - std::max(a.left, b.left);
    const int64_t rows = std::min(a.bottom, b.bottom) - std::max(a.top, b.top);
    return columns > 0 && rows > 0 ? columns * rows : 0;
}

bool isInReach(const Track& track, size_t frame, const __tag_rect& rect) {
    return gapBetween(rect, track.last) <=
           2 * static_cast<int64_t>(frame - track.lastFrame) * lengthOf(track.last);
}

// The object that a region of a frame belongs to; null for a new one.
Track* findTrack(std::vector<Track>& tracks, size_t frame, const __tag_rect& rect) {
    Track* best = nullptr;
    const auto nearness = [&](const Track& track) {
        return std::tuple(overlapOf(rect, track.last), -gapBetween(rect, track.last));
    };
    for (Track& track : tracks)
        if (!track.regions[frame] && isInReach(track, frame, rect) &&
            (best == nullptr || nearness(track) > nearness(*best)))
            best = &track;
    return best;
}

} // namespace

std::vector<std::optional<ChangedRegion>>
followObject(const std::vector<std::vector<ChangedRegion>>& regionsOfFrames) {
    const size_t n = regionsOfFrames.size();
    std::vector<Track> tracks;
    for (size_t i = 0; i < n; ++i)
        for (const ChangedRegion& region : regionsOfFrames[i]) {
            Track* track = findTrack(tracks, i, region.rect);
            if (track == nullptr) {
                tracks.push_back({std::vector<std::optional<ChangedRegion>>(n)});
                track = &tracks.back();
            }
            track->add(i, region);
        }
    const auto best = std::ranges::max_element(
        tracks, {}, [](const Track& track) { return std::tuple(track.frames, track.area); });
    return best == tracks.end() ? std::vector<std::optional<ChangedRegion>>(n) : best->regions;
}
