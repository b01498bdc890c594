#pragma once

#include "analysis/common_part.h"
#include "analysis/engine.h"
#include "analysis/face_finder.h"
#include "base/burst.h"
#include "media/frame_source.h"

#include <optional>

// What is wanted of a frame besides its measurement.
struct FrameNeeds {
    bool luma = false;
    bool followed = false;
    bool thumbnail = false;
    const FaceFinder* faces = nullptr; // what finds them
};

// What is found out about a frame while its pixels are there.
struct FrameFindings {
    MeasuredFrame frame;
    LumaImage luma;
    std::optional<FollowedFrame> followed;
    std::optional<Thumbnail> thumbnail;
    std::vector<PersonFace> faces;
};

// Measures frames one by one; each thread has its own.
class FrameMeasurer {
public:
    FrameFindings measure(const SourceFrame& frame, const FrameNeeds& needs, PhaseTimes& times);

private:
    Engine engine_;
    ImageViewer viewer_;
};
