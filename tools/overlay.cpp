#include "overlay.h"

#include "changed_mask.h"
#include "colour_picture.h"

#include <algorithm>

namespace {

constexpr unsigned char red[] = {0, 0, 255};
constexpr unsigned char yellow[] = {0, 255, 255};

unsigned char* pixel(BgrPicture& picture, int32_t x, int32_t y) {
    return picture.pixels.data() + 3 * (int64_t{y} * picture.width + x);
}

void tint(BgrPicture& picture, const ChangedMask& mask) {
    for (int32_t y = 0; y < picture.height; ++y)
        for (int32_t x = 0; x < picture.width; ++x)
            for (int c = 0; c < 3 && mask.at(x, y); ++c)
                pixel(picture, x, y)[c] =
                    static_cast<unsigned char>((pixel(picture, x, y)[c] + red[c]) / 2);
}

// The box lies just inside the rectangle's edges.
void drawBox(BgrPicture& picture, const __tag_rect& rect) {
    const int32_t line = std::max(1, std::min(picture.width, picture.height) / 240);
    for (int32_t y = rect.top; y < rect.bottom; ++y)
        for (int32_t x = rect.left; x < rect.right; ++x)
            if (std::min({x - rect.left, rect.right - 1 - x, y - rect.top, rect.bottom - 1 - y}) <
                line)
                std::copy_n(yellow, 3, pixel(picture, x, y));
}

} // namespace

std::string drawOverlay(const std::string& path, LumaPair& frames, PhaseTimes& times) {
    const ColourPicture colour = ColourPicture::read(path, times);
    BgrPicture picture = colour.whole(times);
    Aligner aligner;
    const ChangedMask mask = findChangedMask(aligner, frames.first, frames.second);
    ChangedMask inFirst = moved(mask, mask.shift);
    tint(picture, inFirst);
    drawBox(picture, boundingBox(inFirst));
    return encodePng(picture.view());
}
