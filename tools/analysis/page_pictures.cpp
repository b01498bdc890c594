#include "analysis/page_pictures.h"

#include "analysis/alignment.h"
#include "analysis/engine.h"
#include "base/error.h"
#include "media/colour.h"
#include "media/frame_source.h"

#include <algorithm>

namespace {

// In base64 and with its text, a page has at most 25 kB for each picture.
constexpr size_t pageBytes = 25'000;
constexpr size_t frameTextBytes = 3'500;
constexpr size_t coverBytes = 3'000;
constexpr size_t thumbnailBytes = 8'000;
constexpr size_t faceBytes = 2'500;
constexpr size_t largestCutOutBytes = 18'000;
constexpr size_t leastCutOutBytes = 6'000;

constexpr int32_t thumbnailSide = 320; // more than the page shows, for dense screens
constexpr int32_t coverSide = 160;
constexpr int32_t faceSide = 176;
constexpr int32_t largestCutOut = 320; // two fit side by side, and one on a phone
constexpr int32_t leastCutOut = 128;
constexpr int cutOutQuality = 85;

// What the second frame shows of the same thing.
__tag_rect shiftedBy(const __tag_rect& rect, const Shift& shift) {
    const auto dx = static_cast<int32_t>(shift.dx), dy = static_cast<int32_t>(shift.dy);
    return {rect.left - dx, rect.top - dy, rect.right - dx, rect.bottom - dy};
}

// Frames of another scene are compared at the same place.
Shift findShift(LumaImage& first, LumaImage& second) {
    if (std::max(first.width, first.height) <= largestCutOut)
        return {0, 0}; // all of it is shown
    const Alignment alignment = Aligner().find(first, second);
    return alignment.fits ? alignment.shift : Shift{0, 0};
}

// The same thing in two frames, whose rectangles have one size.
struct Place {
    __tag_rect first;
    __tag_rect second;
    int64_t firstScore = 0;
    int64_t secondScore = 0;
};

void measure(Place& place, LumaImage& first, LumaImage& second) {
    place.firstScore = measurePart(first, place.first);
    place.secondScore = measurePart(second, place.second);
}

bool isInside(const __tag_rect& rect, const LumaImage& luma) {
    return rect.left >= 0 && rect.top >= 0 && rect.right <= luma.width &&
           rect.bottom <= luma.height;
}

// Looks at overlapping rectangles of `side` pixels, or less in a small picture, that lie in both.
std::optional<Place> findLargestDifference(LumaImage& first, LumaImage& second, const Shift& shift,
                                           int32_t side) {
    const int32_t width = std::min(side, first.width & ~3);
    const int32_t height = std::min(side, first.height & ~3);
    std::optional<Place> found;
    int64_t largest = -1;
    for (int32_t y = 0; y + height <= first.height; y += std::max(4, height / 16 * 4))
        for (int32_t x = 0; x + width <= first.width; x += std::max(4, width / 16 * 4)) {
            Place place = {.first = {x, y, x + width, y + height}, .second = {}};
            place.second = shiftedBy(place.first, shift);
            if (!isInside(place.second, second))
                continue;
            measure(place, first, second);
            const int64_t difference = std::abs(place.firstScore - place.secondScore);
            if (difference > largest) {
                largest = difference;
                found = place;
            }
        }
    return found;
}

// A rectangle of this size in the middle of another one, but inside the picture.
__tag_rect centred(const __tag_rect& around, int32_t width, int32_t height, const LumaImage& luma) {
    const auto begin = [](int32_t from, int32_t to, int32_t length, int32_t side) {
        return std::clamp((from + to - length) / 2, 0, side - length);
    };
    const int32_t left = begin(around.left, around.right, width, luma.width);
    const int32_t top = begin(around.top, around.bottom, height, luma.height);
    return {left, top, left + width, top + height};
}

// What moves, in both frames, or the middle of what is larger than `most` pixels.
Place placeOfObjects(const __tag_rect& first, const __tag_rect& second, LumaImage& firstLuma,
                     LumaImage& secondLuma, int32_t most) {
    const auto side = [&](int32_t a, int32_t b, int32_t limit) {
        const int32_t wanted = std::clamp(std::max(a, b) * 5 / 4, leastCutOut, most);
        return std::min(wanted, limit) & ~3;
    };
    const int32_t width =
        side(first.right - first.left, second.right - second.left, firstLuma.width);
    const int32_t height =
        side(first.bottom - first.top, second.bottom - second.top, firstLuma.height);
    Place place = {.first = centred(first, width, height, firstLuma),
                   .second = centred(second, width, height, secondLuma)};
    measure(place, firstLuma, secondLuma);
    return place;
}

std::string cutOut(const BgrPicture& picture, const __tag_rect& rect) {
    PixelsView view = picture.view();
    view.data += rect.top * view.pitch + 3 * int64_t{rect.left};
    view.width = rect.right - rect.left;
    view.height = rect.bottom - rect.top;
    return encodePicture(view, FileFormat::jpeg, cutOutQuality);
}

// The bytes that each of so many cut-outs may have.
size_t cutOutBytes(const ContactSheet& sheet, size_t count) {
    const size_t most = sheet.shown.size() * (pageBytes - frameTextBytes) / 4 * 3;
    size_t used = coverBytes;
    for (const auto& [frame, thumbnail] : sheet.thumbnails)
        used += thumbnail.jpeg.size();
    return std::clamp(used < most ? (most - used) / count : 0, leastCutOutBytes,
                      largestCutOutBytes);
}

// Makes the comparisons of a ranked burst from its frames.
class BurstComparer {
public:
    explicit BurstComparer(const Burst& burst) : burst_(burst) {
        const std::vector<size_t>& order = burst.measured.order;
        const MeasuredFrame& size = burst.measured.frames.front();
        if (order.size() < 2 || std::min(size.width, size.height) < 8)
            return;
        best_ = static_cast<size_t>(burst.ranking.best);
        others_.emplace_back(secondBest(), Comparison::Role::secondBest);
        const bool bestIsLeast = order.back() == best_;
        const size_t last = bestIsLeast ? order.front() : order.back();
        if (last != others_.front().first)
            others_.emplace_back(last, bestIsLeast ? Comparison::Role::sharpest
                                                   : Comparison::Role::leastSharp);
        sides_[best_];
        for (const auto& [frame, role] : others_)
            sides_[frame];
    }

