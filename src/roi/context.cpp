#include "roi/context.h"

#include "image/format.h"
#include "platform/allocation.h"

using namespace kelvane;

long roiInit(void* memHandle, long width, long height, long format, void** outRoi) {
    constexpr long widest = INT64_MAX - 3; // whose mask pitch still fits
    if (outRoi == nullptr || width < 1 || height < 1)
        return ERR_INVALID_PARAM;
    if (format < 0 || format > UINT32_MAX || !isPlanarFormat(static_cast<uint32_t>(format)))
        return ERR_INVALID_PARAM;
    void* roi = allocZeroedArray(memHandle, 1, sizeof(_tag_ROI_CONTEXT));
    if (roi == nullptr)
        return ERR_NO_MEMORY;
    auto* const record = static_cast<_tag_ROI_CONTEXT*>(roi);
    record->memHandle = memHandle;
    record->width = width;
    record->height = height;
    long code = Alignment_Init(memHandle, &record->alignCtx);
    if (code == ERR_NONE && width <= widest)
        record->mask =
            static_cast<unsigned char*>(allocArray(memHandle, height, record->maskPitch()));
    if (code == ERR_NONE && record->mask == nullptr)
        code = ERR_NO_MEMORY;
    if (code != ERR_NONE) {
        roiUninit(&roi);
        return code;
    }
    *outRoi = roi;
    return ERR_NONE;
}

void roiUninit(void** roi) {
    if (roi == nullptr || *roi == nullptr)
        return;
    auto* const record = static_cast<_tag_ROI_CONTEXT*>(*roi);
    void* const memHandle = record->memHandle;
    Alignment_Uninit(&record->alignCtx);
    VantMemFree(memHandle, record->mask);
    VantMemFree(memHandle, record);
    *roi = nullptr;
}
