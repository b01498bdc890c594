#include "image/bgr_row.h"

#include "image/byte_shuffle.h"

#include <algorithm>

namespace kelvane {

namespace {

constexpr int64_t vectorPixels = 16;

// BT.601 for full-range luma, scaled by 2^14. The luma is a whole number of that scale, so
// rounding what the chroma adds to it rounds the sum.
constexpr int16_t blueFromCb = 29049;   // 1.773
constexpr int16_t greenFromCb = -5636;  // -0.344
constexpr int16_t greenFromCr = -11698; // -0.714
constexpr int16_t redFromCr = 22987;    // 1.403

unsigned char sumAsByte(int luma, int scaledOffset) {
    return static_cast<unsigned char>(std::clamp(luma + ((scaledOffset + 8192) >> 14), 0, 255));
}

void writePixel(int luma, int cb, int cr, unsigned char* out) {
    out[0] = sumAsByte(luma, blueFromCb * cb);
    out[1] = sumAsByte(luma, greenFromCb * cb + greenFromCr * cr);
    out[2] = sumAsByte(luma, redFromCr * cr);
}

#if defined(KELVANE_SHUFFLE_SSSE3)

// Eight Cb, Cr pairs of bytes.
KELVANE_TARGET_SHUFFLE inline __m128i loadChroma(ChromaRow chroma, int64_t pair) {
    if (chroma.step == 2)
        return loadVector(chroma.cb + 2 * pair);
    return _mm_unpacklo_epi8(loadHalfVector(chroma.cb + pair), loadHalfVector(chroma.cr + pair));
}

KELVANE_TARGET_SHUFFLE inline __m128i roundScaled(__m128i scaled) {
    return _mm_srai_epi32(_mm_add_epi32(scaled, _mm_set1_epi32(8192)), 14);
}

// (factor * chroma + 2^13) >> 14: the instruction shifts by 15, hence the doubled chroma.
KELVANE_TARGET_SHUFFLE inline __m128i scaleChroma(__m128i chroma, int16_t factor) {
    return _mm_mulhrs_epi16(_mm_add_epi16(chroma, chroma), _mm_set1_epi16(factor));
}

KELVANE_TARGET_SHUFFLE inline __m128i scaleBoth(__m128i cb, __m128i cr) {
    const __m128i factors =
        _mm_unpacklo_epi16(_mm_set1_epi16(greenFromCb), _mm_set1_epi16(greenFromCr));
    return _mm_packs_epi32(roundScaled(_mm_madd_epi16(_mm_unpacklo_epi16(cb, cr), factors)),
                           roundScaled(_mm_madd_epi16(_mm_unpackhi_epi16(cb, cr), factors)));
}

struct LumaVector {
    __m128i low, high; // 16 bits for each pixel
};

// Each offset serves two pixels.
KELVANE_TARGET_SHUFFLE inline __m128i addToLuma(LumaVector luma, __m128i offsets) {
    return _mm_packus_epi16(_mm_add_epi16(luma.low, _mm_unpacklo_epi16(offsets, offsets)),
                            _mm_add_epi16(luma.high, _mm_unpackhi_epi16(offsets, offsets)));
}

// Where a channel's samples go in one of the three vectors that hold 16 packed pixels; 128 marks
// the bytes of the other channels.
template <int channel, int part>
struct PackedIndexes {
    alignas(16) unsigned char bytes[16] = {};
    constexpr PackedIndexes() {
        for (int i = 0; i < 16; ++i) {
            const int position = 16 * part + i;
            bytes[i] = static_cast<unsigned char>(position % 3 == channel ? position / 3 : 128);
        }
    }
};

template <int channel, int part>
KELVANE_TARGET_SHUFFLE inline __m128i spread(__m128i samples) {
    static constexpr PackedIndexes<channel, part> indexes;
    return _mm_shuffle_epi8(samples, loadVector(indexes.bytes));
}

template <int part>
KELVANE_TARGET_SHUFFLE inline void storePart(__m128i blue, __m128i green, __m128i red,
                                             unsigned char* out) {
    const __m128i blueGreen = _mm_or_si128(spread<0, part>(blue), spread<1, part>(green));
    storeVector(out + 16 * part, _mm_or_si128(blueGreen, spread<2, part>(red)));
}

KELVANE_TARGET_SHUFFLE void writeVectors(const unsigned char* luma, ChromaRow chroma,
                                         int64_t pixels, unsigned char* out) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i middle = _mm_set1_epi16(128);
    for (int64_t x = 0; x < pixels; x += vectorPixels) {
        const __m128i pairs = loadChroma(chroma, x / 2);
        const __m128i cb = _mm_sub_epi16(_mm_and_si128(pairs, _mm_set1_epi16(255)), middle);
        const __m128i cr = _mm_sub_epi16(_mm_srli_epi16(pairs, 8), middle);
        const __m128i bytes = loadVector(luma + x);
        const LumaVector wide = {_mm_unpacklo_epi8(bytes, zero), _mm_unpackhi_epi8(bytes, zero)};
        const __m128i blue = addToLuma(wide, scaleChroma(cb, blueFromCb));
        const __m128i green = addToLuma(wide, scaleBoth(cb, cr));
        const __m128i red = addToLuma(wide, scaleChroma(cr, redFromCr));
        storePart<0>(blue, green, red, out + 3 * x);
        storePart<1>(blue, green, red, out + 3 * x);
        storePart<2>(blue, green, red, out + 3 * x);
    }
}

#elif defined(KELVANE_SHUFFLE_NEON)

struct ChromaVector {
    int16x8_t cb, cr;
};

inline int16x8_t centred(uint8x8_t chroma) {
    return vreinterpretq_s16_u16(vsubl_u8(chroma, vdup_n_u8(128)));
}

inline ChromaVector loadChroma(ChromaRow chroma, int64_t pair) {
    if (chroma.step == 1)
        return {centred(vld1_u8(chroma.cb + pair)), centred(vld1_u8(chroma.cr + pair))};
    const uint8x8x2_t pairs = vld2_u8(chroma.cb + 2 * pair);
    return {centred(pairs.val[0]), centred(pairs.val[1])};
}

// (factor * chroma + 2^13) >> 14: the instruction shifts by 15, hence the doubled chroma.
inline int16x8_t scaleChroma(int16x8_t chroma, int16_t factor) {
    return vqrdmulhq_n_s16(vaddq_s16(chroma, chroma), factor);
}

inline int16x8_t scaleBoth(ChromaVector chroma) {
    int32x4_t low = vmull_n_s16(vget_low_s16(chroma.cb), greenFromCb);
    int32x4_t high = vmull_high_n_s16(chroma.cb, greenFromCb);
    low = vmlal_n_s16(low, vget_low_s16(chroma.cr), greenFromCr);
    high = vmlal_high_n_s16(high, chroma.cr, greenFromCr);
    return vrshrn_high_n_s32(vrshrn_n_s32(low, 14), high, 14);
}

struct LumaVector {
    int16x8_t low, high;
};

// Each offset serves two pixels.
inline uint8x16_t addToLuma(LumaVector luma, int16x8_t offsets) {
    return vqmovun_high_s16(vqmovun_s16(vaddq_s16(luma.low, vzip1q_s16(offsets, offsets))),
                            vaddq_s16(luma.high, vzip2q_s16(offsets, offsets)));
}

void writeVectors(const unsigned char* luma, ChromaRow chroma, int64_t pixels, unsigned char* out) {
    for (int64_t x = 0; x < pixels; x += vectorPixels) {
        const ChromaVector pairs = loadChroma(chroma, x / 2);
        const uint8x16_t bytes = vld1q_u8(luma + x);
        const LumaVector wide = {vreinterpretq_s16_u16(vmovl_u8(vget_low_u8(bytes))),
                                 vreinterpretq_s16_u16(vmovl_high_u8(bytes))};
        const uint8x16x3_t bgr = {addToLuma(wide, scaleChroma(pairs.cb, blueFromCb)),
                                  addToLuma(wide, scaleBoth(pairs)),
                                  addToLuma(wide, scaleChroma(pairs.cr, redFromCr))};
        vst3q_u8(out + 3 * x, bgr);
    }
}

#else

void writeVectors(const unsigned char*, ChromaRow, int64_t, unsigned char*) {}

#endif

} // namespace

void writeBgrRow(const unsigned char* luma, ChromaRow chroma, int64_t width, bool shuffle,
                 unsigned char* out) {
    const int64_t vectorised = shuffle ? width / vectorPixels * vectorPixels : 0;
    writeVectors(luma, chroma, vectorised, out);
    for (int64_t x = vectorised; x < width; ++x) {
        const int64_t pair = x / 2 * chroma.step;
        writePixel(luma[x], chroma.cb[pair] - 128, chroma.cr[pair] - 128, out + 3 * x);
    }
}

} // namespace kelvane
