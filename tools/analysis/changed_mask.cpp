#include "analysis/changed_mask.h"

#include "analysis/difference_mask.h"
#include "analysis/light.h"
#include "base/error.h"

#include <algorithm>

namespace {

DifferenceMask differenceOf(const LumaImage& first, const LumaImage& second, Shift shift) {
    DifferenceMask difference = {first.width, first.height};
    checkResult(difference.compare({first.pixels.data(), first.width},
                                   {second.pixels.data(), second.width}, shift),
                "the comparison of two frames");
    return difference;
}

DifferenceMask differenceInOneLight(const LumaImage& first, const LumaImage& second, Shift shift,
                                    const LightChange& light) {
    const LightPair pair = undoLight(first, second, light);
    return differenceOf(pair.first, pair.second, shift);
}

} // namespace

ChangedMask findChangedMask(Aligner& aligner, LumaImage& first, LumaImage& second) {
    const Alignment alignment = aligner.find(first, second);
    ChangedMask mask = {first.width, first.height, {}, alignment};
    if (alignment.fits)
        mask.light = findLightChange(first, second, alignment.shift);
    const DifferenceMask difference =
        mask.light.isLarge() ? differenceInOneLight(first, second, alignment.shift, mask.light)
                             : differenceOf(first, second, alignment.shift);
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
    ChangedMask result = {mask.width, mask.height, {}, mask.alignment, mask.light};
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
