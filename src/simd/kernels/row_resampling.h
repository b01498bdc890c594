// The horizontal pass of a resize: samples made of two bytes each, which are either read one by one
// or, where the instruction set has byte shuffles, gathered a vector at a time.
#include "platform/prefetch.h"
#include "simd/kernels.h"

namespace kelvane::KELVANE_TARGET {

namespace {

// Tap by tap, for rows of any length and reductions of any strength.

template <typename Use>
[[gnu::always_inline]] inline void forEachTap(const uint8_t* row, const void* plan, int64_t count,
                                              Use use) {
    const auto* const taps = static_cast<const Tap*>(plan);
    for (int64_t k = 0; k < count; ++k) {
        const int32_t first = row[taps[k].first];
        const int32_t second = row[taps[k].second];
        use(k, taps[k].weight * (second - first) + 128 * first + 64);
    }
}

struct TapByTap {
    static void makeValues(const uint8_t* row, const void* plan, int64_t count, RowValue* out) {
        forEachTap(row, plan, count,
                   [out](int64_t k, int32_t value) { out[k] = static_cast<RowValue>(value); });
    }
    static void makeBytes(const uint8_t* row, int64_t step, int64_t rowCount, const void* plan,
                          int64_t count, uint8_t* out, int64_t outStep) {
        for (int64_t y = 0; y < rowCount; ++y, row += step, out += outStep)
            forEachTap(row, plan, count, [out](int64_t k, int32_t value) {
                out[k] = static_cast<uint8_t>(value >> 7);
            });
    }
};

// Vector by vector: as many taps as a vector holds in pairs of bytes, from one or more pieces of
// the row. `Gather`, of the instruction set, says at which scales of reduction it gathers, and what
// pieces then serve equal shares of the taps.

constexpr int64_t tapsPerVector = vectorBytes / 2;

struct TapVector {
    U8 indexes;
    U8 weights;
};

// The starts of all pieces, and after them the tap vectors on a vector's boundary.
struct GatherPlan {
    GatherPlan(void* memory, int64_t count, int64_t pieces)
        : vectorCount((count + tapsPerVector - 1) / tapsPerVector),
          starts(static_cast<uint32_t*>(memory)) {
        const auto end = reinterpret_cast<uintptr_t>(starts + vectorCount * pieces);
        vectors = reinterpret_cast<TapVector*>((end + vectorBytes - 1) / vectorBytes * vectorBytes);
    }
    int64_t vectorCount;
    uint32_t* starts;
    TapVector* vectors;
};

// The least room for a tap vector: with one sample more than fills two of them, of which aligning
// the row values takes away up to two vectors, and aligning the tap vectors another.
template <typename Gather>
constexpr bool fitsPlan = 3 * (Gather::mostPieces * sizeof(uint32_t) + sizeof(TapVector)) +
                              3 * vectorBytes
                          <= (vectorBytes + 1) * planBytesPerSample;

// False when the taps do not fit the pieces, or these not the row.
template <typename Gather>
bool packTaps(const Tap* taps, int scale, int64_t rowBytes, uint32_t* starts, TapVector* packed) {
    const int64_t pieces = Gather::pieces(scale), bytes = Gather::pieceBytes(scale);
    const int64_t share = tapsPerVector / pieces;
    for (int64_t piece = 0; piece < pieces; ++piece, taps += share) {
        // The last pieces are moved left so that they end with the row.
        int64_t start = rowBytes - bytes;
        for (int64_t k = 0; k < share; ++k)
            start = smaller(start, int64_t{taps[k].first});
        if (start < 0)
            return false;
        starts[piece] = static_cast<uint32_t>(start);
        for (int64_t k = 0; k < share; ++k) {
            if (taps[k].second - start >= bytes)
                return false;
            const int64_t base = Gather::pieceDistance * piece - start;
            const int64_t first = (share * piece + k) * Gather::tapDistance;
            const int64_t second = first + Gather::secondDistance;
            packed->indexes[first] = static_cast<uint8_t>(base + taps[k].first);
            packed->indexes[second] = static_cast<uint8_t>(base + taps[k].second);
            packed->weights[first] =
                static_cast<uint8_t>(Gather::weightSign * (128 - taps[k].weight));
            packed->weights[second] = static_cast<uint8_t>(Gather::weightSign * taps[k].weight);
        }
    }
    return true;
}

template <typename Gather, int scale>
struct VectorByVector {
    static constexpr int64_t pieces = Gather::pieces(scale);

