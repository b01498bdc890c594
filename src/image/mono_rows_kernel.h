// The one-channel row operations, written once for the vectors of every instruction set, for which
// the including file has defined: `prefixSums`; `sumsOfBytes`, of the two in every word;
// `sumsOfPairs`, of the two signed words in every 32-bit lane, and `lowerOfPairs` and
// `upperOfPairs`, either alone; `multiplyHigh`; `upperHalves`, of the lanes of both arguments in
// turn. Everything has internal linkage, so that no code of one instruction set is ever shared with
// another.
#pragma once

#include "image/mono_rows.h"

#include <algorithm>

namespace kelvane {

namespace {

// Counters of two bytes lie in two planes, one for the even columns and one for the odd ones;
// counters of four bytes lie in four. A vector of bytes is then, as it lies, a vector of groups of
// columns with one counter in every plane, and prefix sums are needed over the groups alone.
template <typename Counter>
struct Planes {
    static constexpr int64_t group = sizeof(Counter);

    Counter* starts[group];

    Planes(Counter* sums, int64_t width) {
        for (int64_t i = 0; i < group; ++i) {
            starts[i] = sums;
            sums += (width + group - 1 - i) / group;
        }
    }

    Counter* at(int64_t x) const {
        const auto column = static_cast<uint64_t>(x);
        return starts[column % group] + column / group;
    }
};

// Where the counters of a group of columns lie, and behind each those of the groups that follow.
template <typename Counter>
struct Group {
    Counter* columns[sizeof(Counter)];

