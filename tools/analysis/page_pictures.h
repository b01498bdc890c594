#pragma once

#include "base/burst.h"
#include "base/progress.h"

#include <string>

extern "C" {
#include <libavutil/frame.h>
}

// Nothing for a frame whose luma can be measured but whose colours cannot be shown.
std::optional<Thumbnail> makeThumbnail(const AVFrame& frame, const std::string& name,
                                       PhaseTimes& times);

// Cuts out of a frame the faces that are ranked, with something around them.
void addCutouts(std::vector<PersonFace>& faces, const AVFrame& frame, const std::string& name,
                PhaseTimes& times);

// Puts the next frame of a burst on its sheet, unless it is one that a long burst leaves out: the
// sheet keeps every second, then every fourth frame and so on, never more than its capacity.
void offerToSheet(ContactSheet& sheet, size_t index, std::optional<Thumbnail> thumbnail);

// Adds to a ranked burst what a page shows beyond the frames that were pictured as they went by:
// the best and the kept ones, and comparisons of the best one. Their frames are decoded again.
void addPagePictures(Burst& burst, PhaseTimes& times);
