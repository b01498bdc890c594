#include "roi/bounding_box.h"

#include "platform/unaligned.h"

#include <algorithm>

namespace kelvane {

namespace {

bool isUniform(const unsigned char* row, int64_t count, unsigned char value) {
    const uint64_t values = value * (UINT64_MAX / 255);
    uint64_t different = 0;
    int64_t x = 0;
    for (; x + 8 <= count; x += 8)
        different |= loadUnaligned<uint64_t>(row + x) ^ values;
    for (; x < count; ++x)
        different |= static_cast<uint64_t>(row[x] ^ value);
    return different == 0;
}

constexpr int64_t run = 64; // pixels that are looked at together

} // namespace

void Bounds::includeRow(const unsigned char* row, int64_t width, int64_t y,
                        unsigned char background) {
    if (isEmpty())
        top = y;
    bottom = y + 1;
    // Columns already inside need no second look.
    int64_t x = 0;
    while (x + run <= std::min(left, width) && isUniform(row + x, run, background))
        x += run;
    while (x < left && row[x] == background)
        ++x;
    left = std::min(left, x);
    x = width;
    while (x - run >= right && isUniform(row + x - run, run, background))
        x -= run;
    while (x > right && row[x - 1] == background)
        --x;
    right = std::max(right, x);
}

__tag_rect boundingBox(const unsigned char* pixels, int64_t width, int64_t height, int64_t pitch,
                       unsigned char background) {
    Bounds bounds;
    for (int64_t y = 0; y < height; ++y) {
        const unsigned char* const row = pixels + y * pitch;
        if (!isUniform(row, width, background))
            bounds.includeRow(row, width, y, background);
    }
    if (bounds.right - bounds.left <= 1)
        return {};
    return {.left = static_cast<int32_t>(bounds.left),
            .top = static_cast<int32_t>(bounds.top),
            .right = static_cast<int32_t>(bounds.right),
            .bottom = static_cast<int32_t>(bounds.bottom)};
}

} // namespace kelvane

void FindMaskBBox(const __tag_KIRO_OFFSCREEN* mask, __tag_rect* out) {
    *out = kelvane::boundingBox(mask->planes[0], mask->width, mask->height, mask->pitches[0], 0);
}
