#pragma once

#include "analysis/pyramid.h"
#include "analysis/samples.h"
#include "base/burst.h"

#include <optional>
#include <string>
#include <vector>

// What is kept of a frame to follow the camera and to measure a part of the frame.
struct FollowedFrame {
    explicit FollowedFrame(const __tag_KIRO_OFFSCREEN& image);

    LumaImage samples;
    int32_t step; // pixels of the frame to one of the pyramid's finest level
    Pyramid pyramid;
};

// Follows the camera through a burst and finds the part of the scene that all frames show. The
// samples of the frames are kept until it is known that there is none, 1 GiB at most.
class CameraPath {
public:
    // `width` and `height` as measured.
    CameraPath(int32_t width, int32_t height) : width_(width), height_(height) {}

    // The next frame; `name` is for people.
    void add(FollowedFrame frame, const std::string& name);

    // Once all frames were added: where they stand, and when they moved, their blur scores in the
    // common part.
    CommonPart measure() const;

private:
    std::optional<Shift> find(const FollowedFrame& frame);
    void narrow(Shift shift, const std::string& name);
    void giveUp(const std::string& obstacle);

    int32_t width_;
    int32_t height_;
    std::vector<LumaImage> samples_;
    std::vector<Shift> shifts_; // against the first frame, in whole samples
    __tag_rect shared_ = {};    // of the first frame, what all frames show
    int64_t bytes_ = 0;
    std::string obstacle_;
    std::optional<Pyramid> reference_; // what new frames are compared with
    Shift referenceShift_ = {0, 0};
    std::optional<Pyramid> last_; // the frame before
};
