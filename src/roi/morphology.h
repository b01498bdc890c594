// Cleaning a part of an image.
#pragma once

#include "roi/bounding_box.h"

namespace kelvane {

// Opens, then closes the area of an image of one channel in place, as `sbrOpen` and `sbrClose` do.
// Takes the memory that the whole image would.
long openAndClose(void* memHandle, unsigned char* image, int64_t width, int64_t pitch,
                  const Bounds& area, int64_t radius);

} // namespace kelvane
