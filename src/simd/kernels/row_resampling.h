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

// Group by group: as many taps as a vector holds in pairs of bytes, from one or more windows of the
// row. `Gather`, of the instruction set, says at which scales of reduction it gathers, and what
// windows then serve equal shares of the taps.

constexpr int64_t groupTaps = vectorBytes / 2;

struct TapGroup {
    U8 indexes;
    U8 weights;
};

// The starts of all windows, and behind them the groups on a vector's boundary.
struct GroupPlan {
    GroupPlan(void* memory, int64_t count, int64_t windows)
        : groupCount((count + groupTaps - 1) / groupTaps), starts(static_cast<uint32_t*>(memory)) {
        const auto end = reinterpret_cast<uintptr_t>(starts + groupCount * windows);
        groups = reinterpret_cast<TapGroup*>((end + vectorBytes - 1) / vectorBytes * vectorBytes);
    }
    int64_t groupCount;
    uint32_t* starts;
    TapGroup* groups;
};

// The least room for a group: with one sample more than fills two of them, of which aligning the
// row values takes away up to two vectors, and aligning the groups another.
template <typename Gather>
constexpr bool fitsPlan = 3 * (Gather::mostWindows * sizeof(uint32_t) + sizeof(TapGroup)) +
                              3 * vectorBytes
                          <= (vectorBytes + 1) * planBytesPerSample;

// False when the taps do not fit the windows, or these not the row.
template <typename Gather>
bool packTaps(const Tap* taps, int scale, int64_t rowBytes, uint32_t* starts, TapGroup* group) {
    const int64_t windows = Gather::windows(scale), bytes = Gather::windowBytes(scale);
    const int64_t share = groupTaps / windows;
    for (int64_t window = 0; window < windows; ++window, taps += share) {
        // The last windows are moved left so that they end with the row.
        int64_t start = rowBytes - bytes;
        for (int64_t k = 0; k < share; ++k)
            start = smaller(start, int64_t{taps[k].first});
        if (start < 0)
            return false;
        starts[window] = static_cast<uint32_t>(start);
        for (int64_t k = 0; k < share; ++k) {
            if (taps[k].second - start >= bytes)
                return false;
            const int64_t base = Gather::windowDistance * window - start;
            const int64_t first = (share * window + k) * Gather::tapDistance;
            const int64_t second = first + Gather::secondDistance;
            group->indexes[first] = static_cast<uint8_t>(base + taps[k].first);
            group->indexes[second] = static_cast<uint8_t>(base + taps[k].second);
            group->weights[first] =
                static_cast<uint8_t>(Gather::weightSign * (128 - taps[k].weight));
            group->weights[second] = static_cast<uint8_t>(Gather::weightSign * taps[k].weight);
        }
    }
    return true;
}

template <typename Gather, int scale>
struct GroupByGroup {
    static constexpr int64_t windows = Gather::windows(scale);

    // Hands out the start of each vector of samples, its first window in the row and its values.
    template <typename Use>
    [[gnu::always_inline]] static void forEachGroup(const uint8_t* row, const GroupPlan& plan,
                                                    int64_t count, Use use) {
        for (int64_t i = 0; i < plan.groupCount; ++i) {
            const TapGroup& group = plan.groups[i];
            const uint32_t* const starts = plan.starts + windows * i;
            const U8 samples = Gather::template gather<scale>(row, starts, group.indexes);
            use(vectorStart(groupTaps * i, groupTaps, count), *starts,
                Gather::weightedSums(samples, group.weights));
        }
    }

    static void makeValues(const uint8_t* row, const void* memory, int64_t count, RowValue* out) {
        const GroupPlan plan(const_cast<void*>(memory), count, windows);
        forEachGroup(row, plan, count, [=](int64_t k, uint32_t start, U16 values) {
            prefetchWindows(row + start, bytesFurtherOn);
            store(out + k, values);
        });
    }

    // Of rows that leave gaps, as these do mostly, the processor foresees no next one.
    static void makeBytes(const uint8_t* row, int64_t step, int64_t rowCount, const void* memory,
                          int64_t count, uint8_t* out, int64_t outStep) {
        const GroupPlan plan(const_cast<void*>(memory), count, windows);
        for (int64_t y = 0; y < rowCount; ++y, row += step, out += outStep)
            forEachGroup(row, plan, count, [=](int64_t k, uint32_t start, U16 values) {
                prefetchWindows(row + start, step);
                Gather::storeNarrowed(out + k, values >> 7);
            });
    }

private:
    // As far as the windows of a group may reach.
    [[gnu::always_inline]] static void prefetchWindows(const uint8_t* bytes, int64_t distance) {
        for (int64_t line = 0; line < vectorBytes * scale; line += cacheLine)
            prefetchSoon(bytes + line, distance);
    }
};

template <typename Gather>
[[gnu::cold]] bool planGroups(const SampleMap& map, int scale, int64_t count, int64_t rowBytes,
                              void* memory) {
    static_assert(fitsPlan<Gather>);
    const int64_t windows = Gather::windows(scale);
    const GroupPlan plan(memory, count, windows);
    for (int64_t i = 0; i < plan.groupCount; ++i) {
        Tap taps[groupTaps];
        fillTaps(map, vectorStart(groupTaps * i, groupTaps, count), groupTaps, taps);
        if (!packTaps<Gather>(taps, scale, rowBytes, plan.starts + windows * i, &plan.groups[i]))
            return false;
    }
    return true;
}

template <typename Gather, int scale>
constexpr RowResampler groupResampler = {GroupByGroup<Gather, scale>::makeValues,
                                         GroupByGroup<Gather, scale>::makeBytes};

// Null functions when the taps lie too far apart.
template <typename Gather>
RowResampler planGather(const SampleMap& map, int64_t count, int64_t rowBytes, void* plan) {
    if (planGroups<Gather>(map, 1, count, rowBytes, plan))
        return groupResampler<Gather, 1>;
    if (planGroups<Gather>(map, 2, count, rowBytes, plan))
        return groupResampler<Gather, 2>;
    if (planGroups<Gather>(map, 4, count, rowBytes, plan))
        return groupResampler<Gather, 4>;
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
