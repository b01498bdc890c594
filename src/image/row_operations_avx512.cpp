// Compiled for AVX-512 with byte permutations: to be called only where the processor has them.
#include "image/row_operations.h"

#include <immintrin.h>

namespace kelvane {

namespace {

using Vector = __m512i;
constexpr int64_t vectorBytes = 64;

inline Vector zeroVector() { return _mm512_setzero_si512(); }
inline Vector broadcast16(int16_t value) { return _mm512_set1_epi16(value); }
inline Vector loadVector(const void* bytes) { return _mm512_loadu_si512(bytes); }
inline void storeVector(void* bytes, Vector vector) { _mm512_storeu_si512(bytes, vector); }
inline Vector loadBytesAs16(const void* bytes) {
    return _mm512_cvtepu8_epi16(_mm256_loadu_si256(static_cast<const __m256i*>(bytes)));
}
inline Vector lowBytes(Vector pairs) { return _mm512_and_si512(pairs, broadcast16(255)); }
inline Vector highBytes(Vector pairs) { return _mm512_srli_epi16(pairs, 8); }
inline Vector add16(Vector a, Vector b) { return _mm512_add_epi16(a, b); }
inline Vector subtract16(Vector a, Vector b) { return _mm512_sub_epi16(a, b); }
inline Vector multiplyHigh(Vector a, Vector b) { return _mm512_mulhi_epi16(a, b); }
inline Vector multiplyHighRounded(Vector a, Vector b) { return _mm512_mulhrs_epi16(a, b); }
inline Vector multiplyAdd16(Vector a, Vector b) { return _mm512_madd_epi16(a, b); }
inline Vector unpackLow8(Vector a, Vector b) { return _mm512_unpacklo_epi8(a, b); }
inline Vector unpackHigh8(Vector a, Vector b) { return _mm512_unpackhi_epi8(a, b); }
inline Vector unpackLow16(Vector a, Vector b) { return _mm512_unpacklo_epi16(a, b); }
inline Vector unpackHigh16(Vector a, Vector b) { return _mm512_unpackhi_epi16(a, b); }
inline Vector packUnsigned8(Vector low, Vector high) { return _mm512_packus_epi16(low, high); }
inline Vector average8(Vector a, Vector b) { return _mm512_avg_epu8(a, b); }
inline Vector subtract8(Vector a, Vector b) { return _mm512_sub_epi8(a, b); }
inline Vector bitOr(Vector a, Vector b) { return _mm512_or_si512(a, b); }
inline Vector bitXor(Vector a, Vector b) { return _mm512_xor_si512(a, b); }
inline Vector bitAnd(Vector a, Vector b) { return _mm512_and_si512(a, b); }
inline Vector broadcast8(char value) { return _mm512_set1_epi8(value); }
inline Vector halvesToLanes(Vector a) {
    return _mm512_permutexvar_epi64(_mm512_setr_epi64(0, 4, 1, 5, 2, 6, 3, 7), a);
}

struct OddBytes {
    alignas(64) unsigned char indexes[64] = {};
    consteval OddBytes() {
        for (unsigned i = 0; i < 64; ++i)
            indexes[i] = static_cast<unsigned char>(2 * i + 1);
    }
};
constexpr OddBytes oddBytes;

inline Vector packHighBytes(Vector first, Vector second) {
    return _mm512_permutex2var_epi8(first, loadVector(oddBytes.indexes), second);
}

inline Vector roundShift14(Vector scaled) {
    return _mm512_srai_epi32(_mm512_add_epi32(scaled, _mm512_set1_epi32(8192)), 14);
}

inline Vector packRounded14(Vector low, Vector high) {
    return _mm512_packs_epi32(roundShift14(low), roundShift14(high));
}

// Byte 64 * part + i of 192 packed bytes belongs to a channel and a pixel; 64 leads to the second
// one of two permuted vectors.
struct PackedIndexes {
    alignas(64) unsigned char indexes[3][64] = {};
    __mmask64 isRed[3] = {};
    consteval PackedIndexes() {
        for (unsigned i = 0; i < 192; ++i) {
            const bool isGreen = i % 3 == 1;
            indexes[i / 64][i % 64] = static_cast<unsigned char>(i / 3 + (isGreen ? 64 : 0));
            isRed[i / 64] |= static_cast<__mmask64>(i % 3 == 2) << i % 64;
        }
    }
};
constexpr PackedIndexes packedIndexes;

template <int part>
inline void storePart(Vector blue, Vector green, Vector red, unsigned char* out) {
    const Vector indexes = loadVector(packedIndexes.indexes[part]);
    const Vector blueGreen = _mm512_permutex2var_epi8(blue, indexes, green);
    storeVector(out + vectorBytes * part,
                _mm512_mask_permutexvar_epi8(blueGreen, packedIndexes.isRed[part], indexes, red));
}

inline void storePixels(Vector blue, Vector green, Vector red, unsigned char* out) {
    storePart<0>(blue, green, red, out);
    storePart<1>(blue, green, red, out);
    storePart<2>(blue, green, red, out);
}

} // namespace

} // namespace kelvane

#include "image/row_operations_kernel.h"

