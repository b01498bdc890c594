// Which pixel formats the entry points accept.
#pragma once

#include "kelvane/kelvane.h"

namespace kelvane {

// The formats of the engine and of most entry points: 0x601, 0x603 (one bit apart) and 0x802.
inline bool isPlanarFormat(uint32_t format) {
    return (format & ~2u) == KELVANE_FORMAT_YUV420 || format == KELVANE_FORMAT_YUV420_CRCB;
}

} // namespace kelvane
