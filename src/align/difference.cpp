// Counting the pixels in which two threshold bitmaps disagree.
#include "align/difference.h"

#include "align/overlap.h"
#include "image/absolute_difference.h"
#include "simd/kernels.h"

#include <algorithm>

namespace kelvane {

namespace {

// The area in which two bitmaps overlap after a displacement.
BitArea areaOf(const Overlap& overlap, int64_t rowBytes, int64_t bits, int64_t rows) {
    return {.a = overlap.a,
            .b = overlap.b + overlap.shift / 8,
            .pitch = rowBytes,
            .bytes = (bits + 7) / 8,
            .rows = rows,
            .shift = static_cast<int>(overlap.shift % 8)};
}

int64_t countArea(const unsigned char* planeA, const unsigned char* planeB, int64_t rowBytes,
                  int64_t dx, int64_t dy, int64_t columns, int64_t rows) {
    if (columns <= 0 || rows <= 0)
        return 0;
    const Overlap overlap(planeA, planeB, rowBytes, dx, dy);
    const BitArea area = areaOf(overlap, rowBytes, columns, rows);
    const auto lastByte = static_cast<unsigned char>(0xFF >> (8 * area.bytes - columns));
    return kernelsFor(area.bytes).countDifferences(area, lastByte);
}

void countThree(const unsigned char* planeA, const unsigned char* planeB, long* sums,
                int64_t widthBits, int64_t rows, int64_t rowBytes, int64_t dx, int64_t dy) {
    int64_t counts[3] = {};
    const int64_t words = overlapLength(widthBits, dx) >> 5;
    if (words > 0 && rows > 0) {
        const Overlap overlap(planeA, planeB, rowBytes, dx, dy);
        const BitArea area = areaOf(overlap, rowBytes, 32 * words, rows);
        kernelsFor(area.bytes).countThreeDifferences(area, counts);
        if (overlap.exchanged)
            std::swap(counts[0], counts[2]);
    }
    std::copy_n(counts, 3, sums);
}

constexpr int64_t patchesPerSide = 4;

// Which bits of `count` bytes from `first` on count: those of valid patches, without the outermost
// bits of each patch, whose neighbours belong to others. `moved` to the left by one bit.
void fillCounted(const bool valid[], int64_t patchBytes, int64_t first, int64_t count, bool moved,
                 unsigned char* counted) {
    for (int64_t i = 0; i < count; ++i) {
        int bits = valid[(first + i) / patchBytes] ? 0xFF : 0;
        const int64_t inPatch = (first + i) % patchBytes;
        if (inPatch == 0 && !moved)
            bits &= 0xFE;
        if (inPatch == patchBytes - 1)
            bits &= moved ? 0x3F : 0x7F;
        counted[i] = static_cast<unsigned char>(bits);
    }
}

} // namespace

int64_t greyDifference(const unsigned char* planeA, const unsigned char* planeB, int64_t width,
                       int64_t height, int64_t stride, int64_t dx, int64_t dy, int64_t cx,
                       int64_t cy) {
    const int64_t columns = commonLength(width, dx, cx);
    const int64_t rows = commonLength(height, dy, cy);
    if (columns <= 0 || rows <= 0)
        return 0;
    const Overlap overlap(planeA, planeB, stride, dx, dy);
    const unsigned char* a = overlap.a;
    const unsigned char* b = overlap.b + overlap.shift;
    int64_t sum = 0;
    for (int64_t y = 0; y < rows; ++y, a += stride, b += stride)
        sum += sumOfAbsoluteDifferences(a, b, columns);
    return sum;
}

} // namespace kelvane

using namespace kelvane;

unsigned long BitmapOperation2(unsigned char* a, unsigned char* b, long widthBits, long rows,
                               long rowBytes, long dx, long dy) {
    return static_cast<unsigned long>(
        countArea(a, b, rowBytes, dx, dy, overlapLength(widthBits, dx), overlapLength(rows, dy)));
}

unsigned long BitmapOperation2_BF(unsigned char* a, unsigned char* b, long widthBits, long rows,
                                  long rowBytes, long dx, long dy, long cx, long cy) {
    return static_cast<unsigned long>(countArea(
        a, b, rowBytes, dx, dy, commonLength(widthBits, dx, cx), commonLength(rows, dy, cy)));
}

void BitmapOperationline2(unsigned char* a, unsigned char* b, long* sums, long widthBits, long rows,
                          long rowBytes, long dx, long dy) {
    countThree(a, b, sums, widthBits, overlapLength(rows, dy), rowBytes, dx, dy);
}

void BitmapOperationline2_BF(unsigned char* a, unsigned char* b, long* sums, long widthBits,
                             long rows, long rowBytes, long dx, long dy, long, long cy) {
    countThree(a, b, sums, widthBits, commonLength(rows, dy, cy), rowBytes, dx, dy);
}

long InterBitmapOperation2(unsigned char* refData, unsigned char* workData, unsigned char* refValid,
                           unsigned char* workValid, long widthBits, long rows, long rowBytes,
                           long cx, long cy) {
    const int64_t patchBytes = widthBits / 32;
    const int64_t patchRows = rows / patchesPerSide;
    // Patches of a level that is too thin may have no rows and no data.
    if (cx < -1 || cx > 1 || cy < -1 || cy > 1 || patchRows < 3)
        return 0;
    // A move to the right by one is one of the other bitmap to the left.
    const bool moved = cx > 0;
    constexpr int64_t mostBytes = 64;
    int64_t count = 0;
    for (int64_t r = 0; r < patchesPerSide; ++r) {
        bool valid[patchesPerSide];
        for (int64_t c = 0; c < patchesPerSide; ++c) {
            const int64_t patch = r * patchesPerSide + c;
            valid[c] = refValid[patch] == 1 && workValid[patch] == 1;
        }
        // The first and last row of each patch lack a neighbour in it.
        const int64_t first = r * patchRows + 1;
        const unsigned char* const ref = refData + first * rowBytes;
        const unsigned char* const work = workData + (first - cy) * rowBytes;
        for (int64_t x = 0; x < patchesPerSide * patchBytes; x += mostBytes) {
            const BitArea area = {.a = (moved ? work : ref) + x,
                                  .b = (moved ? ref : work) + x,
                                  .pitch = rowBytes,
                                  .bytes = std::min(mostBytes, patchesPerSide * patchBytes - x),
                                  .rows = patchRows - 2,
                                  .shift = cx != 0 ? 1 : 0};
            unsigned char counted[mostBytes];
            fillCounted(valid, patchBytes, x, area.bytes, moved, counted);
            count += kernelsFor(area.bytes).countMaskedDifferences(area, counted);
        }
    }
    return count;
}
