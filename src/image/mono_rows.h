// The two row operations of the box filter for one channel.
#pragma once

#include "image/box_rows.h"

namespace kelvane {

// Windows of up to this many pixels have sums that fit 16 bits, and so do counters modulo 2^16.
constexpr int64_t largestWordArea = 65535 / 255;

// `area` is the largest number of pixels in a window. All give the same bytes.
BoxRowOperations monoRowOperations(int64_t area);
BoxRowOperations monoRowOperationsAvx2(int64_t area); // x86-64 alone, where `usesAvx2` says so

} // namespace kelvane
