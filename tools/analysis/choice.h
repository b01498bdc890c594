#pragma once

#include "base/burst.h"

#include <vector>

// The frames of a ranked burst that are kept, ascending, by `burst.choice`; the best one always is.
// `burst.ranking.chosen` holds those that the library chose.
std::vector<int64_t> chooseFrames(const Burst& burst);
