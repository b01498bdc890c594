// Compiled for AVX2: to be called only where the processor has it.
#include "image/row_windows.h"

#include <immintrin.h>

namespace kelvane {

namespace {

using Vector = __m256i;
constexpr int64_t vectorBytes = 32;

inline Vector zeroVector() { return _mm256_setzero_si256(); }
inline Vector broadcast16(int16_t value) { return _mm256_set1_epi16(value); }
inline Vector loadVector(const void* bytes) {
    return _mm256_loadu_si256(static_cast<const Vector*>(bytes));
}
inline void storeVector(void* bytes, Vector vector) {
    _mm256_storeu_si256(static_cast<Vector*>(bytes), vector);
}
inline __m128i loadLane(const void* bytes) {
    return _mm_loadu_si128(static_cast<const __m128i*>(bytes));
}
inline Vector loadBytesAs16(const void* bytes) { return _mm256_cvtepu8_epi16(loadLane(bytes)); }
inline Vector lowBytes(Vector pairs) { return _mm256_and_si256(pairs, broadcast16(255)); }
inline Vector highBytes(Vector pairs) { return _mm256_srli_epi16(pairs, 8); }
inline Vector add16(Vector a, Vector b) { return _mm256_add_epi16(a, b); }
inline Vector subtract16(Vector a, Vector b) { return _mm256_sub_epi16(a, b); }
inline Vector multiplyHigh(Vector a, Vector b) { return _mm256_mulhi_epi16(a, b); }
inline Vector multiplyHighRounded(Vector a, Vector b) { return _mm256_mulhrs_epi16(a, b); }
inline Vector multiplyAdd16(Vector a, Vector b) { return _mm256_madd_epi16(a, b); }
inline Vector unpackLow8(Vector a, Vector b) { return _mm256_unpacklo_epi8(a, b); }
inline Vector unpackHigh8(Vector a, Vector b) { return _mm256_unpackhi_epi8(a, b); }
inline Vector unpackLow16(Vector a, Vector b) { return _mm256_unpacklo_epi16(a, b); }
inline Vector unpackHigh16(Vector a, Vector b) { return _mm256_unpackhi_epi16(a, b); }
inline Vector packUnsigned8(Vector low, Vector high) { return _mm256_packus_epi16(low, high); }
inline Vector average8(Vector a, Vector b) { return _mm256_avg_epu8(a, b); }
inline Vector subtract8(Vector a, Vector b) { return _mm256_sub_epi8(a, b); }
inline Vector bitOr(Vector a, Vector b) { return _mm256_or_si256(a, b); }
inline Vector bitXor(Vector a, Vector b) { return _mm256_xor_si256(a, b); }
inline Vector bitAnd(Vector a, Vector b) { return _mm256_and_si256(a, b); }
inline Vector broadcast8(char value) { return _mm256_set1_epi8(value); }
inline Vector halvesToLanes(Vector a) { return _mm256_permute4x64_epi64(a, 0xD8); }

inline Vector packHighBytes(Vector first, Vector second) {
    const Vector lanes = packUnsigned8(highBytes(first), highBytes(second));
    return _mm256_permute4x64_epi64(lanes, 0xD8);
}

inline Vector roundShift14(Vector scaled) {
    return _mm256_srai_epi32(_mm256_add_epi32(scaled, _mm256_set1_epi32(8192)), 14);
}

inline Vector packRounded14(Vector low, Vector high) {
    return _mm256_packs_epi32(roundShift14(low), roundShift14(high));
}

// Byte 16 * part + i of a lane's 48 packed bytes belongs to a channel and a pixel. The channel's
// samples are first moved to where they go in one part or another; three is odd, so that no two of
// them go to the same place.
struct PackedIndexes {
    alignas(16) unsigned char places[3][16] = {};
    alignas(16) unsigned char isChannel[3][16] = {}; // in part 0
    consteval PackedIndexes() {
        for (unsigned i = 0; i < 48; ++i) {
            places[i % 3][i % 16] = static_cast<unsigned char>(i / 3);
            if (i < 16)
                isChannel[i % 3][i] = 255;
        }
    }
};
constexpr PackedIndexes packedIndexes;

inline Vector bothLanes(const void* lane) { return _mm256_broadcastsi128_si256(loadLane(lane)); }

// The channels' turns move on by one from part to part.
template <int part>
inline Vector packPart(const Vector (&channels)[3]) {
    const Vector firstTwo = _mm256_blendv_epi8(channels[(0 + part) % 3], channels[(1 + part) % 3],
                                               bothLanes(packedIndexes.isChannel[1]));
    return _mm256_blendv_epi8(firstTwo, channels[(2 + part) % 3],
                              bothLanes(packedIndexes.isChannel[2]));
}

inline void storePixels(Vector blue, Vector green, Vector red, unsigned char* out) {
    const Vector channels[3] = {
        _mm256_shuffle_epi8(blue, bothLanes(packedIndexes.places[0])),
        _mm256_shuffle_epi8(green, bothLanes(packedIndexes.places[1])),
        _mm256_shuffle_epi8(red, bothLanes(packedIndexes.places[2])),
    };
    const Vector parts[3] = {packPart<0>(channels), packPart<1>(channels), packPart<2>(channels)};
    storeVector(out, _mm256_permute2x128_si256(parts[0], parts[1], 0x20));
    storeVector(out + 32, _mm256_permute2x128_si256(parts[2], parts[0], 0x30));
    storeVector(out + 64, _mm256_permute2x128_si256(parts[1], parts[2], 0x31));
}

} // namespace

} // namespace kelvane

