// What a best-shot call's arguments must satisfy before anything is written.
#pragma once

#include "kelvane/kelvane.h"

namespace kelvane {

bool areRankingArgumentsValid(const _tag_DRAV_ENGINE* engine, const __tag_KIRO_OFFSCREEN* frames,
                              const _tag_DRAV_PARAM* params, int64_t n,
                              const _tag_DRAV_RESULT* result);

} // namespace kelvane
