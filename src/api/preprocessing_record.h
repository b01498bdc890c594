// The byte format of the pre-processing record.
#pragma once

#include "kelvane/kelvane.h"

#include <bit>
#include <cstring>

namespace kelvane {

static_assert(std::endian::native == std::endian::little, "the record is read as it lies");

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

// Reads a record that lies at any alignment.
template <typename Record>
Record readUnaligned(const void* bytes) {
    Record record;
    std::memcpy(&record, bytes, sizeof record);
    return record;
}

} // namespace kelvane
