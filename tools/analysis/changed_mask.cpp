#include "analysis/changed_mask.h"

#include "analysis/difference_mask.h"
#include "base/error.h"

#include <algorithm>

ChangedMask findChangedMask(Aligner& aligner, LumaImage& first, LumaImage& second) {
    const Alignment alignment = aligner.find(first, second);
    DifferenceMask difference = {first.width, first.height};
    checkResult(difference.compare({first.pixels.data(), first.width},
                                   {second.pixels.data(), second.width}, alignment.shift),
                "the comparison of two frames");
    ChangedMask mask = {first.width, first.height, {}, alignment};
    mask.pixels.resize(first.pixels.size());
    for (int32_t y = 0; y < mask.height; ++y)
        std::transform(difference.pixels.data() + y * difference.pitch,
                       difference.pixels.data() + y * difference.pitch + mask.width,
                       mask.pixels.data() + mask.index(0, y), [](unsigned char value) {
                           return value == DifferenceMask::unchanged ? 0 : 255;
                       });
    return mask;
}

ChangedMask moved(const ChangedMask& mask, Shift by) {
    ChangedMask result = {mask.width, mask.height, {}, mask.alignment};
    result.pixels.resize(mask.pixels.size());
    const int64_t left = std::clamp<int64_t>(by.dx, 0, mask.width);
    const int64_t right = std::clamp<int64_t>(mask.width + by.dx, left, mask.width);
    const int64_t top = std::max<int64_t>(by.dy, 0);
    const int64_t bottom = std::min<int64_t>(mask.height, mask.height + by.dy);
    for (int64_t y = top; y < bottom; ++y)
        std::copy_n(mask.pixels.data() + (y - by.dy) * mask.width + left - by.dx, right - left,
                    result.pixels.data() + y * mask.width + left);
    return result;
}

__tag_rect boundingBox(ChangedMask& mask) {
    const __tag_KIRO_OFFSCREEN image = {.format = KELVANE_FORMAT_YUV420,
                                        .width = mask.width,
                                        .height = mask.height,
                                        .planes = {mask.pixels.data()},
                                        .pitches = {mask.width}};
    __tag_rect box = {};
    FindMaskBBox(&image, &box);
    return box;
}
