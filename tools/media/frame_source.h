#pragma once

#include "base/progress.h"
#include "media/inputs.h"
#include "media/picture.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

// Which frames of the inputs are taken.
struct FrameSelection {
    int64_t every = 1;
    int64_t max = 0; // 0: no limit
    bool skipBad = false;
    std::string skipOption = {}; // how people ask for it
    PictureRequest request = {}; // what is needed of each picture
};

// A decoded picture or video frame, upright. It is valid while it is visited.
struct SourceFrame {
    const AVFrame& pixels;
    const PictureForm& form;
    const std::string& path;
    const std::string& name;
    const std::vector<Companion>& companions;
    int64_t number;                // in its video, from 0; 0 for a picture
    std::optional<double> seconds; // from the start of the video
    size_t index;                  // among the visited frames, counting those that prove bad
};

// What is to be done with the findings about a frame, once it is its turn.
using InTurn = std::function<void()>;

// Looks at a frame while its pixels are there. Several threads call it at the same time; what it
// returns is called for one frame after the other, in their order.
using FrameVisitor = std::function<InTurn(const SourceFrame&, PhaseTimes&)>;

struct ReadSummary {
    bool isVideo = false;
    int64_t visited = 0;
    std::vector<Skipped> skipped; // what was left out of the inputs, and then while reading
};

// Decodes the inputs, each picture in the thread that visits it, and shows each frame to `visit`.
// With `skipBad` a BadPicture, whether from decoding or from `visit`, is noted in the summary and
// reading goes on; otherwise the first one in the order of the frames is thrown.
ReadSummary readFrames(InputList inputs, const FrameSelection& selection, Progress& progress,
                       PhaseTimes& times, const FrameVisitor& visit);

// Like FrameVisitor, with the index of a frame in its burst.
using RereadVisitor = std::function<InTurn(size_t, const AVFrame&, PhaseTimes&)>;

// Decodes some frames of a burst again, given by ascending indices, and shows each to `visit`. A
// video is decoded from its start. Throws BadPicture for a file that is not what it was.
void rereadFrames(const Measurement& measured, std::span<const size_t> indices, PhaseTimes& times,
                  const RereadVisitor& visit);
