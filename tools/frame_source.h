#pragma once

#include "inputs.h"
#include "options.h"
#include "phase_times.h"
#include "progress.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

extern "C" {
#include <libavutil/frame.h>
}

// A decoded picture or video frame. `pixels` is valid while it is visited.
struct SourceFrame {
    const AVFrame* pixels;
    const std::string& path;
    const std::string& name;
    int64_t number;                // in its video, from 0; 0 for a picture
    std::optional<double> seconds; // from the start of the video
};

using FrameVisitor = std::function<void(const SourceFrame&)>;

struct ReadSummary {
    bool isVideo = false;
    int64_t visited = 0;
    std::vector<Skipped> skipped; // what was left out of the inputs, and then while reading
};

// Decodes the inputs one frame at a time and shows each frame to `visit`. With `--skip-bad` a
// BadPicture, whether from decoding or from `visit`, is noted in the summary and reading goes on.
ReadSummary readFrames(InputList inputs, const Options& options, Progress& progress,
                       PhaseTimes& times, const FrameVisitor& visit);
