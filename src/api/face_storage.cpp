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

} // namespace

long allocParamsFace(void* memHandle, _tag_DRAV_PARAM* params, long n) {
    if (params == nullptr || n < 1)
        return ERR_INVALID_PARAM;
    auto* const records =
        static_cast<FaceRecord*>(allocZeroedArray(memHandle, n, sizeof(FaceRecord)));
    if (records == nullptr) {
        freeParamsFace(memHandle, params, realCount(n));
        return ERR_NO_MEMORY;
    }
    attachFaces(records, params, n);
    return ERR_NONE;
}

void freeParamsFace(void* memHandle, _tag_DRAV_PARAM* params, long n) {
    if (params == nullptr || params[0].faces == nullptr)
        return;
    VantMemFree(memHandle, params[0].faces);
    for (long i = 0; i < std::max(n, 1L); ++i)
        params[i].faces = nullptr;
}

long allocParamsAlign(void* memHandle, _tag_DRAV_PARAM* params, long n) {
    if (params == nullptr || n < 1)
        return ERR_INVALID_PARAM;
    auto* const entries = static_cast<_tag_DRAV_ALIGNMENT*>(
        allocZeroedArray(memHandle, n, sizeof(_tag_DRAV_ALIGNMENT)));
    if (entries == nullptr) {
        freeParamsAlign(memHandle, params, realCount(n));
        return ERR_NO_MEMORY;
    }
    for (long i = 0; i < n; ++i)
        params[i].alignment = &entries[i];
    return ERR_NONE;
}

void freeParamsAlign(void* memHandle, _tag_DRAV_PARAM* params, long n) {
    if (params == nullptr || params[0].alignment == nullptr)
        return;
    VantMemFree(memHandle, params[0].alignment);
    for (long i = 0; i < std::max(n, 1L); ++i)
        params[i].alignment = nullptr;
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
