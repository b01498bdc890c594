#include "sharpness/region.h"

#include "platform/conversion.h"

#include <algorithm>

namespace kelvane {

namespace {

int64_t roundDown(int64_t value) { return value & -gridStep; }

SampleGrid gridBetween(int64_t left, int64_t top, int64_t right, int64_t bottom) {
    left = roundDown(left);
    top = roundDown(top);
    return {.left = left,
            .top = top,
            .columns = (roundDown(right) - left) / gridStep,
            .rows = (roundDown(bottom) - top) / gridStep};
}

} // namespace

bool isInsideImage(const __tag_rect& region, const __tag_KIRO_OFFSCREEN& image) {
    return region.left < region.right && region.top < region.bottom && region.left >= 0 &&
           region.top >= 0 && region.right <= image.width && region.bottom <= image.height;
}

SampleGrid gridOfRegion(const __tag_rect& region) {
    return gridBetween(region.left, region.top, region.right, region.bottom);
}

SampleGrid gridOfCentre(int64_t width, int64_t height) {
    const int64_t shorter = std::min(width, height);
    const int64_t kept = truncateTo<int64_t>(static_cast<float>(shorter) * 0.8f);
    const int64_t margin = shorter - kept;
    const int64_t cropWidth = roundDown(width - margin);
    const int64_t cropHeight = roundDown(height - margin);
    const int64_t left = roundDown((width - cropWidth) >> 1);
    const int64_t top = roundDown((height - cropHeight) >> 1);
    return gridBetween(left, top, std::min(left + cropWidth, width),
                       std::min(top + cropHeight, height));
}

} // namespace kelvane
