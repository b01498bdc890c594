#include "roi/bounding_box.h"

#include <algorithm>

namespace kelvane {

namespace {

bool isUniform(const unsigned char* row, int64_t count, unsigned char value) {
    unsigned char different = 0;
    for (int64_t x = 0; x < count; ++x)
        different = static_cast<unsigned char>(different | (row[x] ^ value));
    return different == 0;
}

} // namespace

__tag_rect boundingBox(const unsigned char* pixels, int64_t width, int64_t height, int64_t pitch,
                       unsigned char background) {
    int64_t left = width;
    int64_t right = -1; // the last differing column
    int64_t top = height;
    int64_t bottom = -1;
    for (int64_t y = 0; y < height; ++y) {
        const unsigned char* const row = pixels + y * pitch;
        if (isUniform(row, width, background))
            continue;
        top = std::min(top, y);
        bottom = y;
        // Columns already inside the box need no second look.
        int64_t x = 0;
        while (x < left && row[x] == background)
            ++x;
        left = std::min(left, x);
        x = width - 1;
        while (x > right && row[x] == background)
            --x;
        right = std::max(right, x);
    }
    if (right <= left)
        return {};
    return {.left = static_cast<int32_t>(left),
            .top = static_cast<int32_t>(top),
            .right = static_cast<int32_t>(right + 1),
            .bottom = static_cast<int32_t>(bottom + 1)};
}

} // namespace kelvane

void FindMaskBBox(const __tag_KIRO_OFFSCREEN* mask, __tag_rect* out) {
    *out = kelvane::boundingBox(mask->planes[0], mask->width, mask->height, mask->pitches[0], 0);
}
