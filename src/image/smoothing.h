// What the smoothing functions accept.
#pragma once

#include "kelvane/kelvane.h"

#include <cstdlib>

namespace kelvane {

inline int smoothingChannels(int64_t format) { return format == KELVANE_FORMAT_BGR24 ? 3 : 1; }

// A plane without pixels, or with rows that overlap, is refused rather than left undefined. The
// pitch of a bottom-up plane is negative.
inline bool isSmoothablePlane(int64_t width, int64_t height, int64_t pitch, int64_t format) {
    return width > 0 && height > 0 && pitch >= -INT64_MAX &&
           std::abs(pitch) / smoothingChannels(format) >= width;
}

} // namespace kelvane
