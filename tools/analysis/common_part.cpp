#include "analysis/common_part.h"

#include "analysis/alignment.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace {

constexpr int64_t mostBytes = int64_t{1} << 30;

// Frames up to this side are followed in all their pixels, larger ones by their samples.
constexpr int32_t samplesSuffice = 1280;

bool isSmall(const __tag_KIRO_OFFSCREEN& image) {
    return std::max(image.width, image.height) <= samplesSuffice;
}

// In whole samples of the frame.
Shift inSamples(const RoughShift& shift, int32_t step) {
    const auto rounded = [&](double pixels) {
        return sampleStep * std::llround(pixels * step / sampleStep);
    };
    return {rounded(shift.dx), rounded(shift.dy)};
}

__tag_rect intersection(const __tag_rect& a, const __tag_rect& b) {
    return {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
            std::min(a.bottom, b.bottom)};
}

__tag_rect movedBy(const __tag_rect& rect, Shift by) {
    const auto dx = static_cast<int32_t>(by.dx), dy = static_cast<int32_t>(by.dy);
    return {rect.left + dx, rect.top + dy, rect.right + dx, rect.bottom + dy};
}

__tag_rect inWholeSamples(const __tag_rect& rect) {
    return {rect.left, rect.top, rect.right & -sampleStep, rect.bottom & -sampleStep};
}

} // namespace

FollowedFrame::FollowedFrame(const __tag_KIRO_OFFSCREEN& image)
    : samples(sampleLuma(image)), step(isSmall(image) ? 1 : sampleStep),
      pyramid(isSmall(image) ? copyLuma(image) : samples) {}

void CameraPath::add(FollowedFrame frame, const std::string& name) {
    if (!obstacle_.empty())
        return;
    if (shifts_.empty()) {
        shared_ = {0, 0, width_, height_};
        reference_ = frame.pyramid;
        narrow({0, 0}, name);
    } else if (const std::optional<Shift> shift = find(frame)) {
        narrow(*shift, name);
    } else {
        giveUp(fmt::format("{} does not align with the frames before it", name));
    }
    if (!obstacle_.empty())
        return;
    last_ = std::move(frame.pyramid);
    bytes_ += std::ssize(frame.samples.pixels);
    samples_.push_back(std::move(frame.samples));
    if (bytes_ > mostBytes)
        giveUp("the burst is too long to keep what a common part is measured by");
}

// Against the reference as long as that can be, so that errors do not add up. Otherwise against the
// frame before, which becomes the reference.
std::optional<Shift> CameraPath::find(const FollowedFrame& frame) {
    const auto expected = [&](const Shift& from) {
        const Shift& to = shifts_.back();
        return Shift{(to.dx - from.dx) / frame.step, (to.dy - from.dy) / frame.step};
    };
    RoughShift found = alignRoughly(*reference_, frame.pyramid, expected(referenceShift_));
    if (!found.fits) {
        reference_ = std::move(last_);
        referenceShift_ = shifts_.back();
        found = alignRoughly(*reference_, frame.pyramid, {0, 0});
    }
    if (!found.fits)
        return std::nullopt;
    const Shift shift = inSamples(found, frame.step);
    return Shift{referenceShift_.dx + shift.dx, referenceShift_.dy + shift.dy};
}

// Takes a frame's place into account: it shows the part of the first frame from `shift` on.
void CameraPath::narrow(Shift shift, const std::string& name) {
    shifts_.push_back(shift);
    shared_ = intersection(shared_, movedBy({0, 0, width_, height_}, shift));
    const int64_t columns = std::max(0, shared_.right - shared_.left);
    const int64_t rows = std::max(0, shared_.bottom - shared_.top);
    if (4 * columns * rows < int64_t{width_} * height_)
        giveUp(fmt::format("the frames up to {} share less than a quarter of their area", name));
}

void CameraPath::giveUp(const std::string& obstacle) {
    obstacle_ = obstacle;
    samples_ = {};
    reference_.reset();
    last_.reset();
}

CommonPart CameraPath::measure() const {
    CommonPart part;
    part.obstacle = obstacle_;
    if (!part.isUsed())
        return part;
    part.shifts = shifts_;
    part.rect = inWholeSamples(intersection(shared_, centredCrop(width_, height_)));
    for (size_t i = 0; i < samples_.size() && part.moves(); ++i)
        part.scores.push_back(
            measurePart(samples_[i], movedBy(part.rect, {-shifts_[i].dx, -shifts_[i].dy})));
    return part;
}
