// How the box filter's counters lie, and what they hold. With internal linkage, as the row
// operations are compiled for several instruction sets.
#pragma once

#include "image/box_rows.h"

#include <cstdint>

namespace kelvane {

namespace {

// Windows of up to this many pixels have sums that fit 16 bits: counters modulo 2^16 do.
constexpr int64_t largestWordArea = 0xFFFF / 0xFF;
static_assert(largestWordArea * 0xFF <= UINT16_MAX);

// The counters of a channel follow those of the one before. Within a channel, counters of two bytes
// lie in two planes, one for the even columns and one for the odd ones; counters of four bytes lie
// in four. A vector of bytes is then, as it lies, a vector of groups of columns with one counter in
// every plane, and prefix sums are needed over the groups alone.
template <typename Counter>
struct Planes {
    static constexpr int64_t group = sizeof(Counter);

    Counter* starts[group];

    Planes(const uint32_t* sums, int64_t counterWidth) {
        auto* start = reinterpret_cast<Counter*>(const_cast<uint32_t*>(sums));
        for (int64_t i = 0; i < group; ++i) {
            starts[i] = start;
            start += (counterWidth + group - 1 - i) / group;
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
unsigned char mean(Counter ahead, Counter behind, uint32_t reciprocal) {
    const Counter sum = static_cast<Counter>(ahead - behind);
    return static_cast<unsigned char>((sum * reciprocal) >> reciprocalBits);
}

} // namespace

} // namespace kelvane
