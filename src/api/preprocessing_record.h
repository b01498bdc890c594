// The byte format of the pre-processing record.
#pragma once

#include "kelvane/kelvane.h"

#include <cstddef>

namespace kelvane {

struct PreprocessingHeader {
    unsigned char reserved0[4];
    uint32_t frameCount;
    unsigned char reserved1[8];
    uint32_t mapWidth;
    uint32_t mapHeight;
    unsigned char reserved2[8];
};

struct FaceEntry {
    __tag_rect rect;
    uint32_t code;
    uint32_t smileDegree;
    uint32_t eyesOpen;
    unsigned char reserved[12];
};

constexpr int64_t facesPerRecord = 10;

struct FrameRecord {
    FaceEntry faces[facesPerRecord];
    int32_t faceCount;
    unsigned char reserved[8];
};

static_assert(sizeof(PreprocessingHeader) == 32);
static_assert(sizeof(FaceEntry) == 40);
static_assert(sizeof(FrameRecord) == 412 && offsetof(FrameRecord, faceCount) == 400);

} // namespace kelvane
