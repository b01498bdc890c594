// The moving-object information that an engine keeps between calls.
#pragma once

#include "kelvane/kelvane.h"

namespace kelvane {

// Gives the engine's three moving-object arrays room for `count` entries. Arrays that are too
// small are replaced by larger ones that keep the old entries, new entries being zero.
// ERR_NO_MEMORY leaves the old arrays in place.
long reserveMovingObjects(_tag_DRAV_ENGINE* engine, int64_t count);

// Prepares the stored information for a best-shot call of `n` frames: makes room, and converts the
// rectangles of usable objects to frame pixels, in place. ERR_INVALID_PARAM when the information
// in force is for another number of frames.
long prepareMovingObjects(_tag_DRAV_ENGINE* engine, int64_t n);

// Rescales the stored areas to 0..10000 in place: small ones to 0, large ones to 10000.
void normalizeMovingAreas(_tag_DRAV_ENGINE* engine, int64_t n);

} // namespace kelvane
