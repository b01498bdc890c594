#pragma once

#include "media/frames.h"

#include <cstdint>

// How a picture is stored, as Exif numbers it: on which sides its first row and first column are
// seen.
enum class Orientation : uint8_t {
    upright = 1, // top, left
    mirrored,    // top, right
    turned180,   // bottom, right
    flipped,     // bottom, left
    transposed,  // left, top
    turned90,    // right, top: to be turned clockwise
    transversed, // right, bottom
    turned270,   // left, bottom
};

// Any other number than 2 to 8 means upright.
Orientation orientationOf(int64_t exifValue);

// Whether rows and columns are exchanged.
constexpr bool exchangesSides(Orientation orientation) {
    return orientation >= Orientation::transposed;
}

// The frame as it is to be seen: itself when it is upright, otherwise a turned copy. Null when its
// pixel format can neither be turned nor converted to one that can.
FramePointer turnedUpright(FramePointer frame, Orientation orientation);
