// Counting the pixels in which two threshold bitmaps disagree.
#include "align/difference.h"

#include "align/bit_count.h"
#include "align/overlap.h"
#include "image/absolute_difference.h"

#include <algorithm>
#include <cstring>

namespace kelvane {

namespace {

template <typename Word>
Word load(const unsigned char* bytes) {
    Word word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

// The 32 bits of a row that start `shift` (0..31) bits into a word. Loads the next word too.
uint32_t shiftedWord(const unsigned char* words, unsigned shift) {
    return static_cast<uint32_t>(load<uint64_t>(words) >> shift);
}

int64_t countRow(const unsigned char* a, const unsigned char* b, unsigned shift, int64_t bits) {
    const int64_t words = bits >> 5;
    int64_t count = 0;
    for (int64_t i = 0; i < words; ++i)
        count += countBits(load<uint32_t>(a + 4 * i) ^ shiftedWord(b + 4 * i, shift));
    if (const int64_t rest = bits % 32; rest != 0) {
        const uint32_t differing =
            load<uint32_t>(a + 4 * words) ^ shiftedWord(b + 4 * words, shift);
        count += countBits(uint32_t{differing << (32 - rest)});
    }
    return count;
}

int64_t countArea(const unsigned char* planeA, const unsigned char* planeB, int64_t rowBytes,
                  int64_t dx, int64_t dy, int64_t columns, int64_t rows) {
    if (columns <= 0 || rows <= 0)
        return 0;
    const Overlap overlap(planeA, planeB, rowBytes, dx, dy);
    const unsigned char* a = overlap.a;
    const unsigned char* b = overlap.b + overlap.shift / 32 * 4;
    const auto shift = static_cast<unsigned>(overlap.shift % 32);
    int64_t count = 0;
    for (int64_t y = 0; y < rows; ++y, a += rowBytes, b += rowBytes)
        count += countRow(a, b, shift, columns);
    return count;
}

// Adds the counts of a row for three neighbouring displacements, over the bits 1 to 30 of every
// word: the neighbours of the edge bits lie in other words.
void countRowOfThree(const unsigned char* a, const unsigned char* b, unsigned shift, int64_t words,
                     int64_t counts[3]) {
    constexpr uint32_t interior = 0x7FFFFFFE;
    int64_t right = 0;
    int64_t same = 0;
    int64_t left = 0;
    for (int64_t i = 0; i < words; ++i) {
        const uint32_t wordA = load<uint32_t>(a + 4 * i) & interior;
        const uint32_t wordB = shiftedWord(b + 4 * i, shift);
        right += countBits(wordA ^ (wordB & ~3u) >> 1);
        same += countBits(wordA ^ (wordB & interior));
        left += countBits(wordA ^ (wordB & 0x3FFFFFFF) << 1);
    }
    counts[0] += right;
    counts[1] += same;
    counts[2] += left;
}

void countThree(const unsigned char* planeA, const unsigned char* planeB, long* sums,
                int64_t widthBits, int64_t rows, int64_t rowBytes, int64_t dx, int64_t dy) {
    int64_t counts[3] = {};
    const int64_t words = overlapLength(widthBits, dx) >> 5;
    if (words > 0 && rows > 0) {
        const Overlap overlap(planeA, planeB, rowBytes, dx, dy);
        const unsigned char* a = overlap.a;
        const unsigned char* b = overlap.b + overlap.shift / 32 * 4;
        const auto shift = static_cast<unsigned>(overlap.shift % 32);
        for (int64_t y = 0; y < rows; ++y, a += rowBytes, b += rowBytes)
            countRowOfThree(a, b, shift, words, counts);
        if (overlap.exchanged)
            std::swap(counts[0], counts[2]);
    }
    std::copy_n(counts, 3, sums);
}

// Up to eight bytes as a word, without reading more.
uint64_t loadBytes(const unsigned char* bytes, int64_t count) {
    if (count == 8)
        return load<uint64_t>(bytes);
    uint64_t word = 0;
    VantMemCpy(&word, bytes, count);
    return word;
}

// Disagreement of one patch row of `bytes` bytes; its first and last bit, whose neighbours belong
// to other patches, do not count.
int64_t countPatchRow(const unsigned char* ref, const unsigned char* work, int64_t bytes,
                      int64_t cx) {
    int64_t count = 0;
    for (int64_t x = 0; x < bytes; x += 8) {
        const int64_t length = std::min<int64_t>(8, bytes - x);
        uint64_t moved = loadBytes(work + x, length);
        if (cx < 0)
            moved = moved >> 1 | uint64_t{work[x + length]} << (8 * length - 1);
        else if (cx > 0)
            moved = moved << 1 | (x > 0 ? work[x - 1] >> 7 : 0);
        uint64_t counted = length == 8 ? ~uint64_t{0} : (uint64_t{1} << 8 * length) - 1;
        if (x == 0)
            counted &= ~uint64_t{1};
        if (x + length == bytes)
            counted &= ~(uint64_t{1} << (8 * length - 1));
        count += countBits((loadBytes(ref + x, length) ^ moved) & counted);
    }
    return count;
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
    constexpr int64_t patchesPerRow = 4;
    const int64_t patchBytes = widthBits / 32;
    const int64_t patchRows = rows / 4;
    if (cx < -1 || cx > 1 || cy < -1 || cy > 1)
        return 0;
    int64_t count = 0;
    for (int64_t patch = 0; patch < 16; ++patch) {
        if (refValid[patch] != 1 || workValid[patch] != 1)
            continue;
        const int64_t top = patch / patchesPerRow * patchRows;
        const int64_t left = patch % patchesPerRow * patchBytes;
        for (int64_t i = 1; i < patchRows - 1; ++i)
            count += countPatchRow(refData + (top + i) * rowBytes + left,
                                   workData + (top + i - cy) * rowBytes + left, patchBytes, cx);
    }
    return count;
}