namespace kelvane {

namespace {

inline uint16_t pairOf(uint32_t first, uint32_t second) {
    return static_cast<uint16_t>((first & 255) | second << 8);
}

// 32 taps from a few adjacent vectors of the row, as pairs of bytes.
struct PermutedGroup {
    static constexpr int64_t size = 32;
    uint16_t bytes[size];
    uint16_t weights[size]; // negated
};

// The groups' starts in the row, and behind them the groups on a vector's boundary.
struct Plan {
    Plan(void* memory, int64_t count)
        : groupCount((count + PermutedGroup::size - 1) / PermutedGroup::size),
          starts(static_cast<uint32_t*>(memory)) {
        const auto end = reinterpret_cast<uintptr_t>(starts + groupCount);
        groups = reinterpret_cast<PermutedGroup*>((end + 63) / 64 * 64);
    }
    int64_t groupCount;
    uint32_t* starts;
    PermutedGroup* groups;
};

static_assert(shortestAvx512Row >= 2 * PermutedGroup::size &&
              3 * (4 + sizeof(PermutedGroup)) + 3 * vectorBytes <=
                  (2 * PermutedGroup::size + 1) * planBytesPerSample);

bool makeGroup(const Tap* taps, uint32_t spanned, uint32_t rowBytes, uint32_t* start,
               PermutedGroup* group) {
    if (rowBytes < spanned)
        return false;
    uint32_t first = rowBytes - spanned; // the last groups' bytes end with the row
    uint32_t last = 0;
    for (int64_t k = 0; k < PermutedGroup::size; ++k) {
        first = std::min(first, taps[k].first());
        last = std::max(last, taps[k].second());
    }
    for (int64_t k = 0; k < PermutedGroup::size; ++k) {
        group->bytes[k] = pairOf(taps[k].first() - first, taps[k].second() - first);
        group->weights[k] = pairOf(128 + taps[k].weight(), 256 - taps[k].weight());
    }
    *start = first;
    return last - first < spanned;
}

bool makeGroups(const SampleMap& map, int64_t vectors, int64_t count, int64_t rowBytes,
                const Plan& plan) {
    for (int64_t i = 0; i < plan.groupCount; ++i) {
        Tap taps[PermutedGroup::size];
        map.fillTaps(vectorStart(PermutedGroup::size * i, PermutedGroup::size, count),
                     PermutedGroup::size, taps);
        if (!makeGroup(taps, static_cast<uint32_t>(vectorBytes * vectors),
                       static_cast<uint32_t>(rowBytes), &plan.starts[i], &plan.groups[i]))
            return false;
    }
    return true;
}

inline Vector gatherOfTwo(const unsigned char* bytes, Vector indexes) {
    return _mm512_permutex2var_epi8(loadVector(bytes), indexes, loadVector(bytes + vectorBytes));
}

template <int vectors>
inline Vector gather(const unsigned char* bytes, Vector indexes) {
    if constexpr (vectors == 1)
        return _mm512_permutexvar_epi8(indexes, loadVector(bytes));
    else if constexpr (vectors == 2)
        return gatherOfTwo(bytes, indexes);
    else
        return _mm512_mask_mov_epi8(gatherOfTwo(bytes, indexes), _mm512_movepi8_mask(indexes),
                                    gatherOfTwo(bytes + 2 * vectorBytes, indexes));
}

inline void storeSamples(Vector values, RowValue* out) { storeVector(out, values); }
inline void storeSamples(Vector values, unsigned char* out) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out),
                        _mm512_cvtepi16_epi8(_mm512_srli_epi16(values, 7)));
}

template <int vectors, typename Output>
inline void resampleGroup(const unsigned char* start, const PermutedGroup& group, Output* out) {
    const Vector bytes = gather<vectors>(start, loadVector(group.bytes));
    const Vector negated = _mm512_maddubs_epi16(bytes, loadVector(group.weights));
    storeSamples(subtract16(broadcast16(64), negated), out);
}

template <int vectors, typename Output>
void resampleGroups(const unsigned char* row, int64_t ahead, const void* memory, int64_t count,
                    Output* out) {
    const Plan plan(const_cast<void*>(memory), count);
    const int64_t last = plan.groupCount - 1;
    for (int64_t i = 0; i < last; ++i) {
        const unsigned char* const start = row + plan.starts[i];
        for (int64_t v = 0; v < vectors; ++v)
            prefetchSource<Output>(start + vectorBytes * v, ahead);
        resampleGroup<vectors>(start, plan.groups[i], out + PermutedGroup::size * i);
    }
    resampleGroup<vectors>(row + plan.starts[last], plan.groups[last],
                           out + count - PermutedGroup::size);
}

template <int vectors>
constexpr RowResampler resampler = {resampleGroups<vectors>, resampleGroups<vectors>};

RowResampler planRow(const SampleMap& map, int64_t count, int64_t rowBytes, void* memory) {
    static constexpr RowResampler resamplers[] = {resampler<1>, resampler<2>, resampler<4>};
    int64_t vectors = 1;
    for (const RowResampler& candidate : resamplers) {
        if (makeGroups(map, vectors, count, rowBytes, Plan(memory, count)))
            return candidate;
        vectors *= 2;
    }
    return avx2RowOperations().planRow(map, count, rowBytes, memory);
}

} // namespace

RowOperations avx512RowOperations() {
    return {vectorBytes, planRow, blendRows, doubleRows, writeBgr};
}

} // namespace kelvane
