#pragma once

#include "base/changes.h"
#include "media/luma.h"

// The picture with its brightness changed so that its histogram comes near that of the model:
// each grey value becomes the one of equal rank there (Gonzalez and Woods, Digital Image
// Processing).
LumaImage matchLight(const LumaImage& picture, const LumaImage& model);

// The change of light between two pictures of one scene, `shift` of the second against the first,
// by the median of the ratios of differences (Theil 1950; Sen 1968): what moves, up to about a
// quarter of the picture, does not count. No change where that cannot be told.
LightChange findLightChange(const LumaImage& first, const LumaImage& second, Shift shift);

// Two pictures in one light: the darker one is brought to that of the brighter, so that what is
// white in either stays equal.
struct LightPair {
    LumaImage first;
    LumaImage second;
};
LightPair undoLight(const LumaImage& first, const LumaImage& second, const LightChange& change);
