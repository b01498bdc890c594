#include "image/row_operations.h"

#include "platform/vector_support.h"

#include <algorithm>

namespace kelvane {

void SampleMap::fillTaps(int64_t firstSample, int64_t count, Tap* taps) const {
    int64_t column = firstSample / channels;
    const int64_t firstChannel = firstSample % channels;
    const int64_t endByte = firstByte + channels * channelStep;
    int64_t byte = firstByte + firstChannel * channelStep;
    for (int64_t k = 0; k < count; ++k) {
        const Position position = columns[column];
        const bool hasNext = column < interpolated;
        const uint32_t weight = average ? 64 : hasNext ? position.weight : 0;
        const uint32_t distance = average ? position.weight : hasNext ? 1 : 0;
        const auto first = static_cast<uint32_t>(position.index * pixelBytes + byte);
        taps[k] = Tap(first, first + distance * pixelBytes, weight);
        byte += channelStep;
        if (byte == endByte) {
            byte = firstByte;
            ++column;
        }
    }
}

namespace {

inline void store(RowValue value, RowValue* out) { *out = value; }
inline void store(RowValue value, unsigned char* out) { *out = byteOf(value); }

template <typename Output>
void resampleTaps(const unsigned char* row, int64_t, const void* plan, int64_t count, Output* out) {
    const auto* const taps = static_cast<const Tap*>(plan);
    for (int64_t k = 0; k < count; ++k) {
        const int32_t first = row[taps[k].first()];
        const int32_t second = row[taps[k].second()];
        const auto weight = static_cast<int32_t>(taps[k].weight());
        store(static_cast<RowValue>(weight * (second - first) + 128 * first + 64), &out[k]);
    }
}

// Split as (top + floor(weight * (bottom - top) / 128)) >> 7, which is the same number and stays in
// 16 bits: the product's high half is the floor when the weight is scaled by 2^9. That
// scale allows weights up to 64, and 64 itself only as -2^15; beyond, the rows change places.
void blendRowsPlain(const RowValue* top, const RowValue* bottom, int32_t weight, int64_t count,
                    unsigned char* __restrict out, int64_t) {
    if (weight > 64) {
        std::swap(top, bottom);
        weight = 128 - weight;
    }
    const auto factor = static_cast<int16_t>(-512 * weight);
    for (int64_t k = 0; k < count; ++k) {
        const auto difference = static_cast<int16_t>(top[k] - bottom[k]);
        const auto share = static_cast<int16_t>((difference * factor) >> 16);
        out[k] = byteOf(static_cast<RowValue>(top[k] + share));
    }
}

unsigned char sumAsByte(int luma, int scaledOffset) {
    return static_cast<unsigned char>(std::clamp(luma + ((scaledOffset + 8192) >> 14), 0, 255));
}

} // namespace

RowResampler planRowPlain(const SampleMap& map, int64_t count, int64_t, void* plan) {
    map.fillTaps(0, count, static_cast<Tap*>(plan));
    return {resampleTaps, resampleTaps};
}

void writeBgrPlain(const unsigned char* luma, ChromaRow chroma, int64_t width, unsigned char* out) {
    for (int64_t x = 0; x < width; ++x, out += 3) {
        const int cb = chroma.cb[x / 2 * chroma.step] - 128;
        const int cr = chroma.cr[x / 2 * chroma.step] - 128;
        out[0] = sumAsByte(luma[x], blueFromCb * cb);
        out[1] = sumAsByte(luma[x], greenFromCb * cb + greenFromCr * cr);
        out[2] = sumAsByte(luma[x], redFromCr * cr);
    }
}

RowOperations rowOperations(int64_t count) {
#if defined(__x86_64__)
    if (count >= shortestAvx512Row && hasAvx512())
        return avx512RowOperations();
    if (count >= shortestAvx2Row && hasAvx2())
        return avx2RowOperations();
#elif defined(__aarch64__)
    if (count >= shortestNeonRow)
        return neonRowOperations();
#endif
    return {alignof(RowValue), planRowPlain, blendRowsPlain, nullptr, writeBgrPlain};
}

} // namespace kelvane
