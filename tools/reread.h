#pragma once

#include "measured_frames.h"

#include <functional>
#include <span>

// Decodes some frames of a burst again, given by ascending indices, and shows each to `visit`. A
// video is decoded from its start. Throws BadPicture for a file that is not what it was.
void rereadFrames(const Measurement& measured, std::span<const size_t> indices, PhaseTimes& times,
                  const std::function<void(size_t, const AVFrame&)>& visit);
