// The best-shot job on a pre-processing record.
#pragma once

#include "kelvane/kelvane.h"

namespace kelvane {

// Reads the record of `block`, turns its frame records into face data and ranks the burst with it.
// `supplied` is as for `rankFrames`. Codes: as documented for `DRAV_KelvaneWithPreProcess`.
long rankPreprocessed(_tag_DRAV_ENGINE* engine, const __tag_KIRO_OFFSCREEN* frames,
                      const _tag_DRAV_DATA* block, const _tag_DRAV_DATA* supplied, int64_t n,
                      _tag_DRAV_RESULT* result);

} // namespace kelvane
