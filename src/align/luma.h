// Reading luma pixels at a stride.
#pragma once

#include "kelvane/kelvane.h"

namespace kelvane {

// The first plane of an image as luma samples.
struct LumaPlane {
    const unsigned char* data;
    int64_t pitch;     // bytes from one row to the next
    int64_t pixelStep; // bytes from one luma sample to the next
};

inline int64_t lumaStep(int64_t format) { return format == KELVANE_FORMAT_YUYV ? 2 : 1; }

// Copies `count` bytes that lie `step` bytes apart.
void samplePixels(const unsigned char* source, int64_t step, int64_t count, unsigned char* samples);

} // namespace kelvane