#include "image/row_operations_kernel.h"

namespace kelvane {

namespace {

// Sixteen taps, eight from the windows of either lane, as pairs of bytes.
struct ShuffleGroup {
    static constexpr int64_t size = 16;
    unsigned char bytes[32];
    unsigned char weights[32]; // negated
    uint32_t starts[2][4];
};

static_assert(shortestAvx2Row >= 2 * ShuffleGroup::size &&
              3 * sizeof(ShuffleGroup) + 2 * vectorBytes <=
                  (2 * ShuffleGroup::size + 1) * planBytesPerSample);

bool makeGroup(const Tap* taps, int64_t windows, int64_t rowBytes, ShuffleGroup* group) {
    for (int64_t lane = 0; lane < 2; ++lane) {
        const Tap* const laneTaps = taps + windowedTaps * lane;
        const auto place = [&](int64_t k, int64_t, int64_t first, int64_t second) {
            const int64_t pair = windowBytes * lane + 2 * k;
            group->bytes[pair] = static_cast<unsigned char>(first);
            group->bytes[pair + 1] = static_cast<unsigned char>(second);
            group->weights[pair] = static_cast<unsigned char>(int64_t{laneTaps[k].weight()} - 128);
            group->weights[pair + 1] = static_cast<unsigned char>(-int64_t{laneTaps[k].weight()});
        };
        if (!fitWindows(laneTaps, windows, rowBytes, group->starts[lane], place))
            return false;
    }
    return true;
}

bool makeGroups(const SampleMap& map, int64_t windows, int64_t count, int64_t rowBytes,
                ShuffleGroup* group) {
    for (int64_t i = 0; i < count; i += ShuffleGroup::size, ++group) {
        Tap taps[ShuffleGroup::size];
        map.fillTaps(vectorStart(i, ShuffleGroup::size, count), ShuffleGroup::size, taps);
        if (!makeGroup(taps, windows, rowBytes, group))
            return false;
    }
    return true;
}

inline Vector shuffleWindow(const unsigned char* row, const ShuffleGroup& group, int window) {
    const Vector lanes =
        _mm256_inserti128_si256(_mm256_castsi128_si256(loadLane(row + group.starts[0][window])),
                                loadLane(row + group.starts[1][window]), 1);
    return _mm256_shuffle_epi8(lanes, loadVector(group.bytes));
}

template <int windows>
inline Vector gather(const unsigned char* row, const ShuffleGroup& group) {
    const Vector first = shuffleWindow(row, group, 0);
    if constexpr (windows == 1) {
        return first;
    } else if constexpr (windows == 2) {
        return _mm256_blend_epi32(first, shuffleWindow(row, group, 1), 0xCC);
    } else {
        const Vector lower = _mm256_blend_epi32(first, shuffleWindow(row, group, 1), 0x22);
        const Vector upper =
            _mm256_blend_epi32(shuffleWindow(row, group, 2), shuffleWindow(row, group, 3), 0x88);
        return _mm256_blend_epi32(lower, upper, 0xCC);
    }
}

inline void storeSamples(Vector values, RowValue* out) { storeVector(out, values); }
inline void storeSamples(Vector values, unsigned char* out) {
    const Vector shifted = _mm256_srli_epi16(values, 7);
    const Vector bytes = _mm256_permute4x64_epi64(packUnsigned8(shifted, shifted), 0x08);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm256_castsi256_si128(bytes));
}

template <int windows, typename Output>
void resampleGroups(const unsigned char* row, int64_t ahead, const void* plan, int64_t count,
                    Output* out) {
    const auto* group = static_cast<const ShuffleGroup*>(plan);
    for (int64_t i = 0; i < count; i += ShuffleGroup::size, ++group) {
        for (int lane = 0; lane < (windows == 1 ? 1 : 2); ++lane)
            prefetchSource<Output>(row + group->starts[lane][0], ahead);
        const Vector negated =
            _mm256_maddubs_epi16(gather<windows>(row, *group), loadVector(group->weights));
        storeSamples(subtract16(broadcast16(64), negated),
                     out + vectorStart(i, ShuffleGroup::size, count));
    }
}

template <int windows>
constexpr RowResampler resampler = {resampleGroups<windows>, resampleGroups<windows>};

RowResampler planRow(const SampleMap& map, int64_t count, int64_t rowBytes, void* plan) {
    static constexpr RowResampler resamplers[] = {resampler<1>, resampler<2>, resampler<4>};
    int64_t windows = 1;
    for (const RowResampler& candidate : resamplers) {
        if (makeGroups(map, windows, count, rowBytes, static_cast<ShuffleGroup*>(plan)))
            return candidate;
        windows *= 2;
    }
    return planRowPlain(map, count, rowBytes, plan);
}

} // namespace

RowOperations avx2RowOperations() {
    return {vectorBytes, planRow, blendRows, doubleRows, writeBgr};
}

} // namespace kelvane
