#include "image/bgr_row.h"

#include "image/byte_shuffle.h"

#include <algorithm>

namespace kelvane {

namespace {

constexpr int64_t vectorPixels = 16;

// BT.601 for full-range luma, scaled by 2^14: 1.773, 0.344, 0.714 and 1.403. The luma is a whole
// number of that scale, so rounding the chroma's part alone rounds the sum.
template <int64_t step>
void computeOffsets(const unsigned char* cb, const unsigned char* cr, int64_t pairs,
                    int16_t* __restrict blue, int16_t* __restrict green, int16_t* __restrict red) {
    for (int64_t k = 0; k < pairs; ++k) {
        const int32_t b = cb[step * k] - 128;
        const int32_t r = cr[step * k] - 128;
        blue[k] = static_cast<int16_t>((29049 * b + 8192) >> 14);
        green[k] = static_cast<int16_t>((-5636 * b - 11698 * r + 8192) >> 14);
        red[k] = static_cast<int16_t>((22987 * r + 8192) >> 14);
    }
}

unsigned char clampToByte(int value) {
    return static_cast<unsigned char>(std::clamp(value, 0, 255));
}

#if defined(KELVANE_SHUFFLE_SSSE3)

KELVANE_TARGET_SHUFFLE inline __m128i addToLuma(__m128i lumaLow, __m128i lumaHigh,
                                                const int16_t* offsets) {
    const __m128i pairs = loadVector(offsets);
    return _mm_packus_epi16(_mm_add_epi16(lumaLow, _mm_unpacklo_epi16(pairs, pairs)),
                            _mm_add_epi16(lumaHigh, _mm_unpackhi_epi16(pairs, pairs)));
}

// Byte 16 * part + i of the packed row takes channel (16 * part + i) % 3.
template <int channel, int part>
KELVANE_TARGET_SHUFFLE inline __m128i spread(__m128i samples) {
    struct Indexes {
        alignas(16) unsigned char bytes[16];
        constexpr Indexes() : bytes() {
            for (int i = 0; i < 16; ++i) {
                const int position = 16 * part + i;
                bytes[i] = static_cast<unsigned char>(position % 3 == channel ? position / 3 : 128);
            }
        }
    };
    static constexpr Indexes indexes;
    return _mm_shuffle_epi8(samples, loadVector(indexes.bytes));
}

template <int part>
KELVANE_TARGET_SHUFFLE inline void storePart(__m128i blue, __m128i green, __m128i red,
                                             unsigned char* out) {
    storeVector(out + 16 * part,
                _mm_or_si128(_mm_or_si128(spread<0, part>(blue), spread<1, part>(green)),
                             spread<2, part>(red)));
}

KELVANE_TARGET_SHUFFLE void writeVectors(const unsigned char* luma, ColourOffsets offsets,
                                         int64_t pixels, unsigned char* out) {
    for (int64_t x = 0; x < pixels; x += vectorPixels) {
        const __m128i bytes = loadVector(luma + x);
        const __m128i low = _mm_unpacklo_epi8(bytes, _mm_setzero_si128());
        const __m128i high = _mm_unpackhi_epi8(bytes, _mm_setzero_si128());
        const __m128i blue = addToLuma(low, high, offsets.blue + x / 2);
        const __m128i green = addToLuma(low, high, offsets.green + x / 2);
        const __m128i red = addToLuma(low, high, offsets.red + x / 2);
        storePart<0>(blue, green, red, out + 3 * x);
        storePart<1>(blue, green, red, out + 3 * x);
        storePart<2>(blue, green, red, out + 3 * x);
    }
}

#elif defined(KELVANE_SHUFFLE_NEON)

inline uint8x16_t addToLuma(int16x8_t lumaLow, int16x8_t lumaHigh, const int16_t* offsets) {
    const int16x8_t pairs = vld1q_s16(offsets);
    return vqmovun_high_s16(vqmovun_s16(vaddq_s16(lumaLow, vzip1q_s16(pairs, pairs))),
                            vaddq_s16(lumaHigh, vzip2q_s16(pairs, pairs)));
}

void writeVectors(const unsigned char* luma, ColourOffsets offsets, int64_t pixels,
                  unsigned char* out) {
    for (int64_t x = 0; x < pixels; x += vectorPixels) {
        const uint8x16_t bytes = vld1q_u8(luma + x);
        const int16x8_t low = vreinterpretq_s16_u16(vmovl_u8(vget_low_u8(bytes)));
        const int16x8_t high = vreinterpretq_s16_u16(vmovl_high_u8(bytes));
        const uint8x16x3_t bgr = {addToLuma(low, high, offsets.blue + x / 2),
                                  addToLuma(low, high, offsets.green + x / 2),
                                  addToLuma(low, high, offsets.red + x / 2)};
        vst3q_u8(out + 3 * x, bgr);
    }
}

#else

void writeVectors(const unsigned char*, ColourOffsets, int64_t, unsigned char*) {}

#endif

} // namespace

void writeBgrRow(const unsigned char* luma, ChromaRow chroma, int64_t width, ColourOffsets scratch,
                 bool shuffle, unsigned char* out) {
    const auto compute = chroma.step == 1 ? computeOffsets<1> : computeOffsets<2>;
    compute(chroma.cb, chroma.cr, (width + 1) / 2, scratch.blue, scratch.green, scratch.red);
    const int64_t vectorised = shuffle ? width / vectorPixels * vectorPixels : 0;
    writeVectors(luma, scratch, vectorised, out);
    for (int64_t x = vectorised; x < width; ++x) {
        out[3 * x] = clampToByte(luma[x] + scratch.blue[x / 2]);
        out[3 * x + 1] = clampToByte(luma[x] + scratch.green[x / 2]);
        out[3 * x + 2] = clampToByte(luma[x] + scratch.red[x / 2]);
    }
}

} // namespace kelvane
