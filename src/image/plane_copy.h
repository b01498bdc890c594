// Copying a plane to another one of the same layout.
#pragma once

#include "kelvane/kelvane.h"

namespace kelvane {

// One block, padding included. The rows of a bottom-up plane lie before its first one and are
// copied one by one, without padding.
inline void copyPlane(const unsigned char* source, unsigned char* destination, int64_t rowBytes,
                      int64_t rows, int64_t pitch) {
    if (pitch >= 0)
        return VantMemCpy(destination, source, rows * pitch);
    for (int64_t y = 0; y < rows; ++y)
        VantMemCpy(destination + y * pitch, source + y * pitch, rowBytes);
}

} // namespace kelvane
