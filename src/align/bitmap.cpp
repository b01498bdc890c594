// Threshold bitmaps of one level, and halving them.
#include "align/luma.h"
#include "align/threshold_bits.h"
#include "platform/unaligned.h"

#include <algorithm>

using namespace kelvane;

namespace {

// Moves the even bits of a word into its lower half.
uint32_t packEvenBits(uint64_t word) {
    word &= 0x5555555555555555;
    word = (word | word >> 1) & 0x3333333333333333;
    word = (word | word >> 2) & 0x0F0F0F0F0F0F0F0F;
    word = (word | word >> 4) & 0x00FF00FF00FF00FF;
    word = (word | word >> 8) & 0x0000FFFF0000FFFF;
    return static_cast<uint32_t>(word | word >> 16);
}

// Halves 64 columns of two rows: bit x of the result is decided by the bits 2x and 2x + 1 of both.
// `tieSets` says what two set bits of four give.
template <bool tieSets>
uint32_t halveWords(uint64_t upper, uint64_t lower) {
    const uint64_t upperBoth = upper & upper >> 1;
    const uint64_t lowerBoth = lower & lower >> 1;
    const uint64_t upperAny = upper | upper >> 1;
    const uint64_t lowerAny = lower | lower >> 1;
    return packEvenBits(tieSets ? upperBoth | lowerBoth | (upperAny & lowerAny)
                                : (upperBoth & lowerAny) | (lowerBoth & upperAny));
}

template <bool tieSets>
void halveRow(const unsigned char* upper, const unsigned char* lower, int64_t words,
              unsigned char* halved) {
    for (int64_t i = 0; i < words; ++i) {
        storeUnaligned(halved + 4 * i, halveWords<tieSets>(loadUnaligned<uint64_t>(upper + 8 * i),
                                                           loadUnaligned<uint64_t>(lower + 8 * i)));
    }
}

} // namespace

void ComputeBitmaps2(unsigned char* src, long width, long height, long pitch, unsigned char* dst,
                     long dstRowBytes, long threshold, long level, long format) {
    const int64_t columns = width >> level;
    const int64_t step = lumaStep(format) << level;
    const int64_t packed = (columns + 7) / 8;
    for (int64_t y = 0; y < height >> level; ++y) {
        unsigned char* const row = dst + y * dstRowBytes;
        packAbove(src + (y << level) * pitch, step, columns, threshold, row);
        VantMemSet(row + packed, 0, dstRowBytes - packed);
    }
}

void BitImageShrink2(const unsigned char* src, long srcRows, long srcWidth, long srcRowBytes,
                     unsigned char* dst, long dstRows, long, long dstRowBytes, long parity) {
    // A last odd column beyond these words is dropped, even where the row has room for it.
    const int64_t words = (srcWidth / 2 + 31) >> 5;
    const int64_t lastRow = srcRows - 1;
    for (int64_t y = 0; y < dstRows && lastRow >= 0; ++y) {
        const unsigned char* const upper = src + std::min(2 * y, lastRow) * srcRowBytes;
        const unsigned char* const lower = src + std::min(2 * y + 1, lastRow) * srcRowBytes;
        unsigned char* const row = dst + y * dstRowBytes;
        if (parity % 2 == 0)
            halveRow<true>(upper, lower, words, row);
        else
            halveRow<false>(upper, lower, words, row);
        VantMemSet(row + 4 * words, 0, dstRowBytes - 4 * words);
    }
}
