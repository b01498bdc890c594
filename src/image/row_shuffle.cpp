#include "image/row_shuffle.h"

#include "image/byte_shuffle.h"

#include <algorithm>

namespace kelvane {

namespace {

constexpr int64_t windowBytes = 16;

#if defined(KELVANE_SHUFFLE_SSSE3)

// Byte pairs for the multiply-add, whose second operand is signed: weights up to 128 are only
// representable when negated.
constexpr int64_t firstByteOf(int64_t tap) { return 2 * tap; }
constexpr int64_t secondByteOf(int64_t tap) { return 2 * tap + 1; }
constexpr uint32_t encodedWeight(uint32_t weight) { return 0u - weight; }
constexpr int64_t windowIndexBase(int64_t) { return 0; }

#else

// All first bytes, then all second ones; one table look-up spans all windows.
constexpr int64_t firstByteOf(int64_t tap) { return tap; }
constexpr int64_t secondByteOf(int64_t tap) { return ShuffleGroup::size + tap; }
constexpr uint32_t encodedWeight(uint32_t weight) { return weight; }
constexpr int64_t windowIndexBase(int64_t window) { return windowBytes * window; }

#endif

unsigned char byteOf(int64_t value) { return static_cast<unsigned char>(value); }

} // namespace

bool makeShuffleGroup(const Tap* taps, int64_t rowBytes, int64_t windows, ShuffleGroup* group) {
    const int64_t windowTaps = ShuffleGroup::size / windows;
    for (int64_t window = 0; window < windows; ++window) {
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

namespace {

#if defined(KELVANE_SHUFFLE_SSSE3)

KELVANE_TARGET_SHUFFLE inline __m128i
shuffleWindow(const unsigned char* row, const ShuffleGroup& group, int window, __m128i bytes) {
    return _mm_shuffle_epi8(loadVector(row + group.starts[window]), bytes);
}

template <int windows>
KELVANE_TARGET_SHUFFLE __m128i gather(const unsigned char* row, const ShuffleGroup& group);

template <>
KELVANE_TARGET_SHUFFLE inline __m128i gather<1>(const unsigned char* row,
                                                const ShuffleGroup& group) {
    return shuffleWindow(row, group, 0, loadVector(group.bytes));
}

template <>
KELVANE_TARGET_SHUFFLE inline __m128i gather<2>(const unsigned char* row,
                                                const ShuffleGroup& group) {
    return _mm_unpacklo_epi64(shuffleWindow(row, group, 0, loadHalfVector(group.bytes)),
                              shuffleWindow(row, group, 1, loadHalfVector(group.bytes + 8)));
}

template <>
KELVANE_TARGET_SHUFFLE inline __m128i gather<4>(const unsigned char* row,
                                                const ShuffleGroup& group) {
    const __m128i bytes = loadVector(group.bytes);
    const __m128i lower =
        _mm_unpacklo_epi32(shuffleWindow(row, group, 0, bytes),
                           shuffleWindow(row, group, 1, _mm_srli_si128(bytes, 4)));
    const __m128i upper =
        _mm_unpacklo_epi32(shuffleWindow(row, group, 2, _mm_srli_si128(bytes, 8)),
                           shuffleWindow(row, group, 3, _mm_srli_si128(bytes, 12)));
    return _mm_unpacklo_epi64(lower, upper);
}

template <int windows>
KELVANE_TARGET_SHUFFLE void resampleGroups(const unsigned char* row, const ShuffleGroup* groups,
                                           int64_t count, int16_t* values) {
    for (int64_t i = 0; i < count; ++i) {
        const __m128i negated =
            _mm_maddubs_epi16(gather<windows>(row, groups[i]), loadVector(groups[i].weights));
        storeVector(values + ShuffleGroup::size * i, _mm_sub_epi16(_mm_setzero_si128(), negated));
    }
}

#elif defined(KELVANE_SHUFFLE_NEON)

template <int windows>
uint8x16_t gather(const unsigned char* row, const ShuffleGroup& group);

template <>
inline uint8x16_t gather<1>(const unsigned char* row, const ShuffleGroup& group) {
    return vqtbl1q_u8(vld1q_u8(row + group.starts[0]), vld1q_u8(group.bytes));
}

template <>
inline uint8x16_t gather<2>(const unsigned char* row, const ShuffleGroup& group) {
    const uint8x16x2_t table = {vld1q_u8(row + group.starts[0]), vld1q_u8(row + group.starts[1])};
    return vqtbl2q_u8(table, vld1q_u8(group.bytes));
}

template <>
inline uint8x16_t gather<4>(const unsigned char* row, const ShuffleGroup& group) {
    const uint8x16x4_t table = {vld1q_u8(row + group.starts[0]), vld1q_u8(row + group.starts[1]),
                                vld1q_u8(row + group.starts[2]), vld1q_u8(row + group.starts[3])};
    return vqtbl4q_u8(table, vld1q_u8(group.bytes));
}

template <int windows>
void resampleGroups(const unsigned char* row, const ShuffleGroup* groups, int64_t count,
                    int16_t* values) {
    for (int64_t i = 0; i < count; ++i) {
        const uint8x16_t samples = gather<windows>(row, groups[i]);
        const uint8x16_t weights = vld1q_u8(groups[i].weights);
        const uint16x8_t first = vmull_u8(vget_low_u8(samples), vget_low_u8(weights));
        const uint16x8_t sum = vmlal_high_u8(first, samples, weights);
        vst1q_s16(values + ShuffleGroup::size * i, vreinterpretq_s16_u16(sum));
    }
}

#else

template <int windows>
void resampleGroups(const unsigned char*, const ShuffleGroup*, int64_t, int16_t*) {}

#endif

} // namespace

void resampleByShuffle(const unsigned char* row, const ShuffleGroup* groups, int64_t count,
                       int64_t windows, int16_t* values) {
    const auto resample = windows == 1   ? resampleGroups<1>
                          : windows == 2 ? resampleGroups<2>
                                         : resampleGroups<4>;
    resample(row, groups, count, values);
}

} // namespace kelvane
