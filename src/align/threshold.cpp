// The threshold that splits a frame's pixels into halves (median threshold bitmaps: Ward, 2003).
#include "align/context.h"
#include "align/levels.h"
#include "align/luma.h"
#include "platform/prefetch.h"
#include "simd/kernels.h"

#include <algorithm>

using namespace kelvane;

namespace {

bool hasCountableLuma(uint32_t format) {
    switch (format) {
    case KELVANE_FORMAT_YUYV:
    case KELVANE_FORMAT_YUV420:
    case KELVANE_FORMAT_YUV422:
    case KELVANE_FORMAT_YUV420_CBCR:
    case KELVANE_FORMAT_YUV420_CRCB:
    case KELVANE_FORMAT_YUV422_CRCB: return true;
    default: return false;
    }
}

// Neighbouring pixels are often equal: four histograms keep their increments from waiting for each
// other. A frame counts at most 512 x 512 pixels, which 32 bits hold.
struct Histograms {
    uint32_t bins[4][histogramBins] = {};

    void countRow(const unsigned char* row, int64_t step, int64_t columns) {
        int64_t x = 0;
        for (; x + 4 <= columns; x += 4) {
            for (int64_t i = 0; i < 4; ++i)
                ++bins[i][row[(x + i) * step]];
        }
        for (; x < columns; ++x)
            ++bins[0][row[x * step]];
    }

    int64_t count(int64_t bin) const {
        return int64_t{bins[0][bin]} + bins[1][bin] + bins[2][bin] + bins[3][bin];
    }
};

// A value, how many pixels are at most that, and how many are less.
struct Median {
    int64_t value;
    int64_t atMost;
    int64_t below;
};

Median medianOfHistogram(const PixelGrid& grid, int64_t half) {
    Histograms histograms;
    for (int64_t y = 0; y < grid.rows; ++y) {
        const unsigned char* const row = grid.pixels + y * grid.pitch;
        if (y + 2 < grid.rows)
            prefetchLines(row, grid.columns * grid.step, 2 * grid.pitch);
        histograms.countRow(row, grid.step, grid.columns);
    }
    Median median = {0, histograms.count(0), 0};
    while (median.atMost < half) {
        median.below = median.atMost;
        median.atMost += histograms.count(++median.value);
    }
    return median;
}

// Every pass over the pixels leaves a quarter of the values.
Median medianBySearch(const PixelGrid& grid, int64_t half) {
    Median median = {0, grid.columns * grid.rows, 0};
    for (int64_t quarter = 64; quarter >= 1; quarter /= 4) {
        unsigned char limits[3];
        for (int64_t i = 0; i < 3; ++i)
            limits[i] = static_cast<unsigned char>(median.value + (i + 1) * quarter);
        int64_t counts[3];
        kernelsFor(grid.columns).countBelow(grid, limits, counts);
        for (int64_t i = 0; i < 3 && counts[i] < half; ++i) {
            median.value += quarter;
            median.below = counts[i];
        }
        for (const int64_t count : counts) {
            if (count >= half)
                median.atMost = std::min(median.atMost, count);
        }
    }
    return median;
}

// The cut next to the median that splits the pixels more evenly; a tie keeps the upper one.
int64_t medianCut(const PixelGrid& grid) {
    const int64_t half = grid.columns * grid.rows >> 1;
    if (half == 0)
        return -1;
    // Where most of what vectors load is not counted, they do not pay.
    const Median median =
        grid.step <= 4 ? medianBySearch(grid, half) : medianOfHistogram(grid, half);
    return median.atMost - half > (median.atMost - median.below) >> 1 ? median.value - 1
                                                                      : median.value;
}

} // namespace

long TorInterThreshold(_tag_ZEP_ABDEBLUR*, __tag_KIRO_OFFSCREEN* image, unsigned char*,
                       long* outThreshold, long width, long height, long pitch, long*) {
    const int64_t skipped = halvingsTo(std::max(width, height), 512);
    int64_t threshold = -1;
    if (hasCountableLuma(image->format))
        threshold = medianCut({.pixels = image->planes[0],
                               .pitch = pitch << skipped,
                               .step = lumaStep(image->format) << skipped,
                               .columns = std::max<int64_t>(width, 0) >> skipped,
                               .rows = std::max<int64_t>(height, 0) >> skipped});
    if (outThreshold != nullptr)
        *outThreshold = threshold;
    return ERR_NONE;
}
