// One row of packed blue, green and red from luma and chroma.
#pragma once

#include <cstdint>

namespace kelvane {

// Chroma samples, one for every two pixels, `step` bytes apart: 1, or 2 when Cb and Cr alternate.
struct ChromaRow {
    const unsigned char* cb;
    const unsigned char* cr;
    int64_t step;
};

// Writes 3 * `width` bytes. An odd last pixel has a chroma sample of its own. `shuffle` says that
// the processor has byte shuffles.
void writeBgrRow(const unsigned char* luma, ChromaRow chroma, int64_t width, bool shuffle,
                 unsigned char* out);

} // namespace kelvane
