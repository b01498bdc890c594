#include "comparison.h"

#include "library.h"
#include "shift_fit.h"

#include <algorithm>

namespace {

constexpr int32_t largestCrop = 320; // so that two fit beside each other, and one on a phone

double sharpnessIn(LumaImage& luma, __tag_rect rect) {
    __tag_KIRO_OFFSCREEN view = luma.view();
    float sharpness = 0;
    checkResult(imgEvaluateSharpness(nullptr, &view, &sharpness, &rect), "imgEvaluateSharpness");
    return 10000.0 * static_cast<double>(sharpness);
}

// What the second frame shows of the same thing.
__tag_rect shiftedBy(const __tag_rect& rect, const Shift& shift) {
    const auto dx = static_cast<int32_t>(shift.dx), dy = static_cast<int32_t>(shift.dy);
    return {rect.left - dx, rect.top - dy, rect.right - dx, rect.bottom - dy};
}

// Frames of another scene are compared at the same place.
Shift findShift(LumaImage& first, LumaImage& second) {
    Aligner aligner;
    const Shift shift = aligner.find(first, second);
    return measureFit(first, second, shift).fits ? shift : Shift{0, 0};
}

struct Place {
    __tag_rect first;
    __tag_rect second;
    double firstScore;
    double secondScore;
};

// Looks at overlapping rectangles that lie in both frames.
std::optional<Place> findLargestDifference(LumaImage& first, LumaImage& second) {
    const int32_t width = std::min(largestCrop, first.width & ~3);
    const int32_t height = std::min(largestCrop, first.height & ~3);
    const bool isWhole = width == (first.width & ~3) && height == (first.height & ~3);
    const Shift shift = isWhole ? Shift{0, 0} : findShift(first, second);
    std::optional<Place> found;
    double largest = -1;
    for (int32_t y = 0; y + height <= first.height; y += std::max(4, height / 16 * 4))
        for (int32_t x = 0; x + width <= first.width; x += std::max(4, width / 16 * 4)) {
            const __tag_rect here = {x, y, x + width, y + height};
            const __tag_rect there = shiftedBy(here, shift);
            if (std::min(there.left, there.top) < 0 || there.right > second.width ||
                there.bottom > second.height)
                continue;
            const double a = sharpnessIn(first, here), b = sharpnessIn(second, there);
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
    return encodeJpeg(view, 1);
}

} // namespace

BurstComparer::BurstComparer(const Burst& burst) : measured_(burst.measured) {
    const std::vector<size_t>& order = measured_.order;
    const MeasuredFrame& size = measured_.frames.front();
    best_.frame = static_cast<size_t>(burst.ranking.best);
    other_.frame = order.back() == best_.frame ? order.front() : order.back();
    if (best_.frame != other_.frame && std::min(size.width, size.height) >= 8)
        frames_ = {std::min(best_.frame, other_.frame), std::max(best_.frame, other_.frame)};
}

void BurstComparer::take(size_t index, const AVFrame& pixels, PhaseTimes& times) {
    Side& side = index == best_.frame ? best_ : other_;
    const std::string& path = measured_.frames[index].path;
    ImageViewer viewer;
    side.luma = copyLuma(viewer.view(pixels, path, times).image);
    side.colours = ColourPicture::of(pixels, path, times).whole(times);
}

std::optional<Comparison> BurstComparer::compare(PhaseTimes& times) {
    const PhaseTimer timer(times.library);
    const std::optional<Place> place = findLargestDifference(best_.luma, other_.luma);
    if (!place)
        return std::nullopt;
    return Comparison{
        {best_.frame, place->first, place->firstScore, crop(best_.colours, place->first)},
        {other_.frame, place->second, place->secondScore, crop(other_.colours, place->second)}};
}
