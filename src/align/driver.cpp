// Aligning the two frames of a context.
#include "align/context.h"
#include "align/levels.h"
#include "align/search.h"

#include <utility>

using namespace kelvane;

namespace {

constexpr int64_t frameSlots = 2;

// The size of the frames that the buffers were made for is noted in the histogram, beside its
// complement: callers rely on the sizes of the record and of every other block, which leave no room
// for it. When a caller has written over the note, the buffers are made anew.
uint64_t sizeOf(const __tag_KIRO_OFFSCREEN& frame) {
    return static_cast<uint64_t>(frame.width) << 32 | static_cast<uint32_t>(frame.height);
}

void noteSize(_tag_ZEP_ABDEBLUR* ctx, const __tag_KIRO_OFFSCREEN& frame) {
    ctx->histogram[0] = sizeOf(frame);
    ctx->histogram[1] = ~ctx->histogram[0];
}

bool hasBuffersOfKnownSize(const _tag_ZEP_ABDEBLUR& ctx) {
    return ctx.bitmapSet[0] != nullptr && ctx.histogram[1] == ~ctx.histogram[0];
}

bool isFrameLike(const __tag_KIRO_OFFSCREEN& frame, const __tag_KIRO_OFFSCREEN& other) {
    return frame.width == other.width && frame.height == other.height &&
           frame.format == other.format;
}

// The buffers fit frames of the size of the context's first alignment, and there are two slots.
bool areArgumentsValid(const _tag_ZEP_ABDEBLUR* ctx, const _tag_ZEP_NS_INPUTINFO* input,
                       long refIndex, long** results) {
    if (ctx == nullptr || input == nullptr || results == nullptr || input->count != frameSlots ||
        refIndex < 0 || refIndex >= frameSlots)
        return false;
    for (int64_t i = 0; i < frameSlots; ++i) {
        const __tag_KIRO_OFFSCREEN* const frame = input->images[i];
        if (results[i] == nullptr || frame == nullptr || frame->planes[0] == nullptr ||
            frame->width < 1 || frame->height < 1 || !isFrameLike(*frame, *input->images[0]))
            return false;
    }
    return !hasBuffersOfKnownSize(*ctx) || sizeOf(*input->images[0]) == ctx->histogram[0];
}

long allocateFrameBuffers(_tag_ZEP_ABDEBLUR* ctx, const __tag_KIRO_OFFSCREEN& frame) {
    releaseFrameBuffers(ctx);
    const int64_t width = frame.width;
    const int64_t height = frame.height;
    constexpr long k = storedLevelsBelowCoarsest;
    const int64_t levels = coarsestLevel(width, height);
    const long rowBytes = bitmapRowBytes(width >> finestStoredIndex(levels, k));
    long code = ERR_NONE;
    for (unsigned char*& set : ctx->bitmapSet) {
        if (code == ERR_NONE)
            code = Alloc_ComputeBitMaps_Video(ctx, &set, width, height, levels, k, rowBytes);
    }
    for (_tag_BitPyramid_Struct** pyramid : {&ctx->refPyramid, &ctx->workPyramid}) {
        if (code == ERR_NONE)
            code = Alloc_ComputeBitPyramid_Video(ctx, pyramid, width, height, levels, k, rowBytes);
    }
    if (code == ERR_NONE)
        noteSize(ctx, frame);
    else
        releaseFrameBuffers(ctx);
    return code;
}

// Each frame is read with its own pitch.
void fillSlot(_tag_ZEP_ABDEBLUR* ctx, __tag_KIRO_OFFSCREEN* image, int64_t slot) {
    TorInterThreshold(ctx, image, nullptr, &ctx->threshold[slot], image->width, image->height,
                      image->pitches[0], nullptr);
    Creat_ComputeBitMaps_Video(ctx->bitmapSet[slot], image, ctx->threshold[slot], image->width,
                               image->height, coarsestLevel(image->width, image->height),
                               storedLevelsBelowCoarsest, 1);
}

long findDisplacement(_tag_ZEP_ABDEBLUR* ctx, __tag_KIRO_OFFSCREEN* image, int64_t refSlot,
                      int64_t slot, long* result) {
    long score = 0;
    const Search search = {
        .movingLuma = image->planes[0],
        .width = image->width,
        .height = image->height,
        .pitch = image->pitches[0],
        .k = storedLevelsBelowCoarsest,
        .refPyramid = ctx->refPyramid,
        .workPyramid = ctx->workPyramid,
        .movingThreshold = ctx->threshold[slot],
        .usePatches = true,
        .directLevels = false,
        .format = image->format,
        .score = &score,
    };
    const SearchLevel finest = {ctx->bitmapSet[refSlot], ctx->bitmapSet[slot], image->width,
                                image->height, coarsestLevel(image->width, image->height)};
    return searchLevel(search, finest, result);
}

} // namespace

long Image_Alignment_Video(void* context, _tag_ZEP_NS_INPUTINFO* input, long refIndex,
                           long** results, long recompute) {
    auto* const ctx = static_cast<_tag_ZEP_ABDEBLUR*>(context);
    if (!areArgumentsValid(ctx, input, refIndex, results))
        return ERR_INVALID_PARAM;
    for (int64_t i = 0; i < frameSlots; ++i)
        results[i][0] = results[i][1] = 0;

    __tag_KIRO_OFFSCREEN* const reference = input->images[refIndex];
    const bool first = !hasBuffersOfKnownSize(*ctx);
    if (first) {
        const long code = allocateFrameBuffers(ctx, *reference);
        if (code != ERR_NONE)
            return code;
    }
    if (first || recompute != 0) {
        fillSlot(ctx, input->images[0], 0);
    } else {
        // The second frame of the last call is the first one of this call.
        std::swap(ctx->bitmapSet[0], ctx->bitmapSet[1]);
        ctx->threshold[0] = ctx->threshold[1];
    }
    fillSlot(ctx, input->images[1], 1);
    Creat_ComputePyramidMaps_Video(
        ctx->refPyramid, reference, ctx->threshold[refIndex], reference->width, reference->height,
        coarsestLevel(reference->width, reference->height), storedLevelsBelowCoarsest, 1);
    const int64_t moving = 1 - refIndex;
    return findDisplacement(ctx, input->images[moving], refIndex, moving, results[moving]);
}
