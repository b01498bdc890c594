#include "align/luma.h"

#include <algorithm>

using namespace kelvane;

void ComputeGraymaps2(unsigned char* src, long width, long height, long pitch, unsigned char* dst,
                      long dstWidth, long dstHeight, long dstStride, long level, long format) {
    if (dstWidth < 1 || dstHeight < 1)
        return;
    // A frame too thin for this level still shows its first pixels.
    const bool tooThin = width >> level < 1 || height >> level < 1;
    const int64_t columns = std::max<int64_t>(width >> level, 1);
    const int64_t rows = std::max<int64_t>(height >> level, 1);
    const int64_t step = lumaStep(format) << level;
    for (int64_t y = 0; y < rows; ++y) {
        unsigned char* const row = dst + y * dstStride;
        if (tooThin)
            VantMemSet(row, 0, dstStride);
        samplePixels(src + (y << level) * pitch, step, columns, row);
        if (columns < dstWidth)
            row[columns] = row[columns - 1];
    }
    if (rows < dstHeight)
        VantMemCpy(dst + rows * dstStride, dst + (rows - 1) * dstStride,
                   tooThin ? dstStride : dstWidth);
}