    Group(const Planes<Counter>& planes, int64_t x) {
        for (Counter*& column : columns)
            column = planes.at(x++);
    }
};

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

// Adds the prefix sums of the differences of two rows: of pairs of columns, and of the odd column
// in each alone. `carry` is the sum so far.
[[gnu::always_inline]] inline void addGroups(Words pairs, Words odd, Words& carry,
                                             const Group<uint16_t>& counters, int64_t i) {
    const Prefix<Words> prefix = prefixSums(pairs);
    const Words second = prefix.sums + carry;
    carry += prefix.total;
    addTo(counters.columns[1] + i, second);
    addTo(counters.columns[0] + i, second - odd);
}

[[gnu::always_inline]] inline void addGroups(Words pairs, Words odd, Longs& carry,
                                             const Group<uint32_t>& counters, int64_t i) {
    const Prefix<Longs> prefix = prefixSums(sumsOfPairs(pairs));
    const Longs fourth = prefix.sums + carry;
    const Longs second = fourth - upperOfPairs(pairs);
    carry += prefix.total;
    addTo(counters.columns[3] + i, fourth);
    addTo(counters.columns[2] + i, fourth - upperOfPairs(odd));
    addTo(counters.columns[1] + i, second);
    addTo(counters.columns[0] + i, second - lowerOfPairs(odd));
}

template <typename Counter, bool both>
void accumulateRows(const unsigned char* added, const unsigned char* removed, int64_t width,
                    Counter* sums) {
    constexpr int64_t group = Planes<Counter>::group;
    const Planes<Counter> planes(sums, width);
    const uint16_t addedMask = both || added != nullptr ? 0xFFFF : 0;
    const uint16_t removedMask = both || removed != nullptr ? 0xFFFF : 0;
    if (!both && added == nullptr)
        added = removed;
    if (!both && removed == nullptr)
        removed = added;

    typename VectorOf<Counter>::Type carry = {};
    const Group<Counter> counters(planes, 0);
    int64_t i = 0;
    for (; i * group + vectorBytes <= width; i += vectorBytes / group) {
        const Words a = loadVector<Words>(added + i * group) & addedMask;
        const Words r = loadVector<Words>(removed + i * group) & removedMask;
        addGroups(sumsOfBytes(a) - sumsOfBytes(r), (a >> 8) - (r >> 8), carry, counters, i);
    }
    uint32_t sum = carry[0];
    for (int64_t x = i * group; x < width; ++x) {
        sum += static_cast<uint32_t>((added[x] & addedMask) - (removed[x] & removedMask));
        Counter& counter = *planes.at(x);
        counter = static_cast<Counter>(counter + sum);
    }
}

template <typename Counter>
void accumulate(const unsigned char* added, const unsigned char* removed, int64_t width,
                void* sums) {
    if (added != nullptr && removed != nullptr)
        accumulateRows<Counter, true>(added, removed, width, static_cast<Counter*>(sums));
    else
        accumulateRows<Counter, false>(added, removed, width, static_cast<Counter*>(sums));
}

template <typename Counter>
unsigned char mean(Counter ahead, Counter behind, uint32_t reciprocal) {
    const Counter sum = static_cast<Counter>(ahead - behind);
    return static_cast<unsigned char>((sum * reciprocal) >> reciprocalBits);
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

Words upperBytes(Words even, Words odd) { return (even >> 8) | (odd & 0xFF00); }

Words meansOf(const Group<uint16_t>& ahead, const Group<uint16_t>& behind, int64_t i,
              uint32_t doubled) {
    return upperBytes(scaledMeans(ahead.columns[0] + i, behind.columns[0] + i, doubled),
                      scaledMeans(ahead.columns[1] + i, behind.columns[1] + i, doubled));
}

Words meansOf(const Group<uint32_t>& ahead, const Group<uint32_t>& behind, int64_t i,
              uint32_t doubled) {
    const Words even =
        upperHalves(scaledMeans(ahead.columns[0] + i, behind.columns[0] + i, doubled),
                    scaledMeans(ahead.columns[2] + i, behind.columns[2] + i, doubled));
    const Words odd =
        upperHalves(scaledMeans(ahead.columns[1] + i, behind.columns[1] + i, doubled),
                    scaledMeans(ahead.columns[3] + i, behind.columns[3] + i, doubled));
    return upperBytes(even, odd);
}

// The whole windows of the columns from `begin` to `end`.
template <typename Counter>
void divideUncut(const Planes<Counter>& planes, const BoxRow& row, int64_t begin, int64_t end,
                 uint32_t reciprocal, unsigned char* destination) {
    constexpr int64_t group = Planes<Counter>::group;
    if (end - begin >= vectorBytes) {
        const Group<Counter> ahead(planes, begin + row.right);
        const Group<Counter> behind(planes, begin - row.left - 1);
        unsigned char* const out = destination + begin;
        const auto divideAt = [&](int64_t i) {
            storeVector(out + i * group, meansOf(ahead, behind, i, 2 * reciprocal));
        };
        const int64_t last = (end - begin - vectorBytes) / group;
        for (int64_t i = 0; i < last; i += vectorBytes / group)
            divideAt(i);
        divideAt(last);
        begin += last * group + vectorBytes;
    }
    for (; begin < end; ++begin)
        destination[begin] =
            mean(*planes.at(begin + row.right), *planes.at(begin - row.left - 1), reciprocal);
}

// Hands out the counters of `count` columns, with the columns counted from 0.
template <typename Counter, typename Use>
void forEachCounter(const Group<Counter>& counters, int64_t count, Use use) {
    constexpr int64_t group = Planes<Counter>::group;
    int64_t x = 0;
    for (; x + group <= count; x += group) {
        for (int64_t k = 0; k < group; ++k)
            use(x + k, counters.columns[k][x / group]);
    }
    for (int64_t k = 0; x + k < count; ++k)
        use(x + k, counters.columns[k][x / group]);
}

// From left to right a row has windows cut on the left, windows that are whole or cut on both
// sides, and windows cut on the right.
template <typename Counter>
void divide(const void* sums, const BoxRow& row, const uint32_t* reciprocals,
            unsigned char* destination) {
    const Planes<Counter> planes(static_cast<Counter*>(const_cast<void*>(sums)), row.width);
    const int64_t shortest = std::min(row.left, row.right) + 1;
    const int64_t uncutOnLeft = row.left + 1;
    const int64_t cutOnRight = row.width - row.right;
    const int64_t headEnd = std::min(uncutOnLeft, cutOnRight);
    const int64_t tailStart = std::max(uncutOnLeft, cutOnRight);
    const Counter total = *planes.at(row.width - 1);

    const uint32_t* const growing = reciprocals + (row.right + 1 - shortest);
    forEachCounter(Group<Counter>(planes, row.right), headEnd,
                   [growing, destination](int64_t x, Counter ahead) {
                       destination[x] = mean(ahead, Counter{0}, growing[x]);
                   });
    if (uncutOnLeft < cutOnRight) {
        divideUncut(planes, row, headEnd, tailStart,
                    reciprocals[row.left + row.right + 1 - shortest], destination);
    } else {
        for (int64_t x = headEnd; x < tailStart; ++x)
            destination[x] = mean(total, Counter{0}, reciprocals[row.width - shortest]);
    }
    const uint32_t* const shrinking = reciprocals + (row.width + row.left - tailStart - shortest);
    unsigned char* const tail = destination + tailStart;
    forEachCounter(Group<Counter>(planes, tailStart - row.left - 1), row.width - tailStart,
                   [total, shrinking, tail](int64_t x, Counter behind) {
                       tail[x] = mean(total, behind, shrinking[-x]);
                   });
}

BoxRowOperations operationsFor(int64_t area) {
    return area <= largestWordArea ? BoxRowOperations{accumulate<uint16_t>, divide<uint16_t>}
                                   : BoxRowOperations{accumulate<uint32_t>, divide<uint32_t>};
}

} // namespace

} // namespace kelvane
