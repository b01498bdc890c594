// Bitmaps of 16 patches, for the levels that are too fine to be stored whole.
#include "align/context.h"
#include "align/levels.h"
#include "align/luma.h"
#include "align/threshold_bits.h"
#include "platform/allocation.h"

#include <algorithm>

using namespace kelvane;

namespace {

constexpr int64_t gridSide = 4; // patches per row and per column

// The shape of the patches of a level of this size, without data.
_tag_BitMap_Struct shapeOf(int64_t width, int64_t height) {
    const int64_t reduction =
        std::max<int64_t>(1, std::min<int64_t>(3, halvingsTo(std::max(width, height), 512)));
    _tag_BitMap_Struct level = {};
    level.rows = ((height >> reduction) + 3) & -4;
    const int64_t patchBits = ((width >> reduction) + gridSide - 1) / gridSide;
    level.widthBits = gridSide * ((patchBits + 7) & -8);
    level.rowBytes = level.widthBits / 8 + 4;
    // Each patch is centred in its cell, horizontally to a multiple of 4.
    level.yOffset = (height - level.rows) / 8;
    level.xOffset = ((width - level.widthBits) / 8 + 2) & -4;
    return level;
}

bool allocateLevel(void* memHandle, _tag_BitMap_Struct& level, int64_t width, int64_t height) {
    level = shapeOf(width, height);
    level.data = // empty for a level too thin for a patch row
        static_cast<unsigned char*>(allocZeroedArray(memHandle, level.rows, level.rowBytes));
    return level.data != nullptr;
}

} // namespace

long Alloc_ComputeBitPyramid_Video(_tag_ZEP_ABDEBLUR* ctx, _tag_BitPyramid_Struct** outPyramid,
                                   long width, long height, long levels, long k, long) {
    if (outPyramid == nullptr)
        return ERR_INVALID_PARAM;
    if (levels <= k) {
        *outPyramid = nullptr;
        return ERR_NONE;
    }
    if (ctx == nullptr || !areLevelsPossible(width, height, levels, k))
        return ERR_INVALID_PARAM;
    auto* pyramid = static_cast<_tag_BitPyramid_Struct*>(
        allocZeroedArray(ctx->memHandle, 1, sizeof(_tag_BitPyramid_Struct)));
    if (pyramid == nullptr)
        return ERR_NO_MEMORY;
    pyramid->maxLevel = levels;
    pyramid->minLevel = k;
    pyramid->levels = static_cast<_tag_BitMap_Struct*>(
        allocZeroedArray(ctx->memHandle, levels - k, sizeof(_tag_BitMap_Struct)));
    bool complete = pyramid->levels != nullptr;
    for (long j = 0; complete && j < levels - k; ++j)
        complete = allocateLevel(ctx->memHandle, pyramid->levels[j], width >> j, height >> j);
    if (!complete) {
        ReleasePyrBit(ctx, &pyramid);
        return ERR_NO_MEMORY;
    }
    *outPyramid = pyramid;
    return ERR_NONE;
}

long ComputeBitmaps2Interleave(unsigned char* src, long width, long height, long pitch,
                               _tag_BitMap_Struct* level, long threshold, long levelIndex,
                               long format) {
    const int64_t pixel = lumaStep(format);
    const int64_t patchWidth = level->widthBits / gridSide;
    const int64_t patchRows = level->rows / gridSide;
    const int64_t patchBytes = patchWidth / 8;
    const int64_t scale = int64_t{1} << levelIndex;
    for (int64_t r = 0; r < gridSide; ++r) {
        for (int64_t c = 0; c < gridSide; ++c) {
            const int64_t left = c * (width / gridSide) + level->xOffset * scale;
            const int64_t top = r * (height / gridSide) + level->yOffset * scale;
            const bool valid = left >= 0 && top >= 0 && left + patchWidth * scale <= width &&
                               top + patchRows * scale <= height;
            level->valid[r * gridSide + c] = valid;
            for (int64_t i = 0; valid && i < patchRows; ++i)
                packAbove(src + (top + i * scale) * pitch + left * pixel, pixel * scale, patchWidth,
                          threshold,
                          level->data + (r * patchRows + i) * level->rowBytes + c * patchBytes);
        }
    }
    return pitch << levelIndex;
}

long Creat_ComputePyramidMaps_Video(_tag_BitPyramid_Struct* pyramid, __tag_KIRO_OFFSCREEN* image,
                                    long threshold, long width, long height, long levels, long k,
                                    long enable) {
    if (pyramid == nullptr || enable == 0)
        return ERR_NONE;
    for (long j = 0; j < levels - k; ++j)
        ComputeBitmaps2Interleave(image->planes[0], width, height, image->pitches[0],
                                  &pyramid->levels[j], threshold, j, image->format);
    return ERR_NONE;
}
