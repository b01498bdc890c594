// The box filter with windows of any size: one counter for each byte of a row holds, over the rows
// in the window, the sum of the row's prefix sums up to there, modulo the counter's size. The sum
// in a window is the difference of two counters, which is exact where it fits a counter itself.
#pragma once

#include "platform/prefetch.h"
#include "simd/kernels.h"

namespace kelvane::KELVANE_TARGET {

namespace {

template <typename Counter>
struct VectorOf {
    using Type = U32;
};
template <>
struct VectorOf<uint16_t> {
    using Type = U16;
};

// The counters of a channel follow those of the one before. Within a channel, counters of two bytes
// lie in two planes, one for the even columns and one for the odd ones; counters of four bytes lie
// in four. A vector of bytes is then, as it lies, a vector of groups of columns with one counter in
// every plane, and prefix sums are needed of the groups only.
template <typename Counter>
struct CounterPlanes {
    static constexpr int64_t group = sizeof(Counter);

    Counter* starts[group];

    CounterPlanes(void* counters, int64_t width) {
        auto* start = static_cast<Counter*>(counters);
#pragma GCC unroll 4
        for (int64_t i = 0; i < group; ++i) {
            starts[i] = start;
            start += (width + group - 1 - i) / group;
        }
    }

    Counter* at(int64_t x) const {
        const auto column = static_cast<uint64_t>(x);
        return starts[column % group] + column / group;
    }
};

// Where the counters of a group of columns lie, each followed by those of the next groups.
template <typename Counter>
struct CounterGroup {
    Counter* columns[sizeof(Counter)];

