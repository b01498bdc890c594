#pragma once

#include "burst.h"
#include "colour_picture.h"

#include <optional>

// The best frame of a burst beside another, cut out in their full size where their sharpness
// differs most.
struct Comparison {
    struct Side {
        size_t frame;
        __tag_rect rect; // in this frame's pixels
        double score;    // blur score of the rectangle
        std::string jpeg;
    };
    Side best;
    Side other; // the least sharp frame, or the sharpest when that is the best
};

// Makes the comparison of a ranked burst from its two frames, decoded again.
class BurstComparer {
public:
    explicit BurstComparer(const Burst& burst);

    // The two frames, ascending; none in a burst of one frame or of frames below 8 pixels.
    const std::vector<size_t>& frames() const { return frames_; }

    void take(size_t index, const AVFrame& pixels, PhaseTimes& times);

    // Once both frames were taken. Nothing when no cut-out shows the same in both.
    std::optional<Comparison> compare(PhaseTimes& times);

private:
    struct Side {
        size_t frame;
        LumaImage luma;
        BgrPicture colours;
    };

    const Measurement& measured_;
    Side best_ = {};
    Side other_ = {};
    std::vector<size_t> frames_;
};
