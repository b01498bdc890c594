// The means of the windows that the ends of a row cut. They are few: one version serves all
// instruction sets.
#include "image/box_counters.h"

#include <algorithm>

namespace kelvane {

namespace {

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
// sides, and windows cut on the right. This is for one channel.
template <typename Counter>
void divideCutChannel(const Planes<Counter>& planes, const BoxRow& row, const uint32_t* reciprocals,
                      unsigned char* destination) {
    const int64_t channels = row.channels;
    const int64_t shortest = row.shortestWindow();
    const int64_t headEnd = std::min(row.left + 1, row.width - row.right);
    const int64_t tailStart = std::max(row.left + 1, row.width - row.right);
    const Counter total = *planes.at(row.width - 1);

    const uint32_t* const growing = reciprocals + (row.right + 1 - shortest);
    forEachCounter(Group<Counter>(planes, row.right), headEnd, [=](int64_t x, Counter ahead) {
        destination[x * channels] = mean(ahead, Counter{0}, growing[x]);
    });
    if (row.left + 1 > row.width - row.right) {
        for (int64_t x = headEnd; x < tailStart; ++x)
            destination[x * channels] = mean(total, Counter{0}, reciprocals[row.width - shortest]);
    }
    const uint32_t* const shrinking = reciprocals + (row.width + row.left - tailStart - shortest);
    unsigned char* const tail = destination + tailStart * channels;
    forEachCounter(Group<Counter>(planes, tailStart - row.left - 1), row.width - tailStart,
                   [=](int64_t x, Counter behind) {
                       tail[x * channels] = mean(total, behind, shrinking[-x]);
                   });
}

template <typename Counter>
void divideCut(const uint32_t* sums, const BoxRow& row, const uint32_t* reciprocals,
               unsigned char* destination) {
    Planes<Counter> planes(sums, row.counterWidth);
    for (int64_t c = 0; c < row.channels; ++c) {
        divideCutChannel(planes, row, reciprocals, destination + c);
        for (Counter*& start : planes.starts)
            start += row.counterWidth;
    }
}

} // namespace

DivideCut* cutWindowDivision(int64_t counterSize) {
    return counterSize == sizeof(uint16_t) ? divideCut<uint16_t> : divideCut<uint32_t>;
}

} // namespace kelvane
