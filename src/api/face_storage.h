// What `allocParamsFace` lays out for one frame.
#pragma once

#include "api/preprocessing_record.h"

namespace kelvane {

struct FaceRecord {
    _tag_DRAV_FACEINFO info;
    __tag_rect rects[facesPerRecord];
    uint64_t codes[facesPerRecord];
    uint64_t eyes[facesPerRecord];
    uint64_t smiles[facesPerRecord];
};

#ifndef __wasm32__ // pointers of 4 bytes make smaller records
static_assert(sizeof(FaceRecord) == 440);
#endif

} // namespace kelvane
