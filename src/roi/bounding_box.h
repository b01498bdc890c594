// The bounding rectangle of the pixels that differ from a background.
#pragma once

#include "kelvane/kelvane.h"

namespace kelvane {

// All zero when no pixel differs, and also when the differing pixels share one column.
__tag_rect boundingBox(const unsigned char* pixels, int64_t width, int64_t height, int64_t pitch,
                       unsigned char background);

} // namespace kelvane
