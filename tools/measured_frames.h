#pragma once

#include "engine.h"
#include "frame_source.h"
#include "image_view.h"
#include "phase_times.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// What is kept of a frame once its pixels are released.
struct MeasuredFrame {
    std::string path;
    std::string name;
    int64_t number; // in its video
    std::optional<double> seconds;
    int32_t width; // as decoded; the blur record holds the measured size
    int32_t height;
    std::string pixelFormat;
    bool converted;
    bool cropped;
    _tag_DRAV_BLURRESULT blur;
};

struct Measurement {
    bool isVideo = false;
    std::vector<MeasuredFrame> frames;
    std::vector<size_t> order; // from sharpest to least sharp, ties in frame order
    double medianScore = 0;
};

// Measures one frame, which `view` shows.
MeasuredFrame measureFrame(const SourceFrame& frame, const ImageView& view, Engine& engine,
                           PhaseTimes& times);

// Fills in the order and the median once all frames are measured.
void sortByScore(Measurement& measured);
