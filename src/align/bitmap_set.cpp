// The multi-resolution bitmap set of one frame.
#include "align/context.h"
#include "align/levels.h"
#include "platform/allocation.h"

using namespace kelvane;

long Alloc_ComputeBitMaps_Video(_tag_ZEP_ABDEBLUR* ctx, unsigned char** outSet, long width,
                                long height, long levels, long k, long) {
    if (ctx == nullptr || outSet == nullptr || !areLevelsPossible(width, height, levels, k))
        return ERR_INVALID_PARAM;
    int64_t size = 0;
    StoredLevel level = finestStoredLevel(width, height, levels, k);
    for (; level.coarserLevels >= 0; level = level.coarser())
        size += level.size();
    // Empty for a frame so thin that no level has a row: an arena holds no such block.
    void* const set = allocArray(ctx->memHandle, size, 1);
    if (set == nullptr)
        return ERR_NO_MEMORY;
    *outSet = static_cast<unsigned char*>(set);
    return ERR_NONE;
}

long Creat_ComputeBitMaps_Video(unsigned char* set, __tag_KIRO_OFFSCREEN* image, long threshold,
                                long width, long height, long levels, long k, long enable) {
    if (enable == 0 || set == nullptr)
        return ERR_NONE;
    unsigned char* const luma = image->planes[0];
    const long pitch = image->pitches[0];
    const long format = image->format;
    StoredLevel level = finestStoredLevel(width, height, levels, k);
    unsigned char* data = set;

    if (!level.isGrey())
        ComputeBitmaps2(luma, width, height, pitch, data, level.rowBytes(), threshold,
                        finestStoredIndex(levels, k), format);
    while (!level.isGrey()) {
        const StoredLevel next = level.coarser();
        unsigned char* const nextData = data + level.size();
        if (!next.isGrey())
            BitImageShrink2(data, level.height, level.width, level.rowBytes(), nextData,
                            next.height, next.width, next.rowBytes(), 3);
        level = next;
        data = nextData;
    }

    ComputeGraymaps2(luma, width, height, pitch, data, level.width, level.height, level.rowBytes(),
                     levels - level.coarserLevels, format);
    if (level.coarserLevels == 1) {
        const StoredLevel coarsest = level.coarser();
        ComputeGraymaps2(data, level.width, level.height, level.rowBytes(), data + level.size(),
                         coarsest.width, coarsest.height, coarsest.rowBytes(), 1,
                         KELVANE_FORMAT_YUV420);
    }
    return ERR_NONE;
}
