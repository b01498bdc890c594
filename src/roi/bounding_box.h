// The bounding rectangle of the pixels that differ from a background.
#pragma once

#include "kelvane/kelvane.h"

namespace kelvane {

// Grows around differing pixels, row by row from the top.
struct Bounds {
    int64_t left = INT64_MAX;
    int64_t top = 0;
    int64_t right = 0; // exclusive, like the bottom
    int64_t bottom = 0;

    bool isEmpty() const { return right <= left; }

    // Takes in a row that holds a differing pixel.
    void includeRow(const unsigned char* row, int64_t width, int64_t y, unsigned char background);
};

// All zero when no pixel differs, and also when the differing pixels share one column.
__tag_rect boundingBox(const unsigned char* pixels, int64_t width, int64_t height, int64_t pitch,
                       unsigned char background);

} // namespace kelvane
