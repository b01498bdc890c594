#include "kelvane/kelvane.h"

#include "image/absolute_difference.h"
#include "platform/allocation.h"
#include "platform/vector_support.h"
#include "sharpness/region.h"
#include "sharpness/sample_row.h"
#include "sharpness/sample_row_avx2.h"

#include <utility>

namespace kelvane {

namespace {

int64_t roundUpTo4(int64_t value) { return (value + 3) & -4; }

// Sum over x >= 1 of the differences to the left and to the upper neighbour.
int64_t differencesOf(const unsigned char* row, const unsigned char* above, int64_t columns) {
#if defined(__x86_64__)
    if (columns > leastSamplesAvx2 && hasAvx2())
        return sumOfDifferencesAvx2(row, above, columns);
#endif
    return sumOfAbsoluteDifferences(row, row + 1, columns - 1) +
           sumOfAbsoluteDifferences(above + 1, row + 1, columns - 1);
}

// `previous` and `current` each hold one sample row.
float meanDifference(const __tag_KIRO_OFFSCREEN& image, const SampleFormat& format,
                     const SampleGrid& grid, unsigned char* previous, unsigned char* current) {
    const int64_t pitch = image.pitches[0];
    const unsigned char* upper =
        image.planes[0] + grid.top * pitch + grid.left * format.bytesPerPixel;
    format.convertRow(upper, upper + 2 * pitch, grid.columns, 0, previous);
    int64_t sum = 0;
    for (int64_t y = 1; y < grid.rows; ++y) {
        upper += gridStep * pitch;
        format.convertRow(upper, upper + 2 * pitch, grid.columns,
                          y + 1 < grid.rows ? gridStep * pitch : 0, current);
        sum += differencesOf(current, previous, grid.columns);
        std::swap(previous, current);
    }
    return static_cast<float>(sum) / static_cast<float>(grid.columns) /
           static_cast<float>(grid.rows);
}

} // namespace

} // namespace kelvane

long imgEvaluateSharpness(void* memHandle, __tag_KIRO_OFFSCREEN* image, float* sharpness,
                          __tag_rect* region) {
    using namespace kelvane;
    const SampleFormat format = sampleFormatOf(image->format);
    if (format.convertRow == nullptr || (format.evenWidth && image->width % 2 != 0) ||
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
    *sharpness = grid.isEmpty() ? 0.0f
                                : meanDifference(*image, format, grid, scratch,
                                                 scratch + roundUpTo4(grid.columns));
    VantMemFree(memHandle, scratch);
    return ERR_NONE;
}
