#pragma once

#include "analysis/alignment.h"
#include "base/changes.h"

#include <vector>

// The pixels in which two frames differ, as the library's changed region sees them (section 15 of
// kelvane.h), which only gives their rectangle.
struct ChangedMask {
    int32_t width;
    int32_t height;
    std::vector<unsigned char> pixels; // 255 where changed, else 0; rows of `width` bytes
    Alignment alignment;               // of the second frame against the first
    LightChange light = {};            // undone before the comparison when it is large

    bool at(int32_t x, int32_t y) const { return pixels[index(x, y)] != 0; }
    size_t index(int32_t x, int32_t y) const {
        return static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x);
    }
};

// The shorter side that the cleaning needs.
constexpr int32_t smallestChangedSide = 100;

// The mask in the second frame's coordinates. Both frames have one size, and a shorter side of at
// least `smallestChangedSide`.
ChangedMask findChangedMask(Aligner& aligner, LumaImage& first, LumaImage& second);

// The mask moved by (dx, dy); what enters is unchanged.
ChangedMask moved(const ChangedMask& mask, Shift by);

// Of the changed pixels; all zero for none.
__tag_rect boundingBox(ChangedMask& mask);
