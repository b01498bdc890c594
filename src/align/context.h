// The alignment context that `Alignment_Init` gives as a handle.
#pragma once

#include "kelvane/kelvane.h"

#include <cstddef>

constexpr int64_t histogramBins = 256;

struct _tag_ZEP_ABDEBLUR {
    void* memHandle;
    uint64_t* histogram;  // 256 numbers, of which driver.cpp uses two; no threshold needs them
    int64_t threshold[2]; // of each frame slot; -1 when it holds no frame
    unsigned char* bitmapSet[2];
    _tag_BitPyramid_Struct* refPyramid;
    _tag_BitPyramid_Struct* workPyramid;
};

#ifndef __wasm32__ // pointers of 4 bytes make smaller records
static_assert(offsetof(_tag_ZEP_ABDEBLUR, threshold) == 16);
static_assert(offsetof(_tag_ZEP_ABDEBLUR, bitmapSet) == 32);
static_assert(sizeof(_tag_ZEP_ABDEBLUR) == 64);
#endif

namespace kelvane {

// Releases the bitmap sets and pyramids, as before the first alignment.
void releaseFrameBuffers(_tag_ZEP_ABDEBLUR* ctx);

} // namespace kelvane