    // None when nothing can be compared.
    std::set<size_t> frames() const {
        std::set<size_t> frames;
        for (const auto& [frame, side] : sides_)
            frames.insert(frame);
        return frames;
    }

    // Different frames may come at the same time.
    void take(size_t frame, const AVFrame& pixels, PhaseTimes& times) {
        Side& side = sides_.at(frame);
        const std::string& path = burst_.measured.frames[frame].path;
        ImageViewer viewer;
        side.luma = copyLuma(viewer.view(pixels, path, times).image);
        side.colours = ColourPicture::of(pixels, path, times).whole(times);
    }

    // Once all frames were taken. What is not shown by both frames is left out.
    std::vector<Comparison> compare(PhaseTimes& times) {
        const PhaseTimer timer(times.library);
        std::vector<Comparison> comparisons;
        const size_t second = others_.front().first;
        const bool hasObjects =
            burst_.moving && burst_.moving->used && object(best_).found && object(second).found;
        const size_t most = cutOutBytes(burst_.sheet, 2 * (others_.size() + (hasObjects ? 1 : 0)));
        if (hasObjects)
            comparisons.push_back(
                *largestWithin(most, second, Comparison::Role::secondBest, true,
                               [&](LumaImage& best, LumaImage& other, int32_t side) {
                                   return std::optional(placeOfObjects(
                                       object(best_).rect, object(second).rect, best, other, side));
                               }));
        for (const auto& [frame, role] : others_) {
            const Shift shift = findShift(sides_.at(best_).luma, sides_.at(frame).luma);
            if (auto comparison = largestWithin(
                    most, frame, role, false, [&](LumaImage& best, LumaImage& other, int32_t side) {
                        return findLargestDifference(best, other, shift, side);
                    }))
                comparisons.push_back(std::move(*comparison));
        }
        return comparisons;
    }

private:
    struct Side {
        LumaImage luma;
        BgrPicture colours;
    };

    const MovingObject& object(size_t frame) const { return burst_.moving->ofFrames[frame]; }

