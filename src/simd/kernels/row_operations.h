// The work on the rows of a resize beside their resampling: blended, doubled, and converted to
// packed pixels.
#include "platform/prefetch.h"
#include "simd/kernels.h"

namespace kelvane::KELVANE_TARGET {

namespace {

// A copy that fills a vector of what does not.
template <typename Element, int64_t size = vectorBytes>
struct Padded {
    Padded(const Element* row, int64_t count) {
        std::memcpy(elements, row, static_cast<size_t>(count) * sizeof(Element));
    }
    Element elements[size] = {};
};

// out[k] = sum >> 8, with the vector of 16-bit sums from sumsAt(k).
template <typename SumsAt>
[[gnu::always_inline]] inline void packRow(int64_t count, uint8_t* out, SumsAt sumsAt) {
    for (int64_t i = 0; i < count; i += vectorBytes) {
        const int64_t k = vectorStart(i, vectorBytes, count);
        store(out + k, splitTwo((U8)sumsAt(k), (U8)sumsAt(k + vectorBytes / 2)).vectors[1]);
    }
}

// Split as (top + floor(weight * (bottom - top) / 128)) >> 7, which is the same number and stays in
// 16 bits. Twice that still does, without a sign. The products allow weights up to 64; beyond, the
// rows change places.
[[gnu::always_inline]] inline void blendVectors(const RowValue* top, const RowValue* bottom,
                                                int32_t weight, int64_t count, uint8_t* out) {
    if (weight > 64) {
        const RowValue* const upper = top;
        top = bottom;
        bottom = upper;
        weight = 128 - weight;
    }
    if (weight == 0 || top == bottom) {
        packRow(count, out, [top](int64_t k) {
            const U16 values = load<U16>(top + k);
            return values + values;
        });
        return;
    }
    if (weight == 64) {
        packRow(count, out, [=](int64_t k) { return load<U16>(top + k) + load<U16>(bottom + k); });
        return;
    }
    const auto factor = static_cast<int16_t>(-256 * weight);
    packRow(count, out, [=](int64_t k) {
        const I16 upper = load<I16>(top + k);
        const auto sum = (U16)(upper + highProduct(upper - load<I16>(bottom + k), factor));
        return sum + sum;
    });
}

[[gnu::noinline]] void blendNarrowRows(const RowValue* top, const RowValue* bottom, int32_t weight,
                                       int64_t count, uint8_t* out) {
    const Padded<RowValue> upper(top, count), lower(bottom, count);
    uint8_t bytes[vectorBytes];
    blendVectors(upper.elements, lower.elements, weight, vectorBytes, bytes);
    std::memcpy(out, bytes, static_cast<size_t>(count));
}

void blendRows(const RowValue* top, const RowValue* bottom, int32_t weight, int64_t count,
               uint8_t* out) {
    if (count < vectorBytes)
        blendNarrowRows(top, bottom, weight, count, out);
    else
        blendVectors(top, bottom, weight, count, out);
}

// (a + b + c + d + 2) >> 2, of two rounded means: their mean rounds once too often where one of
// them was rounded up and it is rounded up, too.
[[gnu::always_inline]] inline U8 averageOfFour(U8 a, U8 b, U8 c, U8 d) {
    const U8 first = average(a, b);
    const U8 second = average(c, d);
    return average(first, second) - ((first ^ second) & ((a ^ b) | (c ^ d)) & 1);
}

struct DoubledRows {
    uint8_t* upper;
    uint8_t* lower;
    int64_t step; // to the next two
};

[[gnu::always_inline]] inline void doubleVectors(const uint8_t* top, const uint8_t* bottom,
                                                 int64_t count, const DoubledRows& out) {
    for (int64_t i = 0; i < count; i += vectorBytes) {
        const int64_t k = vectorStart(i, vectorBytes, count);
        for (int64_t line = 2 * k; line < 2 * (k + vectorBytes); line += cacheLine) {
            prefetchDestination(out.upper + line, out.step);
            prefetchDestination(out.lower + line, out.step);
        }
        const U8 a = load<U8>(top + k), b = load<U8>(top + k + 1);
        const U8 c = load<U8>(bottom + k), d = load<U8>(bottom + k + 1);
        joinTwo(out.upper + 2 * k, {{a, average(a, b)}});
        joinTwo(out.lower + 2 * k, {{average(a, c), averageOfFour(a, b, c, d)}});
    }
}

[[gnu::noinline]] void doubleNarrowRows(const uint8_t* top, const uint8_t* bottom, int64_t count,
                                        const DoubledRows& out) {
    const Padded<uint8_t, vectorBytes + 1> upper(top, count + 1), lower(bottom, count + 1);
    uint8_t upperBytes[2 * vectorBytes], lowerBytes[2 * vectorBytes];
    doubleVectors(upper.elements, lower.elements, vectorBytes, {upperBytes, lowerBytes, 0});
    std::memcpy(out.upper, upperBytes, static_cast<size_t>(2 * count));
    std::memcpy(out.lower, lowerBytes, static_cast<size_t>(2 * count));
}

void doublePlane(const uint8_t* source, int64_t pitch, int64_t width, int64_t height, uint8_t* out,
                 int64_t outPitch) {
    const int64_t last = width - 1; // has no next sample
    for (int64_t y = 0; y < height; ++y) {
        const bool isLast = y + 1 == height; // has nothing to be blended with
        const uint8_t* const top = source + y * pitch;
        const uint8_t* const bottom = isLast ? top : top + pitch;
        uint8_t* const upper = out + 2 * y * outPitch;
        const DoubledRows rows = {upper, upper + outPitch, isLast ? 0 : 2 * outPitch};
        if (last < vectorBytes)
            doubleNarrowRows(top, bottom, last, rows);
        else
            doubleVectors(top, bottom, last, rows);
        rows.upper[2 * last] = rows.upper[2 * last + 1] = top[last];
        rows.lower[2 * last] = rows.lower[2 * last + 1] =
            static_cast<uint8_t>((top[last] + bottom[last] + 1) >> 1);
    }
}

// BT.601 for full-range luma, scaled by 2^14. The luma is a whole number of that scale, so rounding
// what the chroma adds to it rounds the sum.
constexpr int16_t blueFromCb = 29049;   // 1.773
constexpr int16_t greenFromCb = -5636;  // -0.344
constexpr int16_t greenFromCr = -11698; // -0.714
constexpr int16_t redFromCr = 22987;    // 1.403

// Each offset serves two pixels.
[[gnu::always_inline]] inline U8 addToPairs(U16 luma, I16 offsets) {
    return saturatedBytes((I16)(luma & 0xFF) + offsets, (I16)(luma >> 8) + offsets);
}

// Of as many pixels as a vector has bytes.
[[gnu::always_inline]] inline void writePixels(const uint8_t* luma, const ChromaRow& chroma,
                                               int64_t x, uint8_t* out) {
    U16 blue, red; // chroma
    if (chroma.step == 1) {
        blue = loadWidened(chroma.cb + x / 2);
        red = loadWidened(chroma.cr + x / 2);
    } else {
        const U16 pairs = load<U16>(chroma.cb + x);
        blue = pairs & 0xFF;
        red = pairs >> 8;
    }
    const I16 cb = (I16)blue - 128, cr = (I16)red - 128;
    const U16 pairs = load<U16>(luma + x);
    joinThree(out + 3 * x, {{addToPairs(pairs, scaled(cb, blueFromCb)),
                             addToPairs(pairs, scaledSum(cb, greenFromCb, cr, greenFromCr)),
                             addToPairs(pairs, scaled(cr, redFromCr))}});
}

[[gnu::noinline]] void writeNarrowBgr(const uint8_t* luma, const ChromaRow& chroma, int64_t width,
                                      uint8_t* out) {
    const int64_t pairs = (width + 1) / 2;
    const Padded<uint8_t> paddedLuma(luma, width);
    const Padded<uint8_t> cb(chroma.cb, pairs * chroma.step), cr(chroma.cr, pairs);
    uint8_t bytes[3 * vectorBytes];
    writePixels(paddedLuma.elements, {cb.elements, cr.elements, chroma.step}, 0, bytes);
    std::memcpy(out, bytes, static_cast<size_t>(3 * width));
}

void writeBgr(const uint8_t* luma, ChromaRow chroma, int64_t width, uint8_t* out) {
    const int64_t whole = width < vectorBytes ? 0 : width / 2 * 2;
    for (int64_t i = 0; i < whole; i += vectorBytes)
        writePixels(luma, chroma, vectorStart(i, vectorBytes, whole), out);
    if (whole < width) {
        chroma.cb += whole / 2 * chroma.step;
        chroma.cr += whole / 2 * chroma.step;
        writeNarrowBgr(luma + whole, chroma, width - whole, out + 3 * whole);
    }
}

} // namespace

} // namespace kelvane::KELVANE_TARGET
