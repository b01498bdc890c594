#pragma once

#include "analysis/regions.h"

#include <optional>
#include <vector>

// Follows what changed from frame to frame of a burst, the largest regions first in each: a region
// belongs to the object that it overlaps most where that was last seen, or else to the nearest one
// that is no further away than twice its length for each frame since. Returns the region of one
// object for each frame, nothing where it was not seen: the object that was seen in most frames, of
// several the one with the largest area.
std::vector<std::optional<ChangedRegion>>
followObject(const std::vector<std::vector<ChangedRegion>>& regionsOfFrames);
