#pragma once

#include "media_reader.h"
#include "phase_times.h"

#include <string>

// Decodes the one picture of a file; a video is refused.
FramePointer readPicture(const std::string& path, PhaseTimes& times);