    size_t secondBest() const {
        size_t second = best_ == 0 ? 1 : 0;
        for (size_t i = 0; i < burst_.terms.size(); ++i)
            if (i != best_ && burst_.terms[i].total > burst_.terms[second].total)
                second = i;
        return second;
    }

    // Cut-outs at the place that `find` names for a side in pixels, the largest ones of at most
    // `bytes` each.
    template <typename Find>
    std::optional<Comparison> largestWithin(size_t bytes, size_t frame, Comparison::Role role,
                                            bool ofObject, Find find) {
        Side& best = sides_.at(best_);
        Side& other = sides_.at(frame);
        for (int32_t side = largestCutOut;; side = std::max(side * 7 / 10 & ~3, leastCutOut)) {
            const std::optional<Place> place = find(best.luma, other.luma, side);
            if (!place)
                return std::nullopt;
            Comparison comparison = {
                role,
                ofObject,
                {best_, place->first, place->firstScore, cutOut(best.colours, place->first)},
                {frame, place->second, place->secondScore, cutOut(other.colours, place->second)}};
            const size_t used = std::max(comparison.best.jpeg.size(), comparison.other.jpeg.size());
            if (used <= bytes || side == leastCutOut)
                return comparison;
        }
    }

    const Burst& burst_;
    size_t best_ = 0;
    std::vector<std::pair<size_t, Comparison::Role>> others_;
    std::map<size_t, Side> sides_;
};

// Of lower quality where it would take more bytes.
std::string encodeWithin(size_t most, const BgrPicture& picture) {
    constexpr int best = 80, least = 20, step = 15;
    std::string jpeg;
    for (int quality = best; quality >= least; quality -= step) {
        jpeg = encodePicture(picture.view(), FileFormat::jpeg, quality);
        if (jpeg.size() <= most)
            break;
    }
    return jpeg;
}

void putOnSheet(ContactSheet& sheet, size_t index, std::optional<Thumbnail> thumbnail) {
    if (thumbnail)
        sheet.thumbnails[index] = std::move(*thumbnail);
}

} // namespace

std::optional<Thumbnail> makeThumbnail(const AVFrame& frame, const std::string& name,
                                       PhaseTimes& times) {
    try {
        BgrPicture picture = ColourPicture::of(frame, name, times).thumbnail(thumbnailSide, times);
        return Thumbnail{picture.width, picture.height, encodeWithin(thumbnailBytes, picture),
                         encodeWithin(coverBytes, reduced(picture, coverSide, times))};
    } catch (const BadPicture&) {
        return std::nullopt;
    }
}

void addCutouts(std::vector<PersonFace>& faces, const AVFrame& frame, const std::string& name,
                PhaseTimes& times) {
    if (faces.empty())
        return;
    try {
        const ColourPicture picture = ColourPicture::of(frame, name, times);
        for (size_t i = 0; i < std::min(faces.size(), mostRankedFaces); ++i) {
            const __tag_rect& face = faces[i].rect;
            const int32_t margin = (face.right - face.left) / 4;
            const BgrPicture cutout =
                picture
                    .part({std::max(0, face.left - margin), std::max(0, face.top - margin),
                           std::min(frame.width, face.right + margin),
                           std::min(frame.height, face.bottom + margin)})
                    .thumbnail(faceSide, times);
            faces[i].cutout = encodeWithin(faceBytes, cutout);
        }
    } catch (const BadPicture&) { // its colours cannot be shown
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

void addPagePictures(Burst& burst, PhaseTimes& times) {
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
    const std::set<size_t> compared = comparer.frames();
    std::set<size_t> wanted = missing;
    wanted.insert(compared.begin(), compared.end());
    const std::vector<size_t> indices(wanted.begin(), wanted.end());
    const auto look = [&](size_t index, const AVFrame& pixels, PhaseTimes& used) -> InTurn {
        if (compared.contains(index))
            comparer.take(index, pixels, used);
        if (!missing.contains(index))
            return [] {};
        return
            [&, index, thumbnail = makeThumbnail(pixels, burst.measured.frames[index].path, used)] {
                putOnSheet(sheet, index, thumbnail);
            };
    };
    rereadFrames(burst.measured, indices, times, look);
    if (!compared.empty())
        burst.comparisons = comparer.compare(times);
}
