#pragma once

#include <cstdint>
#include <span>

// How the primary picture of a HEIF file is stored, as Exif would number it: what the rotations and
// mirrorings add up to that belong to it (ISO/IEC 23008-12), and which libheif applies without
// telling. 1 where there are none, or where they cannot be found.
int heifOrientation(std::span<const uint8_t> file);
