#include "image/row_shuffle.h"

#include "image/byte_shuffle.h"

#include <algorithm>

namespace kelvane {

namespace {

constexpr int64_t windowBytes = 16;
constexpr int64_t windowTaps = ShuffleGroup::size / 2;

#if defined(KELVANE_SHUFFLE_SSSE3)

// Byte pairs for the multiply-add, whose second operand is signed: weights up to 128 are only
// representable when negated.
constexpr int64_t firstByteOf(int64_t tap) { return 2 * tap; }
constexpr int64_t secondByteOf(int64_t tap) { return 2 * tap + 1; }
constexpr uint32_t encodedWeight(uint32_t weight) { return 0u - weight; }
constexpr int64_t windowIndexBase(int64_t) { return 0; }

#else

// All first bytes, then all second ones; one table look-up spans both windows.
constexpr int64_t firstByteOf(int64_t tap) { return tap; }
constexpr int64_t secondByteOf(int64_t tap) { return ShuffleGroup::size + tap; }
constexpr uint32_t encodedWeight(uint32_t weight) { return weight; }
constexpr int64_t windowIndexBase(int64_t window) { return windowBytes * window; }

#endif

unsigned char byteOf(int64_t value) { return static_cast<unsigned char>(value); }

} // namespace

bool shufflePays(int64_t count, int64_t rows) {
    // Below this much work, asking the processor what it can do costs more than it saves.
    constexpr int64_t enoughSamples = 1 << 15;
    return count >= ShuffleGroup::size && rows >= enoughSamples / count && hasByteShuffle();
}

bool makeShuffleGroup(const Tap* taps, int64_t rowBytes, ShuffleGroup* group) {
    for (int64_t window = 0; window < 2; ++window) {
        const int64_t begin = window * windowTaps;
        const int64_t end = begin + windowTaps;
        // The last windows are moved left so that they end with the row.
        int64_t start = rowBytes - windowBytes;
        for (int64_t k = begin; k < end; ++k)
            start = std::min<int64_t>(start, taps[k].first);
        if (start < 0)
            return false;
        group->starts[window] = static_cast<uint32_t>(start);
        for (int64_t k = begin; k < end; ++k) {
            const int64_t first = taps[k].first - start;
            const int64_t second = taps[k].second - start;
            if (second >= windowBytes)
                return false;
            group->bytes[firstByteOf(k)] = byteOf(windowIndexBase(window) + first);
            group->bytes[secondByteOf(k)] = byteOf(windowIndexBase(window) + second);
            group->weights[firstByteOf(k)] = byteOf(encodedWeight(128 - taps[k].weight));
            group->weights[secondByteOf(k)] = byteOf(encodedWeight(taps[k].weight));
        }
    }
    return true;
}

#if defined(KELVANE_SHUFFLE_SSSE3)

KELVANE_TARGET_SHUFFLE void resampleByShuffle(const unsigned char* row, const ShuffleGroup* groups,
                                              int64_t count, int16_t* values) {
    for (int64_t i = 0; i < count; ++i) {
        const ShuffleGroup& group = groups[i];
        const __m128i lower =
            _mm_shuffle_epi8(loadVector(row + group.starts[0]), loadHalfVector(group.bytes));
        const __m128i upper =
            _mm_shuffle_epi8(loadVector(row + group.starts[1]), loadHalfVector(group.bytes + 8));
        const __m128i negated =
            _mm_maddubs_epi16(_mm_unpacklo_epi64(lower, upper), loadVector(group.weights));
        storeVector(values + ShuffleGroup::size * i, _mm_sub_epi16(_mm_setzero_si128(), negated));
    }
}

#elif defined(KELVANE_SHUFFLE_NEON)

void resampleByShuffle(const unsigned char* row, const ShuffleGroup* groups, int64_t count,
                       int16_t* values) {
    for (int64_t i = 0; i < count; ++i) {
        const ShuffleGroup& group = groups[i];
        const uint8x16x2_t windows = {vld1q_u8(row + group.starts[0]),
                                      vld1q_u8(row + group.starts[1])};
        const uint8x16_t samples = vqtbl2q_u8(windows, vld1q_u8(group.bytes));
        const uint8x16_t weights = vld1q_u8(group.weights);
        const uint16x8_t first = vmull_u8(vget_low_u8(samples), vget_low_u8(weights));
        const uint16x8_t sum = vmlal_high_u8(first, samples, weights);
        vst1q_s16(values + ShuffleGroup::size * i, vreinterpretq_s16_u16(sum));
    }
}

#else

void resampleByShuffle(const unsigned char*, const ShuffleGroup*, int64_t, int16_t*) {}

#endif

} // namespace kelvane
