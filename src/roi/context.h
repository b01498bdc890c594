// The record that `roiInit` gives as a handle.
#pragma once

#include "kelvane/kelvane.h"

#include <cstddef>

struct _tag_ROI_CONTEXT {
    void* memHandle;
    void* alignCtx;
    int64_t width;
    int64_t height;
    unsigned char* mask; // one byte per pixel, rows `maskPitch` apart

    int64_t maskPitch() const { return (width + 3) & -4; }
};

#ifndef __wasm32__ // pointers of 4 bytes make smaller records
static_assert(offsetof(_tag_ROI_CONTEXT, mask) == 32);
#endif
