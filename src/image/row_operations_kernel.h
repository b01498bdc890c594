// The vertical pass and the colour conversion for x86 vectors of any width. The including file
// defines the vectors: a number of 16-byte lanes.
#pragma once

#include "image/row_operations.h"
#include "platform/prefetch.h"

#include <algorithm>

namespace kelvane {

namespace {

// Where a vector of `size` elements starts that shall process from `position`: the last one of a
// row goes over some elements again, so that it ends with the row.
inline int64_t vectorStart(int64_t position, int64_t size, int64_t count) {
    return std::min(position, count - size);
}

// Rows without gaps mostly follow each other: what is needed next lies behind.
template <typename Output>
inline void prefetchSource(const unsigned char* bytes, int64_t ahead) {
    if constexpr (leavesGaps<Output>)
        __builtin_prefetch(bytes + ahead);
    else
        prefetchBehind(bytes, 1024);
}

// out[k] = sum >> 8, with the vector of 16-bit sums from sumsAt(k).
template <typename SumsAt>
inline void packRow(int64_t count, unsigned char* out, int64_t ahead, SumsAt sumsAt) {
    for (int64_t i = 0; i < count; i += vectorBytes) {
        const int64_t k = vectorStart(i, vectorBytes, count);
        prefetchDestination(out + ahead + k);
        storeVector(out + k, packHighBytes(sumsAt(k), sumsAt(k + vectorBytes / 2)));
    }
}

// As the plain operation, whose floor is the product's high half. Without a sign, the sum of both
// rows stays in 16 bits.
void blendRows(const RowValue* top, const RowValue* bottom, int32_t weight, int64_t count,
               unsigned char* out, int64_t ahead) {
    if (weight > 64) {
        std::swap(top, bottom);
        weight = 128 - weight;
    }
    if (weight == 0 || top == bottom) {
        packRow(count, out, ahead, [top](int64_t k) {
            const Vector values = loadVector(top + k);
            return add16(values, values);
        });
        return;
    }
    if (weight == 64) {
        packRow(count, out, ahead, [top, bottom](int64_t k) {
            return add16(loadVector(top + k), loadVector(bottom + k));
        });
        return;
    }
    const Vector factor = broadcast16(static_cast<int16_t>(-512 * weight));
    packRow(count, out, ahead, [=](int64_t k) {
        const Vector upper = loadVector(top + k);
        const Vector share = multiplyHigh(subtract16(upper, loadVector(bottom + k)), factor);
        const Vector sum = add16(upper, share);
        return add16(sum, sum);
    });
}

// out[2k] = samples[k] and out[2k + 1] = between[k].
inline void storeInterleaved8(Vector samples, Vector between, unsigned char* out) {
    const Vector even = halvesToLanes(samples);
    const Vector odd = halvesToLanes(between);
    storeVector(out, unpackLow8(even, odd));
    storeVector(out + vectorBytes, unpackHigh8(even, odd));
}

// (a + b + c + d + 2) >> 2, of two rounded means: their mean rounds once too often where one of
// them was rounded up and it is rounded up, too.
inline Vector averageOfFour8(Vector a, Vector b, Vector c, Vector d) {
    const Vector first = average8(a, b);
    const Vector second = average8(c, d);
    const Vector rounded = bitOr(bitXor(a, b), bitXor(c, d));
    const Vector excess = bitAnd(bitAnd(bitXor(first, second), rounded), broadcast8(1));
    return subtract8(average8(first, second), excess);
}

void doubleRows(const unsigned char* top, const unsigned char* bottom, int64_t count,
                unsigned char* upperOut, unsigned char* lowerOut, int64_t ahead) {
    const int64_t last = count - 1;
    for (int64_t i = 0; i < last; i += vectorBytes) {
        const int64_t k = vectorStart(i, vectorBytes, last);
        for (int64_t line = 2 * k; line < 2 * (k + vectorBytes); line += 64) {
            prefetchDestination(upperOut + ahead + line);
            prefetchDestination(lowerOut + ahead + line);
        }
        const Vector a = loadVector(top + k), b = loadVector(top + k + 1);
        const Vector c = loadVector(bottom + k), d = loadVector(bottom + k + 1);
        storeInterleaved8(a, average8(a, b), upperOut + 2 * k);
        storeInterleaved8(average8(a, c), averageOfFour8(a, b, c, d), lowerOut + 2 * k);
    }
    upperOut[2 * last] = upperOut[2 * last + 1] = top[last];
    lowerOut[2 * last] = lowerOut[2 * last + 1] =
        static_cast<unsigned char>((top[last] + bottom[last] + 1) >> 1);
}

// (factor * chroma + 2^13) >> 14: the instruction shifts by 15, hence the doubled chroma.
inline Vector scaleChroma(Vector chroma, int16_t factor) {
    return multiplyHighRounded(add16(chroma, chroma), broadcast16(factor));
}

inline Vector scaleBoth(Vector cb, Vector cr) {
    const Vector factors = unpackLow16(broadcast16(greenFromCb), broadcast16(greenFromCr));
    return packRounded14(multiplyAdd16(unpackLow16(cb, cr), factors),
                         multiplyAdd16(unpackHigh16(cb, cr), factors));
}

struct LumaVector {
    Vector low, high; // 16 bits for each pixel: the first and the last eight of each lane
};

// Each offset serves two pixels.
inline Vector addToLuma(LumaVector luma, Vector offsets) {
    return packUnsigned8(add16(luma.low, unpackLow16(offsets, offsets)),
                         add16(luma.high, unpackHigh16(offsets, offsets)));
}

void writeBgr(const unsigned char* luma, ChromaRow chroma, int64_t width, unsigned char* out) {
    const Vector middle = broadcast16(128);
    const int64_t even = width / 2 * 2;
    for (int64_t i = 0; i < even; i += vectorBytes) {
        const int64_t x = vectorStart(i, vectorBytes, even);
        Vector cb, cr;
        if (chroma.step == 1) {
            cb = loadBytesAs16(chroma.cb + x / 2);
            cr = loadBytesAs16(chroma.cr + x / 2);
        } else {
            const Vector pairs = loadVector(chroma.cb + x);
            cb = lowBytes(pairs);
            cr = highBytes(pairs);
        }
        cb = subtract16(cb, middle);
        cr = subtract16(cr, middle);
        const Vector bytes = loadVector(luma + x);
        const LumaVector wide = {unpackLow8(bytes, zeroVector()), unpackHigh8(bytes, zeroVector())};
        storePixels(addToLuma(wide, scaleChroma(cb, blueFromCb)),
                    addToLuma(wide, scaleBoth(cb, cr)), addToLuma(wide, scaleChroma(cr, redFromCr)),
                    out + 3 * x);
    }
    const int64_t last = even / 2 * chroma.step;
    writeBgrPlain(luma + even, {chroma.cb + last, chroma.cr + last, chroma.step}, width - even,
                  out + 3 * even);
}

} // namespace

} // namespace kelvane
