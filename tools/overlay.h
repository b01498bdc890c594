#pragma once

#include "luma_image.h"

#include <string>

// A PNG of the picture at `path`, which is the first of `frames`, with a red tint where the second
// differs and a yellow box around it.
std::string drawOverlay(const std::string& path, LumaPair& frames, PhaseTimes& times);
