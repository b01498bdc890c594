#pragma once

#include "media/orientation.h"

// A plane of samples, or of groups of samples that belong to one pixel.
struct PlaneView {
    const uint8_t* data;
    int64_t pitch; // in bytes
    int64_t width; // in groups
    int64_t height;
    int groupBytes; // 1, 2, 3, 4, 6 or 8
};

// Writes a plane as it is to be seen. Where the orientation exchanges sides, the target's width is
// the plane's height.
void copyTurned(const PlaneView& plane, Orientation orientation, uint8_t* to, int64_t pitch);
