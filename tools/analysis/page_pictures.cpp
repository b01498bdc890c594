#include "analysis/page_pictures.h"

#include "analysis/alignment.h"
#include "analysis/engine.h"
#include "base/error.h"
#include "media/colour.h"
#include "media/frame_source.h"

#include <algorithm>

namespace {

constexpr int32_t thumbnailSide = 400; // twice what the page shows, for dense screens
constexpr int thumbnailQuality = 75;
constexpr int32_t largestCrop = 320; // two fit side by side, and one on a phone

// What the second frame shows of the same thing.
__tag_rect shiftedBy(const __tag_rect& rect, const Shift& shift) {
    const auto dx = static_cast<int32_t>(shift.dx), dy = static_cast<int32_t>(shift.dy);
    return {rect.left - dx, rect.top - dy, rect.right - dx, rect.bottom - dy};
}

// Frames of another scene are compared at the same place.
Shift findShift(LumaImage& first, LumaImage& second) {
    const Alignment alignment = Aligner().find(first, second);
    return alignment.fits ? alignment.shift : Shift{0, 0};
}

struct Place {
    __tag_rect first;
    __tag_rect second;
    int64_t firstScore;
    int64_t secondScore;
};

// Looks at overlapping rectangles that lie in both frames.
std::optional<Place> findLargestDifference(LumaImage& first, LumaImage& second) {
    const int32_t width = std::min(largestCrop, first.width & ~3);
    const int32_t height = std::min(largestCrop, first.height & ~3);
    const bool isWhole = width == (first.width & ~3) && height == (first.height & ~3);
    const Shift shift = isWhole ? Shift{0, 0} : findShift(first, second);
    std::optional<Place> found;
    int64_t largest = -1;
    for (int32_t y = 0; y + height <= first.height; y += std::max(4, height / 16 * 4))
        for (int32_t x = 0; x + width <= first.width; x += std::max(4, width / 16 * 4)) {
            const __tag_rect here = {x, y, x + width, y + height};
            const __tag_rect there = shiftedBy(here, shift);
            if (std::min(there.left, there.top) < 0 || there.right > second.width ||
                there.bottom > second.height)
                continue;
            const int64_t a = measurePart(first, here), b = measurePart(second, there);
            if (std::abs(a - b) > largest) {
                largest = std::abs(a - b);
                found = Place{here, there, a, b};
            }
        }
    return found;
}

std::string crop(const BgrPicture& picture, const __tag_rect& rect) {
    PixelsView view = picture.view();
    view.data += rect.top * view.pitch + 3 * int64_t{rect.left};
    view.width = rect.right - rect.left;
    view.height = rect.bottom - rect.top;
    return encodePicture(view, FileFormat::jpeg);
}

// Makes the comparison of a ranked burst from its two frames.
class BurstComparer {
public:
    explicit BurstComparer(const Burst& burst) : measured_(burst.measured) {
        const std::vector<size_t>& order = measured_.order;
        best_.frame = static_cast<size_t>(burst.ranking.best);
        other_.frame = order.back() == best_.frame ? order.front() : order.back();
    }

    // Nothing can be compared in a burst of one frame or of frames below 8 pixels.
    std::set<size_t> frames() const {
        const MeasuredFrame& size = measured_.frames.front();
        if (best_.frame == other_.frame || std::min(size.width, size.height) < 8)
            return {};
        return {best_.frame, other_.frame};
    }

    void take(size_t index, const AVFrame& pixels, PhaseTimes& times) {
        Side& side = index == best_.frame ? best_ : other_;
        const std::string& path = measured_.frames[index].path;
        ImageViewer viewer;
        side.luma = copyLuma(viewer.view(pixels, path, times).image);
        side.colours = ColourPicture::of(pixels, path, times).whole(times);
    }

    // Once both frames were taken. Nothing when no cut-out shows the same in both.
    std::optional<Comparison> compare(PhaseTimes& times) {
        const PhaseTimer timer(times.library);
        const std::optional<Place> place = findLargestDifference(best_.luma, other_.luma);
        if (!place)
            return std::nullopt;
        return Comparison{
            {best_.frame, place->first, place->firstScore, crop(best_.colours, place->first)},
            {other_.frame, place->second, place->secondScore, crop(other_.colours, place->second)}};
    }

private:
    struct Side {
        size_t frame;
        LumaImage luma;
        BgrPicture colours;
    };

    const Measurement& measured_;
    Side best_ = {};
    Side other_ = {};
};

void putOnSheet(ContactSheet& sheet, size_t index, std::optional<Thumbnail> thumbnail) {
    if (thumbnail)
        sheet.thumbnails[index] = std::move(*thumbnail);
}

} // namespace

std::optional<Thumbnail> makeThumbnail(const AVFrame& frame, const std::string& name,
                                       PhaseTimes& times) {
    try {
        const BgrPicture picture =
            ColourPicture::of(frame, name, times).thumbnail(thumbnailSide, times);
        return Thumbnail{picture.width, picture.height,
                         encodePicture(picture.view(), FileFormat::jpeg, thumbnailQuality)};
    } catch (const BadPicture&) {
        return std::nullopt;
    }
}

void offerToSheet(ContactSheet& sheet, size_t index, std::optional<Thumbnail> thumbnail) {
    if (sheet.capacity == 0 || index % sheet.step != 0)
        return;
    if (sheet.thumbnails.size() == sheet.capacity) {
        sheet.step *= 2;
        std::erase_if(sheet.thumbnails,
                      [&](const auto& entry) { return entry.first % sheet.step != 0; });
        if (index % sheet.step != 0)
            return;
    }
    putOnSheet(sheet, index, std::move(thumbnail));
}

void addPagePictures(Burst& burst, bool compares, PhaseTimes& times) {
    ContactSheet& sheet = burst.sheet;
    for (const auto& [frame, thumbnail] : sheet.thumbnails)
        sheet.shown.insert(frame);
    std::set<size_t> missing = {static_cast<size_t>(burst.ranking.best)};
    for (const int64_t frame : burst.ranking.chosen)
        if (missing.size() <= sheet.capacity)
            missing.insert(static_cast<size_t>(frame));
    std::erase_if(missing, [&](size_t frame) { return sheet.shown.contains(frame); });
    sheet.shown.insert(missing.begin(), missing.end());

    BurstComparer comparer(burst);
    const std::set<size_t> compared = compares ? comparer.frames() : std::set<size_t>{};
    std::set<size_t> wanted = missing;
    wanted.insert(compared.begin(), compared.end());
    const std::vector<size_t> indices(wanted.begin(), wanted.end());
    const auto look = [&](size_t index, const AVFrame& pixels, PhaseTimes& used) -> InTurn {
        if (compared.contains(index))
            comparer.take(index, pixels, used); // its own side
        if (!missing.contains(index))
            return [] {};
        return
            [&, index, thumbnail = makeThumbnail(pixels, burst.measured.frames[index].path, used)] {
                putOnSheet(sheet, index, thumbnail);
            };
    };
    rereadFrames(burst.measured, indices, times, look);
    if (!compared.empty())
        burst.comparison = comparer.compare(times);
}
