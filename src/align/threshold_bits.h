// Packing pixels into threshold bits.
#pragma once

#include <cstdint>

namespace kelvane {

// Bit x of `bits` (bit 0 of a byte first) becomes 1 where pixel x is above `threshold`. Writes
// ceil(count / 8) bytes, the bits after the last pixel being 0. Reads `count` pixels that lie
// `step` bytes apart.
void packAbove(const unsigned char* pixels, int64_t step, int64_t count, int64_t threshold,
               unsigned char* bits);

} // namespace kelvane
