// One row of packed blue, green and red from luma and chroma.
#pragma once

#include <cstdint>

namespace kelvane {

// Chroma samples, one for every two pixels, `step` bytes apart.
struct ChromaRow {
    const unsigned char* cb;
    const unsigned char* cr;
    int64_t step; // 1 or 2
};

// What the chroma of a pixel pair adds to its luma. Each array holds one entry for every pair.
struct ColourOffsets {
    int16_t* blue;
    int16_t* green;
    int16_t* red;
};

// Writes 3 * `width` bytes. An odd last pixel has a chroma sample of its own. `scratch` needs no
// content.
void writeBgrRow(const unsigned char* luma, ChromaRow chroma, int64_t width, ColourOffsets scratch,
                 bool shuffle, unsigned char* out);

} // namespace kelvane
