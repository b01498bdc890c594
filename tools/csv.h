#pragma once

#include "burst.h"

#include <span>
#include <string>

// Comma-separated values with a header line (docs/tool.md): a line for each frame, in the order of
// the burst. `numbered` adds the number of the burst, from 1.
std::string pickCsv(std::span<const Burst> bursts, bool numbered);

// The sharpest frame first.
std::string blurCsv(const Measurement& measured);