    // Hands out the start of each vector of samples, its first piece in the row and its values.
    template <typename Use>
    [[gnu::always_inline]] static void forEachTapVector(const uint8_t* row, const GatherPlan& plan,
                                                        int64_t count, Use use) {
        for (int64_t i = 0; i < plan.vectorCount; ++i) {
            const TapVector& taps = plan.vectors[i];
            const uint32_t* const starts = plan.starts + pieces * i;
            const U8 samples = Gather::template gather<scale>(row, starts, taps.indexes);
            use(vectorStart(tapsPerVector * i, tapsPerVector, count), *starts,
                Gather::weightedSums(samples, taps.weights));
        }
    }

    static void makeValues(const uint8_t* row, const void* memory, int64_t count, RowValue* out) {
        const GatherPlan plan(const_cast<void*>(memory), count, pieces);
        forEachTapVector(row, plan, count, [=](int64_t k, uint32_t start, U16 values) {
            prefetchPieces(row + start, bytesFurtherOn);
            store(out + k, values);
        });
    }

    // Of rows that leave gaps, as these do mostly, the processor foresees no next one.
    static void makeBytes(const uint8_t* row, int64_t step, int64_t rowCount, const void* memory,
                          int64_t count, uint8_t* out, int64_t outStep) {
        const GatherPlan plan(const_cast<void*>(memory), count, pieces);
        for (int64_t y = 0; y < rowCount; ++y, row += step, out += outStep)
            forEachTapVector(row, plan, count, [=](int64_t k, uint32_t start, U16 values) {
                prefetchPieces(row + start, step);
                Gather::storeNarrowed(out + k, values >> 7);
            });
    }

private:
    // As far as the pieces of a tap vector may reach.
    [[gnu::always_inline]] static void prefetchPieces(const uint8_t* bytes, int64_t distance) {
        for (int64_t line = 0; line < vectorBytes * scale; line += cacheLine)
            prefetchSoon(bytes + line, distance);
    }
};

template <typename Gather>
[[gnu::cold]] bool planAtScale(const SampleMap& map, int scale, int64_t count, int64_t rowBytes,
                               void* memory) {
    static_assert(fitsPlan<Gather>);
    const int64_t pieces = Gather::pieces(scale);
    const GatherPlan plan(memory, count, pieces);
    for (int64_t i = 0; i < plan.vectorCount; ++i) {
        Tap taps[tapsPerVector];
        fillTaps(map, vectorStart(tapsPerVector * i, tapsPerVector, count), tapsPerVector, taps);
        if (!packTaps<Gather>(taps, scale, rowBytes, plan.starts + pieces * i, &plan.vectors[i]))
            return false;
    }
    return true;
}

template <typename Gather, int scale>
constexpr RowResampler gatherResampler = {VectorByVector<Gather, scale>::makeValues,
                                          VectorByVector<Gather, scale>::makeBytes};

// Null functions when the taps lie too far apart.
template <typename Gather>
RowResampler planGather(const SampleMap& map, int64_t count, int64_t rowBytes, void* plan) {
    if (planAtScale<Gather>(map, 1, count, rowBytes, plan))
        return gatherResampler<Gather, 1>;
    if (planAtScale<Gather>(map, 2, count, rowBytes, plan))
        return gatherResampler<Gather, 2>;
    if (planAtScale<Gather>(map, 4, count, rowBytes, plan))
        return gatherResampler<Gather, 4>;
    return {};
}

RowResampler planRow(const SampleMap& map, int64_t count, int64_t rowBytes, void* plan) {
    if constexpr (Gather::isPossible) {
        const RowResampler resampler =
            count < vectorBytes ? RowResampler{} : planGather<Gather>(map, count, rowBytes, plan);
        if (resampler.makeValues != nullptr)
            return resampler;
    }
    if constexpr (&narrower != &kernels)
        return narrower.planRow(map, count, rowBytes, plan);
    fillTaps(map, 0, count, static_cast<Tap*>(plan));
    return {TapByTap::makeValues, TapByTap::makeBytes};
}

} // namespace

} // namespace kelvane::KELVANE_TARGET
