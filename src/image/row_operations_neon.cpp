#include "image/row_windows.h"

#include <arm_neon.h>

namespace kelvane {

namespace {

constexpr int64_t vectorPixels = 16;

// Eight taps: all first bytes, then all second ones; one table look-up spans all windows.
struct TableGroup {
    uint32_t starts[4];
    unsigned char bytes[16];
    unsigned char weights[16];
};

static_assert(shortestNeonRow >= vectorPixels &&
              3 * sizeof(TableGroup) + 32 <= (2 * windowedTaps + 1) * planBytesPerSample);

// Where `size` elements start that shall be processed from `position`: the last ones of a row
// include some elements again, so that they end with the row.
inline int64_t vectorStart(int64_t position, int64_t size, int64_t count) {
    return std::min(position, count - size);
}

bool makeGroups(const SampleMap& map, int64_t windows, int64_t count, int64_t rowBytes,
                TableGroup* group) {
    for (int64_t i = 0; i < count; i += windowedTaps, ++group) {
        Tap taps[windowedTaps];
        map.fillTaps(vectorStart(i, windowedTaps, count), windowedTaps, taps);
        const auto place = [&](int64_t k, int64_t window, int64_t first, int64_t second) {
            const int64_t base = windowBytes * window;
            group->bytes[k] = static_cast<unsigned char>(base + first);
            group->bytes[k + windowedTaps] = static_cast<unsigned char>(base + second);
            group->weights[k] = static_cast<unsigned char>(128 - taps[k].weight());
            group->weights[k + windowedTaps] = static_cast<unsigned char>(taps[k].weight());
        };
        if (!fitWindows(taps, windows, rowBytes, group->starts, place))
            return false;
    }
    return true;
}

template <int windows>
inline uint8x16_t gather(const unsigned char* row, const TableGroup& group) {
    const uint8x16_t indexes = vld1q_u8(group.bytes);
    const auto window = [&](int i) { return vld1q_u8(row + group.starts[i]); };
    if constexpr (windows == 1)
        return vqtbl1q_u8(window(0), indexes);
    else if constexpr (windows == 2)
        return vqtbl2q_u8({window(0), window(1)}, indexes);
    else
        return vqtbl4q_u8({window(0), window(1), window(2), window(3)}, indexes);
}

inline void storeSamples(uint16x8_t values, RowValue* out) {
    vst1q_s16(out, vreinterpretq_s16_u16(values));
}
inline void storeSamples(uint16x8_t values, unsigned char* out) {
    vst1_u8(out, vshrn_n_u16(values, 7));
}

template <int windows, typename Output>
void resampleGroups(const unsigned char* row, int64_t ahead, const void* plan, int64_t count,
                    Output* out) {
    const auto* group = static_cast<const TableGroup*>(plan);
    for (int64_t i = 0; i < count; i += windowedTaps, ++group) {
        if constexpr (leavesGaps<Output>)
            __builtin_prefetch(row + ahead + group->starts[0]);
        const uint8x16_t samples = gather<windows>(row, *group);
        const uint8x16_t weights = vld1q_u8(group->weights);
        uint16x8_t sum = vdupq_n_u16(64);
        sum = vmlal_u8(sum, vget_low_u8(samples), vget_low_u8(weights));
        sum = vmlal_high_u8(sum, samples, weights);
        storeSamples(sum, out + vectorStart(i, windowedTaps, count));
    }
}

template <int windows>
constexpr RowResampler resampler = {resampleGroups<windows>, resampleGroups<windows>};

RowResampler planRow(const SampleMap& map, int64_t count, int64_t rowBytes, void* plan) {
    static constexpr RowResampler resamplers[] = {resampler<1>, resampler<2>, resampler<4>};
    int64_t windows = 1;
    for (const RowResampler& candidate : resamplers) {
        if (makeGroups(map, windows, count, rowBytes, static_cast<TableGroup*>(plan)))
            return candidate;
        windows *= 2;
    }
    return planRowPlain(map, count, rowBytes, plan);
}

// As the plain operation; the instruction doubles the product, so that any weight serves.
inline uint8x8_t blendValues(const RowValue* top, const RowValue* bottom, int16x8_t factor) {
    const int16x8_t upper = vld1q_s16(top);
    const int16x8_t share = vqdmulhq_s16(vsubq_s16(upper, vld1q_s16(bottom)), factor);
    return vshrn_n_u16(vreinterpretq_u16_s16(vaddq_s16(upper, share)), 7);
}

void blendRows(const RowValue* top, const RowValue* bottom, int32_t weight, int64_t count,
               unsigned char* out, int64_t) {
    const int16x8_t factor = vdupq_n_s16(static_cast<int16_t>(-256 * weight));
    for (int64_t i = 0; i < count; i += 16) {
        const int64_t k = vectorStart(i, 16, count);
        vst1q_u8(out + k, vcombine_u8(blendValues(top + k, bottom + k, factor),
                                      blendValues(top + k + 8, bottom + k + 8, factor)));
    }
}

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

void writeBgr(const unsigned char* luma, ChromaRow chroma, int64_t width, unsigned char* out) {
    const int64_t even = width / 2 * 2;
    for (int64_t i = 0; i < even; i += vectorPixels) {
        const int64_t x = vectorStart(i, vectorPixels, even);
        const ChromaVector pairs = loadChroma(chroma, x / 2);
        const uint8x16_t bytes = vld1q_u8(luma + x);
        const LumaVector wide = {vreinterpretq_s16_u16(vmovl_u8(vget_low_u8(bytes))),
                                 vreinterpretq_s16_u16(vmovl_high_u8(bytes))};
        const uint8x16x3_t bgr = {addToLuma(wide, scaleChroma(pairs.cb, blueFromCb)),
                                  addToLuma(wide, scaleBoth(pairs)),
                                  addToLuma(wide, scaleChroma(pairs.cr, redFromCr))};
        vst3q_u8(out + 3 * x, bgr);
    }
    const int64_t last = even / 2 * chroma.step;
    writeBgrPlain(luma + even, {chroma.cb + last, chroma.cr + last, chroma.step}, width - even,
                  out + 3 * even);
}

} // namespace

RowOperations neonRowOperations() { return {16, planRow, blendRows, nullptr, writeBgr}; }

} // namespace kelvane
