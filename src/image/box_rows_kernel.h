// The box filter's row operations, written once for the vectors of every instruction set, for which
// the including file has defined: `prefixSums`, over the lanes up to and including each, and
// `lastLane`, in every lane; `sumsOfBytes`, of the two in every word; `sumsOfPairs`, of the two
// signed words in every 32-bit lane, and `lowerOfPairs` and `upperOfPairs`, either alone;
// `multiplyHigh`; `upperBytes`, of the lanes of two or four arguments in turn; `splitChannels` and
// `storeChannels` for three channels; and where `masksLanes`, `loadFirstPixels` and `addToFirst`,
// of vectors that a row does not fill. Everything has internal linkage, so that no code of one
// instruction set is ever shared with another.
#pragma once

#include "image/box_counters.h"
#include "platform/prefetch.h"

#include <algorithm>

namespace kelvane {

namespace {

template <typename Counter>
struct VectorOf;
template <>
struct VectorOf<uint16_t> {
    using Type = Words;
};
template <>
struct VectorOf<uint32_t> {
    using Type = Longs;
};

template <typename Counter, typename Vector>
void addTo(Counter* counters, Vector sums) {
    storeVector(counters, loadVector<Vector>(counters) + sums);
}

// Hands out what the difference of two rows adds to the counters of each column in a group: prefix
// sums, of pairs of columns, without the odd column in each. `carry` is the sum so far.
template <typename Add>
[[gnu::always_inline]] inline void addGroups(Words added, Words removed, Words& carry, Add add) {
    const Words odd = (added >> 8) - (removed >> 8);
    const Words second = prefixSums(sumsOfBytes(added) - sumsOfBytes(removed)) + carry;
    carry = lastLane(second);
    add(1, second);
    add(0, second - odd);
}

template <typename Add>
[[gnu::always_inline]] inline void addGroups(Words added, Words removed, Longs& carry, Add add) {
    const Words pairs = sumsOfBytes(added) - sumsOfBytes(removed);
    const Words odd = (added >> 8) - (removed >> 8);
    const Longs fourth = prefixSums(sumsOfPairs(pairs)) + carry;
    const Longs second = fourth - upperOfPairs(pairs);
    carry = lastLane(fourth);
    add(3, fourth);
    add(2, fourth - upperOfPairs(odd));
    add(1, second);
    add(0, second - lowerOfPairs(odd));
}

template <int channels>
Channels<channels> loadChannels(const unsigned char* bytes, Words mask) {
    Channels<channels> vectors;
    if constexpr (channels == 1)
        vectors.bytes[0] = loadVector<Words>(bytes);
    else
        vectors = splitChannels(bytes);
    for (Words& vector : vectors.bytes)
        vector &= mask;
    return vectors;
}

// Of the bytes of two rows, those that the masks let through count.
struct MaskedRows {
    const unsigned char* added;
    const unsigned char* removed;
    uint16_t addedMask;
    uint16_t removedMask;
};

// The columns from `start` on, which fill no vector.
template <typename Counter, int channels>
[[gnu::always_inline]] inline void
accumulateRest(const MaskedRows& rows, int64_t start, const BoxRow& row,
               const Planes<Counter>& planes,
               typename VectorOf<Counter>::Type (&carries)[channels]) {
    if constexpr (masksLanes) {
        constexpr int64_t group = Planes<Counter>::group;
        const Group<Counter> counters(planes, start);
        const int64_t rest = row.width - start;
        const auto a = loadFirstPixels<channels>(rows.added + start * channels, rest);
        const auto r = loadFirstPixels<channels>(rows.removed + start * channels, rest);
        for (int c = 0; c < channels; ++c)
            addGroups(a.bytes[c] & rows.addedMask, r.bytes[c] & rows.removedMask, carries[c],
                      [&](int column, auto values) {
                          addToFirst(counters.columns[column] + c * row.counterWidth, values,
                                     (rest + group - 1 - column) / group);
                      });
    } else {
        for (int c = 0; c < channels; ++c) {
            uint32_t sum = carries[c][0];
            for (int64_t x = start; x < row.width; ++x) {
                const int64_t i = x * channels + c;
                sum += static_cast<uint32_t>((rows.added[i] & rows.addedMask) -
                                             (rows.removed[i] & rows.removedMask));
                Counter& counter = planes.at(x)[c * row.counterWidth];
                counter = static_cast<Counter>(counter + sum);
            }
        }
    }
}

// `both` says that both rows are there; a missing row counts as zeros.
template <typename Counter, int channels, bool both>
void accumulateRows(const RowChange& change, const BoxRow& row, uint32_t* sums) {
    constexpr int64_t group = Planes<Counter>::group;
    const Planes<Counter> planes(sums, row.counterWidth);
    const bool adds = both || change.added != nullptr;
    const bool removes = both || change.removed != nullptr;
    const MaskedRows rows = {.added = adds ? change.added : change.removed,
                             .removed = removes ? change.removed : change.added,
                             .addedMask = static_cast<uint16_t>(adds ? 0xFFFF : 0),
                             .removedMask = static_cast<uint16_t>(removes ? 0xFFFF : 0)};
    const bool saves = both && change.saved != nullptr;
    const unsigned char* const upcoming = change.upcoming;
    const unsigned char* const saved = change.saved;
    unsigned char* const slot = change.slot;

    typename VectorOf<Counter>::Type carries[channels] = {};
    const Group<Counter> counters(planes, 0);
    const int64_t counterWidth = row.counterWidth;
    const int64_t vectorEnd = row.width / vectorBytes * vectorBytes;
    for (int64_t i = 0; i < vectorEnd / group; i += vectorBytes / group) {
        const int64_t byte = i * group * channels;
        prefetchRow(upcoming + byte, vectorBytes * channels);
        if constexpr (vectorBytes >= cacheLine) { // shorter ones would ask for every line twice
            prefetchFurtherOn(rows.added + byte, vectorBytes * channels);
            prefetchFurtherOn(rows.removed + byte, vectorBytes * channels);
        }
        const auto a = loadChannels<channels>(rows.added + byte, Words{} + rows.addedMask);
        const auto r = loadChannels<channels>(rows.removed + byte, Words{} + rows.removedMask);
        if (saves)
            std::memcpy(slot + byte, saved + byte, vectorBytes * channels);
        for (int c = 0; c < channels; ++c)
            addGroups(a.bytes[c], r.bytes[c], carries[c], [&](int column, auto values) {
                addTo(counters.columns[column] + i + c * counterWidth, values);
            });
    }
    if (vectorEnd < row.width)
        accumulateRest(rows, vectorEnd, row, planes, carries);
    if (saves)
        std::memcpy(slot + vectorEnd * channels, saved + vectorEnd * channels,
                    static_cast<size_t>((row.width - vectorEnd) * channels));
}

// Twice the reciprocal leaves the mean in the upper byte of the product: 255 << 24 at most.
Longs scaledMeans(const uint32_t* ahead, const uint32_t* behind, uint32_t doubled) {
    return (loadVector<Longs>(ahead) - loadVector<Longs>(behind)) * doubled;
}

// The upper half of the same product. A reciprocal of up to 2^23 leaves 2^8 in the upper factor.
Words scaledMeans(const uint16_t* ahead, const uint16_t* behind, uint32_t doubled) {
    const Words sums = loadVector<Words>(ahead) - loadVector<Words>(behind);
    return sums * static_cast<uint16_t>(doubled >> 16) +
           multiplyHigh(sums, Words{} + static_cast<uint16_t>(doubled));
}

[[gnu::always_inline]] inline Words
meansOf(const Group<uint16_t>& ahead, const Group<uint16_t>& behind, int64_t i, uint32_t doubled) {
    return upperBytes(scaledMeans(ahead.columns[0] + i, behind.columns[0] + i, doubled),
                      scaledMeans(ahead.columns[1] + i, behind.columns[1] + i, doubled));
}

[[gnu::always_inline]] inline Words
meansOf(const Group<uint32_t>& ahead, const Group<uint32_t>& behind, int64_t i, uint32_t doubled) {
    return upperBytes(scaledMeans(ahead.columns[0] + i, behind.columns[0] + i, doubled),
                      scaledMeans(ahead.columns[1] + i, behind.columns[1] + i, doubled),
                      scaledMeans(ahead.columns[2] + i, behind.columns[2] + i, doubled),
                      scaledMeans(ahead.columns[3] + i, behind.columns[3] + i, doubled));
}

template <typename Counter, int channels>
void divideWhole(const uint32_t* sums, const BoxRow& row, const uint32_t* reciprocals,
                 unsigned char* destination, const unsigned char* upcoming) {
    constexpr int64_t group = Planes<Counter>::group;
    const Planes<Counter> planes(sums, row.counterWidth);
    const uint32_t reciprocal = reciprocals[row.left + row.right + 1 - row.shortestWindow()];
    int64_t x = row.left + 1;
    const int64_t count = row.width - row.right - x;
    if (count >= vectorBytes) {
        const Group<Counter> ahead(planes, x + row.right);
        const Group<Counter> behind(planes, 0);
        unsigned char* const out = destination + x * channels;
        const auto divideAt = [&](int64_t i) {
            Channels<channels> means;
            for (int c = 0; c < channels; ++c)
                means.bytes[c] = meansOf(ahead, behind, i + c * row.counterWidth, 2 * reciprocal);
            if constexpr (channels == 1)
                storeVector(out + i * group, means.bytes[0]);
            else
                storeChannels(means, out + i * group * channels);
        };
        const int64_t last = (count - vectorBytes) / group;
        for (int64_t i = 0; i < last; i += vectorBytes / group) {
            prefetchRow(upcoming + i * group * channels, vectorBytes * channels);
            divideAt(i);
        }
        divideAt(last);
        x += last * group + vectorBytes;
    }
    for (; x < row.width - row.right; ++x) {
        const Counter* const ahead = planes.at(x + row.right);
        const Counter* const behind = planes.at(x - row.left - 1);
        for (int c = 0; c < channels; ++c)
            destination[x * channels + c] =
                mean(ahead[c * row.counterWidth], behind[c * row.counterWidth], reciprocal);
    }
}

} // namespace

} // namespace kelvane
