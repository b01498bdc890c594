// The best-shot job.
#pragma once

#include "kelvane/kelvane.h"

namespace kelvane {

// Scores n frames and writes the best and the kept ones to `*result`. `supplied` is null, or holds
// n entries that point to the blur result of each frame, which then replaces the measurement.
// Codes and outputs on failure: as documented for `DRAV_Kelvane`.
long rankFrames(_tag_DRAV_ENGINE* engine, const __tag_KIRO_OFFSCREEN* frames,
                const _tag_DRAV_PARAM* params, const _tag_DRAV_DATA* supplied, int64_t n,
                _tag_DRAV_RESULT* result);

} // namespace kelvane
