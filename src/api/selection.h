// Choosing frames by their final scores.
#pragma once

#include "kelvane/kelvane.h"

namespace kelvane {

// Writes the best frame and the `result->count` kept frames of n scores; the count is in 1..n.
// ERR_NO_MEMORY: the scratch block, which only the choice by score needs; `indices` is then
// unchanged.
long selectFrames(void* memHandle, const int64_t* scores, int64_t n, _tag_DRAV_RESULT* result);

} // namespace kelvane
