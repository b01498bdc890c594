// The alignment context behind the handle that `Alignment_Init` gives.
#pragma once

#include "kelvane/kelvane.h"

#include <cstddef>

constexpr int64_t histogramBins = 256;

struct _tag_ZEP_ABDEBLUR {
    void* memHandle;
    uint64_t* histogram;  // 256 counters, scratch of the threshold computation
    int64_t threshold[2]; // of each frame slot; -1 when it holds no frame
    unsigned char* bitmapSet[2];
    _tag_BitPyramid_Struct* refPyramid;
    _tag_BitPyramid_Struct* workPyramid;
    // What the first alignment sized the buffers for; a width of 0 before.
    int64_t width;
    int64_t height;
    int64_t levels;
    uint32_t format;
};

static_assert(offsetof(_tag_ZEP_ABDEBLUR, threshold) == 16);
static_assert(offsetof(_tag_ZEP_ABDEBLUR, bitmapSet) == 32);
static_assert(offsetof(_tag_ZEP_ABDEBLUR, workPyramid) == 56);

namespace kelvane {

// Releases the bitmap sets and pyramids, as before the first alignment.
void releaseFrameBuffers(_tag_ZEP_ABDEBLUR* ctx);

} // namespace kelvane
