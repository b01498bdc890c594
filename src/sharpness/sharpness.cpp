#include "kelvane/kelvane.h"

#include "platform/allocation.h"
#include "sharpness/region.h"
#include "simd/kernels.h"

namespace kelvane {

namespace {

// How an image format is sampled.
struct SampleFormat {
    PixelLayout layout;
    int64_t bytesPerPixel;
    bool evenWidth; // the format needs an even width
    bool evenHeight;
};

// False for a format that cannot be sampled.
bool findSampleFormat(uint32_t format, SampleFormat* sampled) {
    switch (format) {
    case KELVANE_FORMAT_YUV420:
    case KELVANE_FORMAT_YUV420_CBCR:
    case KELVANE_FORMAT_YUV420_CRCB: *sampled = {PixelLayout::Luma, 1, true, true}; return true;
    case KELVANE_FORMAT_YUV422:
    case KELVANE_FORMAT_YUV422_CRCB: *sampled = {PixelLayout::Luma, 1, true, false}; return true;
    case KELVANE_FORMAT_YUYV: *sampled = {PixelLayout::PackedLuma, 2, true, false}; return true;
    case KELVANE_FORMAT_RGB565: *sampled = {PixelLayout::Rgb565, 2, false, false}; return true;
    case KELVANE_FORMAT_XRGB32: *sampled = {PixelLayout::Xrgb32, 4, false, false}; return true;
    default: return false;
    }
}

int64_t roundUpTo4(int64_t value) { return (value + 3) & -4; }

float meanDifference(const __tag_KIRO_OFFSCREEN& image, const SampleFormat& format,
                     const SampleGrid& grid, unsigned char* scratch) {
    const int64_t pitch = image.pitches[0];
    const SampledArea area = {.first = image.planes[0] + grid.top * pitch +
                                       grid.left * format.bytesPerPixel,
                              .pitch = pitch,
                              .columns = grid.columns,
                              .rows = grid.rows};
    const auto sum = kernelsFor(grid.columns).sumSampleDifferences[int(format.layout)];
    return static_cast<float>(sum(area, scratch)) / static_cast<float>(grid.columns) /
           static_cast<float>(grid.rows);
}

} // namespace

} // namespace kelvane

long imgEvaluateSharpness(void* memHandle, __tag_KIRO_OFFSCREEN* image, float* sharpness,
                          __tag_rect* region) {
    using namespace kelvane;
    SampleFormat format;
    if (!findSampleFormat(image->format, &format) || (format.evenWidth && image->width % 2 != 0) ||
        (format.evenHeight && image->height % 2 != 0))
        return ERR_INVALID_PARAM;
    if (region != nullptr && !isInsideImage(*region, *image))
        return ERR_INVALID_PARAM;
    const SampleGrid grid =
        region != nullptr ? gridOfRegion(*region) : gridOfCentre(image->width, image->height);
    // An empty descriptor is an error of the caller, not a reason to crash; without a grid nothing
    // would be read from it.
    if (!grid.isEmpty() && image->planes[0] == nullptr)
        return ERR_INVALID_PARAM;

    const int64_t rowCapacity = roundUpTo4(image->width / gridStep);
    if (rowCapacity <= 0) { // too narrow for a sample: nothing to allocate, nothing to measure
        *sharpness = 0.0f;
        return ERR_NONE;
    }
    auto* const scratch = static_cast<unsigned char*>(allocArray(memHandle, 2, rowCapacity));
    if (scratch == nullptr)
        return ERR_NO_MEMORY;
    // Without a grid there is no difference, and no pixel is read.
    *sharpness = grid.isEmpty() ? 0.0f : meanDifference(*image, format, grid, scratch);
    VantMemFree(memHandle, scratch);
    return ERR_NONE;
}
