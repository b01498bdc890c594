// Storage for the face data and alignment entries of a burst.
#include "api/face_storage.h"

#include "platform/allocation.h"

#include <algorithm>

using namespace kelvane;

namespace {

void attachFaces(FaceRecord* records, _tag_DRAV_PARAM* params, long n) {
    for (long i = 0; i < n; ++i) {
        FaceRecord& record = records[i];
        record.info = {.count = 0,
                       .rects = record.rects,
                       .codes = record.codes,
                       .eyes = record.eyes,
                       .smiles = record.smiles};
        params[i].faces = &record.info;
    }
}

// No array of more records than this fits into memory, so only the first one can be touched.
long realCount(long n) {
    constexpr long most = INT64_MAX / sizeof(FaceRecord);
    return n <= most ? n : 1;
}

// One block of `Record`s whose address stands in a field of the first parameter record. A failure
// releases the block that the parameters held before.
template <typename Record>
Record* allocateBlock(void* memHandle, _tag_DRAV_PARAM* params, long n,
                      void (*release)(void*, _tag_DRAV_PARAM*, long)) {
    void* const block = allocZeroedArray(memHandle, n, sizeof(Record));
    if (block == nullptr)
        release(memHandle, params, realCount(n));
    return static_cast<Record*>(block);
}

template <typename Record>
void releaseBlock(void* memHandle, _tag_DRAV_PARAM* params, long n,
                  Record* _tag_DRAV_PARAM::*field) {
    if (params == nullptr || params[0].*field == nullptr)
        return;
    VantMemFree(memHandle, params[0].*field);
    for (long i = 0; i < std::max<long>(n, 1); ++i)
        params[i].*field = nullptr;
}

} // namespace

long allocParamsFace(void* memHandle, _tag_DRAV_PARAM* params, long n) {
    if (params == nullptr || n < 1)
        return ERR_INVALID_PARAM;
    auto* const records = allocateBlock<FaceRecord>(memHandle, params, n, freeParamsFace);
    if (records == nullptr)
        return ERR_NO_MEMORY;
    attachFaces(records, params, n);
    return ERR_NONE;
}

void freeParamsFace(void* memHandle, _tag_DRAV_PARAM* params, long n) {
    releaseBlock(memHandle, params, n, &_tag_DRAV_PARAM::faces);
}

long allocParamsAlign(void* memHandle, _tag_DRAV_PARAM* params, long n) {
    if (params == nullptr || n < 1)
        return ERR_INVALID_PARAM;
    auto* const entries = allocateBlock<_tag_DRAV_ALIGNMENT>(memHandle, params, n, freeParamsAlign);
    if (entries == nullptr)
        return ERR_NO_MEMORY;
    for (long i = 0; i < n; ++i)
        params[i].alignment = &entries[i];
    return ERR_NONE;
}

void freeParamsAlign(void* memHandle, _tag_DRAV_PARAM* params, long n) {
    releaseBlock(memHandle, params, n, &_tag_DRAV_PARAM::alignment);
}

long allocParams(void* memHandle, _tag_DRAV_PARAM* params, long n) {
    if (params == nullptr || n < 1)
        return ERR_INVALID_PARAM;
    long code = allocParamsFace(memHandle, params, n);
    if (code == ERR_NONE)
        code = allocParamsAlign(memHandle, params, n);
    if (code != ERR_NONE)
        freeParams(memHandle, params, realCount(n));
    return code;
}

void freeParams(void* memHandle, _tag_DRAV_PARAM* params, long n) {
    freeParamsAlign(memHandle, params, n);
    freeParamsFace(memHandle, params, n);
}
