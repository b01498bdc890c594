#pragma once

#include "engine.h"
#include "inputs.h"
#include "luma_store.h"
#include "options.h"
#include "phase_times.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// What is kept of a frame once its pixels are released.
struct MeasuredFrame {
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
    std::vector<Skipped> skipped;
    std::vector<size_t> order; // from sharpest to least sharp, ties in frame order
    double medianScore = 0;
};

enum class Sizes { any, equal };

// Measures the frames of the inputs; their luma goes to `store` unless that is null.
Measurement measureFrames(const Options& options, Sizes sizes, Engine& engine, PhaseTimes& times,
                          LumaStore* store = nullptr);
