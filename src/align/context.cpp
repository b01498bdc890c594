// The alignment context and its release.
#include "align/context.h"

#include "platform/allocation.h"

using namespace kelvane;

long Alignment_Init(void* memHandle, void** outCtx) {
    if (outCtx == nullptr)
        return ERR_INVALID_PARAM;
    auto* const ctx =
        static_cast<_tag_ZEP_ABDEBLUR*>(allocZeroedArray(memHandle, 1, sizeof(_tag_ZEP_ABDEBLUR)));
    if (ctx == nullptr)
        return ERR_NO_MEMORY;
    ctx->memHandle = memHandle;
    ctx->histogram =
        static_cast<uint64_t*>(allocZeroedArray(memHandle, histogramBins, sizeof(uint64_t)));
    if (ctx->histogram == nullptr) {
        VantMemFree(memHandle, ctx);
        return ERR_NO_MEMORY;
    }
    ctx->threshold[0] = -1;
    ctx->threshold[1] = -1;
    *outCtx = ctx;
    return ERR_NONE;
}

long Alignment_Uninit(void** ctx) {
    if (ctx == nullptr || *ctx == nullptr)
        return ERR_NONE;
    auto* const context = static_cast<_tag_ZEP_ABDEBLUR*>(*ctx);
    void* const memHandle = context->memHandle;
    VantMemFree(memHandle, context->histogram);
    releaseFrameBuffers(context);
    VantMemFree(memHandle, context);
    *ctx = nullptr;
    return ERR_NONE;
}

void ReleasePyrBit(_tag_ZEP_ABDEBLUR* ctx, _tag_BitPyramid_Struct** pyramid) {
    if (ctx == nullptr || pyramid == nullptr || *pyramid == nullptr)
        return;
    _tag_BitPyramid_Struct* const released = *pyramid;
    if (released->levels != nullptr) {
        for (int64_t j = 0; j < released->maxLevel - released->minLevel; ++j)
            VantMemFree(ctx->memHandle, released->levels[j].data);
        VantMemFree(ctx->memHandle, released->levels);
    }
    VantMemFree(ctx->memHandle, released);
    *pyramid = nullptr;
}

namespace kelvane {

void releaseFrameBuffers(_tag_ZEP_ABDEBLUR* ctx) {
    ctx->threshold[0] = ctx->threshold[1] = -1;
    for (unsigned char*& set : ctx->bitmapSet) {
        VantMemFree(ctx->memHandle, set);
        set = nullptr;
    }
    ReleasePyrBit(ctx, &ctx->workPyramid);
    ReleasePyrBit(ctx, &ctx->refPyramid);
}

} // namespace kelvane
