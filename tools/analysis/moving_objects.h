#pragma once

#include "base/burst.h"
#include "media/luma.h"

#include <vector>

// Finds what moves in each frame of a burst of equal frames, whose shorter side is at least
// `smallestChangedSide`, by comparing it with its neighbours.
MovingObjects findMovingObjects(std::vector<LumaImage>& frames);
