// From measurements of the frames of a burst to one integer score each.
#pragma once

#include "kelvane/kelvane.h"

namespace kelvane {

// Sharpness values become integer scores in units of 1/10000.
constexpr float sharpnessScale = 10000.0f;

// Fills the score table's row of frame number `frameCounter` and moves the counter on.
long scoreFrame(_tag_DRAV_ENGINE* engine, const __tag_KIRO_OFFSCREEN* frame,
                const _tag_DRAV_FACEINFO* faces);

// Rescales n values in place so that the largest becomes 9999; all zero when all are negative.
void normalizeScores(int64_t* column, int64_t n);

// Forms `finalScore` of all n frames from the normalised table.
void formFinalScores(_tag_DRAV_ENGINE* engine, int64_t n);

} // namespace kelvane
