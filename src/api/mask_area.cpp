#include "kelvane/kelvane.h"

#include <algorithm>

namespace {

// Counts in one byte per run, so that the compiler can keep the counters in byte lanes.
long countDiffering(const unsigned char* bytes, long count, unsigned char value) {
    constexpr long run = 255;
    long total = 0;
    for (long start = 0; start < count; start += run) {
        const unsigned char* const first = bytes + start;
        const long length = std::min(run, count - start);
        unsigned char differing = 0;
        for (long x = 0; x < length; ++x)
            differing = static_cast<unsigned char>(differing + (first[x] != value));
        total += differing;
    }
    return total;
}

} // namespace

long calMaskArea(unsigned char* mask, long width, long height, long pitch, int value,
                 __tag_rect* rect, long* out) {
    if (mask == nullptr || out == nullptr)
        return ERR_INVALID_PARAM;
    const long left = rect != nullptr ? rect->left : 0;
    const long top = rect != nullptr ? rect->top : 0;
    const long rowLength = rect != nullptr ? rect->right - left : width;
    const long bottom = rect != nullptr ? rect->bottom : height;

    const bool isByte = value >= 0 && value <= 255;
    long area = 0;
    for (long y = top; y < bottom && rowLength > 0; ++y) {
        area += isByte ? countDiffering(mask + y * pitch + left, rowLength,
                                        static_cast<unsigned char>(value))
                       : rowLength;
    }
    *out = area;
    return ERR_NONE;
}
