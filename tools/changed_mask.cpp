#include "changed_mask.h"

#include "library.h"

#include <algorithm>
#include <cstdlib>

namespace {

constexpr unsigned char unchanged = 128;

// The working mask, with rows as long as the library's own: the number of smoothing passes depends
// on whether they are padded.
struct Difference {
    int64_t width;
    int64_t height;
    int64_t pitch;
    std::vector<unsigned char> pixels;
};

// Half the difference of what both frames show, 127 where they agree, in the second frame's
// coordinates. A margin of the shift is left out on every side of the first frame.
Difference subtract(const LumaImage& first, const LumaImage& second, Shift shift) {
    const int64_t width = first.width, height = first.height;
    Difference difference = {width, height, (width + 3) / 4 * 4, {}};
    difference.pixels.assign(static_cast<size_t>(difference.pitch * height), unchanged);
    const int64_t marginX = std::abs(shift.dx), marginY = std::abs(shift.dy);
    for (int64_t y = marginY; y < height - marginY; ++y) {
        const unsigned char* const a = first.pixels.data() + y * width;
        const unsigned char* const b = second.pixels.data() + (y - shift.dy) * width;
        unsigned char* const row = difference.pixels.data() + (y - shift.dy) * difference.pitch;
        for (int64_t x = marginX; x < width - marginX; ++x)
            row[x - shift.dx] = static_cast<unsigned char>((a[x] - b[x - shift.dx] + 255) >> 1);
    }
    return difference;
}

unsigned char classOf(unsigned char difference) {
    if (difference < 100)
        return 0;
    return difference > 150 ? 255 : unchanged;
}

void clean(Difference& mask) {
    unsigned char* const pixels = mask.pixels.data();
    const int64_t shorter = std::min(mask.width, mask.height);
    checkResult(GB_GaussianBlurA(nullptr, pixels, mask.width, mask.height, mask.pitch, 0, pixels,
                                 shorter >> 7),
                "GB_GaussianBlurA");
    std::transform(mask.pixels.begin(), mask.pixels.end(), mask.pixels.begin(), classOf);
    const int64_t radius = shorter / smallestChangedSide;
    checkResult(sbrOpen(nullptr, pixels, mask.width, mask.height, mask.pitch, 1, pixels, radius),
                "sbrOpen");
    checkResult(sbrClose(nullptr, pixels, mask.width, mask.height, mask.pitch, 1, pixels, radius),
                "sbrClose");
}

} // namespace

ChangedMask findChangedMask(Aligner& aligner, LumaImage& first, LumaImage& second) {
    const Shift shift = aligner.find(first, second);
    Difference difference = subtract(first, second, shift);
    clean(difference);
    ChangedMask mask = {first.width, first.height, {}, shift};
    mask.pixels.resize(first.pixels.size());
    for (int32_t y = 0; y < mask.height; ++y)
        std::transform(difference.pixels.data() + y * difference.pitch,
                       difference.pixels.data() + y * difference.pitch + mask.width,
                       mask.pixels.data() + mask.index(0, y),
                       [](unsigned char value) { return value == unchanged ? 0 : 255; });
    return mask;
}

ChangedMask moved(const ChangedMask& mask, Shift by) {
    ChangedMask result = {mask.width, mask.height, {}, mask.shift};
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
