// Counting the pixels in which two threshold bitmaps disagree.
#include "align/difference.h"

#include "align/bit_count.h"
#include "align/overlap.h"
#include "image/absolute_difference.h"
#include "platform/unaligned.h"

#include <algorithm>

namespace kelvane {

namespace {

// The 32 bits of a row that start `shift` (0..31) bits into a word. Loads the next word too.
uint32_t shiftedWord(const unsigned char* words, unsigned shift) {
    return static_cast<uint32_t>(loadUnaligned<uint64_t>(words) >> shift);
}

int64_t countRow(const unsigned char* a, const unsigned char* b, unsigned shift, int64_t bits) {
    const int64_t words = bits >> 5;
    int64_t count = 0;
    for (int64_t start = 0; start < words; start += countsPerByte) {
        const int64_t end = std::min(words, start + countsPerByte);
        uint32_t counts = 0;
        for (int64_t i = start; i < end; ++i)
            counts +=
                countsOfBytes(loadUnaligned<uint32_t>(a + 4 * i) ^ shiftedWord(b + 4 * i, shift));
        count += sumOfBytes(counts);
    }
    if (const int64_t rest = bits % 32; rest != 0) {
        const uint32_t differing =
            loadUnaligned<uint32_t>(a + 4 * words) ^ shiftedWord(b + 4 * words, shift);
        count += sumOfBytes(countsOfBytes(uint32_t{differing << (32 - rest)}));
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
    for (int64_t start = 0; start < words; start += countsPerByte) {
        const int64_t end = std::min(words, start + countsPerByte);
        uint32_t right = 0;
        uint32_t same = 0;
        uint32_t left = 0;
        for (int64_t i = start; i < end; ++i) {
            const uint32_t wordA = loadUnaligned<uint32_t>(a + 4 * i) & interior;
            const uint32_t wordB = shiftedWord(b + 4 * i, shift);
            right += countsOfBytes(wordA ^ (wordB & ~3u) >> 1);
            same += countsOfBytes(wordA ^ (wordB & interior));
            left += countsOfBytes(wordA ^ (wordB & 0x3FFFFFFF) << 1);
        }
        counts[0] += sumOfBytes(right);
        counts[1] += sumOfBytes(same);
        counts[2] += sumOfBytes(left);
    }
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

constexpr int64_t patchesPerSide = 4;

// Eight columns of bytes of one patch row of a level, all four patches side by side.
struct PatchColumns {
    int64_t first; // byte in the row
    int64_t count; // 1..8
    uint64_t counted;
};

// Up to eight bytes as a word, without reading more.
uint64_t loadBytes(const unsigned char* bytes, int64_t count) {
    if (count == 8)
        return loadUnaligned<uint64_t>(bytes);
    uint64_t word = 0;
    for (int64_t i = 0; i < count; ++i)
        word |= uint64_t{bytes[i]} << (8 * i);
    return word;
}

// Which bits of the columns count: those of patches valid in both levels, without the outermost
// bits of each patch, whose neighbours belong to others.
uint64_t countedBits(const PatchColumns& columns, int64_t patchBytes, const bool valid[]) {
    uint64_t bits = 0;
    for (int64_t i = 0; i < columns.count; ++i) {
        const int64_t patch = (columns.first + i) / patchBytes;
        const int64_t inPatch = (columns.first + i) % patchBytes;
        uint64_t byte = valid[patch] ? 0xFF : 0;
        if (inPatch == 0)
            byte &= 0xFE;
        if (inPatch == patchBytes - 1)
            byte &= 0x7F;
        bits |= byte << (8 * i);
    }
    return bits;
}

// The working bits that stand against the reference bits after a move by `cx`. What comes in from
// outside the row falls on bits that do not count.
uint64_t movedBits(const unsigned char* row, const PatchColumns& columns, int64_t cx) {
    const unsigned char* const bytes = row + columns.first;
    const uint64_t word = loadBytes(bytes, columns.count);
    if (cx < 0)
        return word >> 1 | uint64_t{bytes[columns.count]} << (8 * columns.count - 1);
    if (cx > 0)
        return word << 1 | (columns.first > 0 ? bytes[-1] >> 7 : 0);
    return word;
}

// Disagreement of `rows` rows in some columns.
int64_t countPatchColumns(const unsigned char* ref, const unsigned char* work, int64_t rows,
                          int64_t rowBytes, const PatchColumns& columns, int64_t cx) {
    int64_t count = 0;
    for (int64_t start = 0; start < rows; start += countsPerByte) {
        const int64_t end = std::min(rows, start + countsPerByte);
        uint64_t counts = 0;
        for (int64_t i = start; i < end; ++i) {
            const uint64_t refBits = loadBytes(ref + i * rowBytes + columns.first, columns.count);
            const uint64_t workBits = movedBits(work + i * rowBytes, columns, cx);
            counts += countsOfBytes((refBits ^ workBits) & columns.counted);
        }
        count += sumOfBytes(counts);
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
    const int64_t patchBytes = widthBits / 32;
    const int64_t patchRows = rows / patchesPerSide;
    // Patches of a level that is too thin may have no rows and no data.
    if (cx < -1 || cx > 1 || cy < -1 || cy > 1 || patchRows < 3)
        return 0;
    int64_t count = 0;
    for (int64_t r = 0; r < patchesPerSide; ++r) {
        bool valid[patchesPerSide];
        for (int64_t c = 0; c < patchesPerSide; ++c) {
            const int64_t patch = r * patchesPerSide + c;
            valid[c] = refValid[patch] == 1 && workValid[patch] == 1;
        }
        // The first and last row of each patch lack a neighbour in it.
        const int64_t first = r * patchRows + 1;
        for (int64_t x = 0; x < patchesPerSide * patchBytes; x += 8) {
            PatchColumns columns = {x, std::min<int64_t>(8, patchesPerSide * patchBytes - x), 0};
            columns.counted = countedBits(columns, patchBytes, valid);
            if (columns.counted != 0)
                count += countPatchColumns(refData + first * rowBytes,
                                           workData + (first - cy) * rowBytes, patchRows - 2,
                                           rowBytes, columns, cx);
        }
    }
    return count;
}