    CounterGroup(const CounterPlanes<Counter>& planes, int64_t x) {
#pragma GCC unroll 4
        for (Counter*& column : columns)
            column = planes.at(x++);
    }
};

template <int channels>
[[gnu::always_inline]] inline Channels<channels> loadChannels(const uint8_t* bytes) {
    if constexpr (channels == 1)
        return {{load<U8>(bytes)}};
    else
        return splitThree(bytes);
}

// Hands out what the difference of two rows adds to the counters of each column in a group: prefix
// sums, of pairs of columns, without the odd column in each. `carry` is the sum so far.
template <typename Add>
[[gnu::always_inline]] inline void addGroups(U16 added, U16 removed, U16& carry, Add add) {
    const U16 odd = (added >> 8) - (removed >> 8);
    const U16 second = prefixSums(sumsOfBytes(added) - sumsOfBytes(removed)) + carry;
    carry = lastLane(second);
    add(1, second);
    add(0, second - odd);
}

template <typename Add>
[[gnu::always_inline]] inline void addGroups(U16 added, U16 removed, U32& carry, Add add) {
    const U16 pairs = sumsOfBytes(added) - sumsOfBytes(removed);
    const U16 odd = (added >> 8) - (removed >> 8);
    const U32 fourth = prefixSums(sumsOfPairs(pairs)) + carry;
    const U32 second = fourth - upperOfPairs(pairs);
    carry = lastLane(fourth);
    add(3, fourth);
    add(2, fourth - upperOfPairs(odd));
    add(1, second);
    add(0, second - lowerOfPairs(odd));
}

// A missing row counts as zeros, which `both` rules out.
template <typename Counter, int channels, bool both>
void moveRows(void* sums, const BoxRow& row, const BoxRowChange& change) {
    const uint8_t *added = change.added, *removed = change.removed, *const saved = change.saved;
    uint8_t* const slot = change.slot;
    using Vector = typename VectorOf<Counter>::Type;
    constexpr int64_t group = sizeof(Counter);
    const uint8_t addedBits = both || added != nullptr ? 0xFF : 0;
    const uint8_t removedBits = both || removed != nullptr ? 0xFF : 0;
    if (addedBits == 0)
        added = removed;
    if (removedBits == 0)
        removed = added;
    const CounterPlanes<Counter> planes(sums, row.width);
    const CounterGroup<Counter> counters(planes, 0);
    Vector carries[channels] = {};
    // Of the groups of columns from `start` on, those kept.
    constexpr int64_t groups = vectorBytes / group;
    const auto moveVector = [&](int64_t start, Vector kept) __attribute__((always_inline)) {
        const int64_t byte = start * group * channels;
        prefetchLines(added + byte, vectorBytes * channels, bytesBelow);
        const Channels<channels> plus = loadChannels<channels>(added + byte);
        const Channels<channels> minus = loadChannels<channels>(removed + byte);
        if (saved != nullptr) {
#pragma GCC unroll 3
            for (int64_t k = 0; k < vectorBytes * channels; k += vectorBytes)
                store(slot + byte + k, load<U8>(saved + byte + k));
        }
        const U16 addedMask = (U16)(kept & (Vector)(U8{} + addedBits));
        const U16 removedMask = (U16)(kept & (Vector)(U8{} + removedBits));
#pragma GCC unroll 3
        for (int c = 0; c < channels; ++c)
            addGroups((U16)plus.vectors[c] & addedMask, (U16)minus.vectors[c] & removedMask,
                      carries[c], [&](int column, Vector values) __attribute__((always_inline)) {
                          Counter* const at = counters.columns[column] + start + c * row.width;
                          store(at, load<Vector>(at) + (values & kept));
                      });
    };
    const int64_t last = row.width / group - groups;
    int64_t next = 0;
    if constexpr (both || channels == 3) // lanes need no masks
        for (; next <= last; next += groups)
            moveVector(next, ~Vector{});
    // The last vector goes over some columns again, to which it adds nothing.
    while (last >= 0 && next < last + groups) {
        const int64_t start = smaller(next, last);
        moveVector(start, ~firstLanes<Vector>(next - start));
        next = start + groups;
    }
    const int64_t x = next * group;
    for (int c = 0; c < channels; ++c) {
        auto sum = static_cast<uint32_t>(carries[c][0]);
        for (int64_t i = x; i < row.width; ++i) {
            const int64_t byte = i * channels + c;
            sum += static_cast<uint32_t>((added[byte] & addedBits) - (removed[byte] & removedBits));
            Counter& counter = planes.at(i)[c * row.width];
            counter = static_cast<Counter>(counter + sum);
        }
    }
    if (saved != nullptr)
        std::memcpy(slot + x * channels, saved + x * channels,
                    static_cast<size_t>((row.width - x) * channels));
}

// Twice the reciprocal leaves the mean in the upper byte of the product: 255 << 24 at most.
[[gnu::always_inline]] inline U32 scaledMeans(const uint32_t* ahead, const uint32_t* behind,
                                              uint32_t doubled) {
    return (load<U32>(ahead) - load<U32>(behind)) * doubled;
}

// The upper half of the same product. A reciprocal of up to 2^23 leaves 2^8 in the upper factor.
[[gnu::always_inline]] inline U16 scaledMeans(const uint16_t* ahead, const uint16_t* behind,
                                              uint32_t doubled) {
    const U16 sums = load<U16>(ahead) - load<U16>(behind);
    return sums * static_cast<uint16_t>(doubled >> 16) +
           multiplyHigh(sums, U16{} + static_cast<uint16_t>(doubled));
}

template <typename Counter>
[[gnu::always_inline]] inline U8 meansOf(const CounterGroup<Counter>& ahead,
                                         const CounterGroup<Counter>& behind, int64_t i,
                                         uint32_t doubled) {
    const auto scaled = [&](int column) __attribute__((always_inline)) {
        return scaledMeans(ahead.columns[column] + i, behind.columns[column] + i, doubled);
    };
    if constexpr (sizeof(Counter) == 2)
        return upperBytes(scaled(0), scaled(1));
    else
        return upperBytes(scaled(0), scaled(1), scaled(2), scaled(3));
}

template <typename Counter>
uint8_t meanOf(Counter ahead, Counter behind, uint32_t reciprocal) {
    const auto sum = static_cast<Counter>(ahead - behind);
    return static_cast<uint8_t>((sum * reciprocal) >> boxReciprocalBits);
}

// The windows that are whole, but for the first, which has no counter behind.
template <typename Counter, int channels>
void divideWhole(const CounterPlanes<Counter>& planes, const BoxRow& row, uint32_t reciprocal,
                 uint8_t* means) {
    constexpr int64_t group = sizeof(Counter);
    const int64_t start = row.left + 1;
    const int64_t count = row.width - row.right - start;
    int64_t x = 0;
    if (count >= vectorBytes) {
        const CounterGroup<Counter> ahead(planes, start + row.right);
        const CounterGroup<Counter> behind(planes, 0);
        const auto divideAt = [&](int64_t i) __attribute__((always_inline)) {
            Channels<channels> divided;
#pragma GCC unroll 3
            for (int c = 0; c < channels; ++c)
                divided.vectors[c] = meansOf(ahead, behind, i + c * row.width, 2 * reciprocal);
            if constexpr (channels == 1)
                store(means + i * group, divided.vectors[0]);
            else
                joinThree(means + i * group * channels, divided);
        };
        const int64_t last = (count - vectorBytes) / group;
        for (int64_t i = 0; i < last; i += vectorBytes / group) {
            prefetchLines(means + i * group * channels, vectorBytes * channels, bytesBelow);
            divideAt(i);
        }
        divideAt(last);
        x = last * group + vectorBytes;
    }
    for (; x < count; ++x) {
        const Counter* const ahead = planes.at(start + x + row.right);
        const Counter* const behind = planes.at(x);
        for (int c = 0; c < channels; ++c)
            means[x * channels + c] =
                meanOf(ahead[c * row.width], behind[c * row.width], reciprocal);
    }
}

// Hands out the counters of `count` columns, with the columns counted from 0.
template <typename Counter, typename Use>
void forEachCounter(const CounterGroup<Counter>& counters, int64_t count, Use use) {
    constexpr int64_t group = sizeof(Counter);
    int64_t x = 0;
    for (; x + group <= count; x += group)
        for (int64_t k = 0; k < group; ++k)
            use(x + k, counters.columns[k][x / group]);
    for (int64_t k = 0; x + k < count; ++k)
        use(x + k, counters.columns[k][x / group]);
}

// From left to right a row has windows cut on the left, windows that are whole or cut on both
// sides, and windows cut on the right. This is for one channel.
template <typename Counter>
void divideCut(const CounterPlanes<Counter>& planes, const BoxRow& row, const uint32_t* reciprocals,
               uint8_t* means) {
    const int64_t channels = row.channels;
    const int64_t headEnd = smaller(row.left + 1, row.width - row.right);
    const int64_t tailStart = larger(row.left + 1, row.width - row.right);
    const Counter total = *planes.at(row.width - 1);

    const uint32_t* const growing = reciprocals + (row.right + 1 - row.shortest);
    forEachCounter(CounterGroup<Counter>(planes, row.right), headEnd,
                   [=](int64_t x, Counter ahead) {
                       means[x * channels] = meanOf(ahead, Counter{0}, growing[x]);
                   });
    if (row.left + 1 > row.width - row.right) {
        for (int64_t x = headEnd; x < tailStart; ++x)
            means[x * channels] = meanOf(total, Counter{0}, reciprocals[row.width - row.shortest]);
    }
    const uint32_t* const shrinking =
        reciprocals + (row.width + row.left - tailStart - row.shortest);
    uint8_t* const tail = means + tailStart * channels;
    forEachCounter(CounterGroup<Counter>(planes, tailStart - row.left - 1), row.width - tailStart,
                   [=](int64_t x, Counter behind) {
                       tail[x * channels] = meanOf(total, behind, shrinking[-x]);
                   });
}

template <typename Counter>
void divideCutOf(void* sums, const BoxRow& row, const uint32_t* reciprocals, uint8_t* means) {
    CounterPlanes<Counter> planes(sums, row.width);
    for (int64_t c = 0; c < row.channels; ++c) {
        divideCut(planes, row, reciprocals, means + c);
        for (Counter*& plane : planes.starts)
            plane += row.width;
    }
}

// They are few: one version serves all instruction sets.
void divideCutWindows(void* sums, const BoxRow& row, const uint32_t* reciprocals, uint8_t* means) {
    if constexpr (&narrower != &kernels)
        narrower.divideCutWindows(sums, row, reciprocals, means);
    else if (row.counterBytes == 2)
        divideCutOf<uint16_t>(sums, row, reciprocals, means);
    else
        divideCutOf<uint32_t>(sums, row, reciprocals, means);
}

template <typename Counter>
void divideWholeOf(void* sums, const BoxRow& row, uint32_t reciprocal, uint8_t* means) {
    const CounterPlanes<Counter> planes(sums, row.width);
    if (row.channels == 1)
        divideWhole<Counter, 1>(planes, row, reciprocal, means);
    else
        divideWhole<Counter, 3>(planes, row, reciprocal, means);
}

void divideBoxRow(void* sums, const BoxRow& row, const uint32_t* reciprocals, uint8_t* means) {
    const int64_t longest = row.left + row.right + 1;
    if (longest < row.width) {
        uint8_t* const whole = means + (row.left + 1) * row.channels;
        const uint32_t reciprocal = reciprocals[longest - row.shortest];
        if (row.counterBytes == 2)
            divideWholeOf<uint16_t>(sums, row, reciprocal, whole);
        else
            divideWholeOf<uint32_t>(sums, row, reciprocal, whole);
    }
    divideCutWindows(sums, row, reciprocals, means);
}

// Missing rows are rare: of three channels they share their code with the others, and of one it
// does not pay to have it both for the narrowest vectors, whose counters lie alike, and for AVX2.
template <typename Counter>
void moveRowsOf(void* sums, const BoxRow& row, const BoxRowChange& change) {
    if (row.channels == 3)
        moveRows<Counter, 3, false>(sums, row, change);
    else if (change.added != nullptr && change.removed != nullptr)
        moveRows<Counter, 1, true>(sums, row, change);
    else if constexpr (vectorBytes == 32)
        narrower.moveBoxRows(sums, row, change);
    else
        moveRows<Counter, 1, false>(sums, row, change);
}

void moveBoxRows(void* sums, const BoxRow& row, const BoxRowChange& change) {
    if (row.counterBytes == 2)
        moveRowsOf<uint16_t>(sums, row, change);
    else
        moveRowsOf<uint32_t>(sums, row, change);
}

} // namespace

} // namespace kelvane::KELVANE_TARGET
