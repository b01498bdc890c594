// The grid of samples that a sharpness measurement takes.
#pragma once

#include "kelvane/kelvane.h"

namespace kelvane {

constexpr int64_t gridStep = 4; // pixels between samples, in both directions

// Sample (x, y) covers the pixels from (left + 4x, top + 4y) on; the edges are multiples of 4.
struct SampleGrid {
    int64_t left;
    int64_t top;
    int64_t columns;
    int64_t rows;

    bool isEmpty() const { return columns < 1 || rows < 1; }
};

bool isInsideImage(const __tag_rect& region, const __tag_KIRO_OFFSCREEN& image);

// The grid of a region that lies inside the image.
SampleGrid gridOfRegion(const __tag_rect& region);

// The grid of the centred crop that leaves a fifth of the shorter side away in both directions.
SampleGrid gridOfCentre(int64_t width, int64_t height);

} // namespace kelvane
