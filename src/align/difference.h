// The cost of a displacement between two grey maps.
#pragma once

#include "kelvane/kelvane.h"

namespace kelvane {

// Sum of |a(p) - b(p - d)| over the area common to the 3 x 3 candidates around d - (cx, cy).
int64_t greyDifference(const unsigned char* planeA, const unsigned char* planeB, int64_t width,
                       int64_t height, int64_t stride, int64_t dx, int64_t dy, int64_t cx,
                       int64_t cy);

} // namespace kelvane
