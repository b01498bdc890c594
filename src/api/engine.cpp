#include "api/engine.h"

#include "platform/allocation.h"

extern "C" {

long DRAV_Init(void* memHandle, _tag_DRAV_ENGINE** engine) {
    if (engine == nullptr)
        return ERR_INVALID_PARAM;
    void* const record = kelvane::allocZeroedArray(memHandle, 1, sizeof(_tag_DRAV_ENGINE));
    if (record == nullptr)
        return ERR_NO_MEMORY;
    *engine = static_cast<_tag_DRAV_ENGINE*>(record);
    (*engine)->memHandle = memHandle;
    return ERR_NONE;
}

long DRAV_Uninit(_tag_DRAV_ENGINE** engine) {
    if (engine == nullptr || *engine == nullptr)
        return ERR_NONE;
    void* const memHandle = (*engine)->memHandle;
    VantMemFree(memHandle, (*engine)->movingRects);
    VantMemFree(memHandle, *engine);
    *engine = nullptr;
    return ERR_NONE;
}

void DRAV_GetVersion(_tag_VERSION_INFO* version) {
    if (version != nullptr)
        *version = {{3, 0, 12023, 23},
                    "Norvale_Kelvane_3.0.12023.23",
                    "06/03/2015",
                    "Kelvane image analysis, licensed under the Apache License 2.0"};
}

long DRAV_GetDefaultParam(_tag_DRAV_PARAM* param) {
    if (param == nullptr)
        return ERR_INVALID_PARAM;
    *param = {};
    return ERR_NONE;
}

} // extern "C"
