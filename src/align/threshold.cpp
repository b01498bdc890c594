// The threshold that splits a frame's pixels into halves (median threshold bitmaps: Ward, 2003).
#include "align/context.h"
#include "align/levels.h"
#include "align/luma.h"
#include "platform/prefetch.h"

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

// The cut next to the median that splits the pixels more evenly; a tie keeps the upper one.
int64_t medianCut(const Histograms& histograms, int64_t half) {
    int64_t remainder = half;
    int64_t bin = 0;
    for (;; ++bin) {
        remainder -= histograms.count(bin);
        if (remainder <= 0 || bin == histogramBins - 1)
            break;
    }
    return -remainder > histograms.count(bin) >> 1 ? bin - 1 : bin;
}

} // namespace

long TorInterThreshold(_tag_ZEP_ABDEBLUR*, __tag_KIRO_OFFSCREEN* image, unsigned char*,
                       long* outThreshold, long width, long height, long pitch, long*) {
    const int64_t skipped = halvingsTo(std::max(width, height), 512);
    const int64_t columns = std::max<int64_t>(width, 0) >> skipped;
    const int64_t rows = std::max<int64_t>(height, 0) >> skipped;
    int64_t threshold = -1;
    if (hasCountableLuma(image->format)) {
        Histograms histograms;
        const int64_t step = lumaStep(image->format) << skipped;
        for (int64_t y = 0; y < rows; ++y) {
            const unsigned char* const row = image->planes[0] + (y << skipped) * pitch;
            if (y + 2 < rows)
                prefetchRow(row + (2 * pitch << skipped), columns * step);
            histograms.countRow(row, step, columns);
        }
        const int64_t half = columns * rows >> 1;
        if (half > 0)
            threshold = medianCut(histograms, half);
    }
    if (outThreshold != nullptr)
        *outThreshold = threshold;
    return ERR_NONE;
}
