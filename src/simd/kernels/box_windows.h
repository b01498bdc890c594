// The box filter with windows of 3 or 5 columns and 2 to 5 rows: sums of 16 bits, from the rows.
#pragma once

#include "platform/prefetch.h"
#include "simd/kernels.h"

namespace kelvane::KELVANE_TARGET {

namespace {

// Sums of the rows in a window, for each byte of a vector: of the even bytes, and of the odd ones.
struct RowSums {
    U16 even;
    U16 odd;
};

// For two rows of windows. What both have in common is added up once.
struct TwoRowSums {
    RowSums first;
    RowSums second;
};

// `loadFrom` gives the vector at the same place of each row.
template <typename LoadFrom>
[[gnu::always_inline]] inline TwoRowSums sumsOfRows(const BoxWindows& windows, LoadFrom loadFrom) {
    const U16 top = loadFrom(windows.rows[0]), bottom = loadFrom(windows.rows[windows.count]);
    RowSums common = {};
    for (int64_t k = 1; k < windows.count; ++k) {
        const U16 bytes = loadFrom(windows.rows[k]);
        common.even += bytes & 0xFF;
        common.odd += bytes >> 8;
    }
    return {{common.even + (top & 0xFF), common.odd + (top >> 8)},
            {common.even + (bottom & 0xFF), common.odd + (bottom >> 8)}};
}

// The sums of every second byte, those `distance` bytes after the even ones of the middle vector.
template <int distance>
[[gnu::always_inline]] inline U16 neighbours(const RowSums (&sums)[3]) {
    constexpr bool odd = distance % 2 != 0;
    constexpr int lanes = (distance - odd) / 2;
    const U16 before = odd ? sums[0].odd : sums[0].even, middle = odd ? sums[1].odd : sums[1].even,
              after = odd ? sums[2].odd : sums[2].even;
    if constexpr (lanes == 0)
        return middle;
    else if constexpr (lanes > 0)
        return lanesAfter(middle, after, Constant<lanes>());
    else
        return lanesAfter(before, middle, Constant<laneCount<U16> + lanes>());
}

// The means of the windows around the middle vector.
template <int radius, int channels>
[[gnu::always_inline]] inline U16 meansOf(const RowSums (&sums)[3], U16 evenFactors,
                                          U16 oddFactors) {
    U16 even = neighbours<-channels>(sums) + neighbours<channels>(sums), odd;
    if constexpr (channels == 1) { // both have most columns in common
        U16 common = neighbours<0>(sums) + neighbours<1>(sums);
        if constexpr (radius == 2)
            common += neighbours<-1>(sums) + neighbours<2>(sums);
        even = common + neighbours<-radius>(sums);
        odd = common + neighbours<radius + 1>(sums);
    } else {
        even += neighbours<0>(sums);
        odd = neighbours<1 - channels>(sums) + neighbours<1>(sums) + neighbours<1 + channels>(sums);
        if constexpr (radius == 2) {
            even += neighbours<-2 * channels>(sums) + neighbours<2 * channels>(sums);
            odd += neighbours<1 - 2 * channels>(sums) + neighbours<1 + 2 * channels>(sums);
        }
    }
    constexpr int shift = boxFactorBits(radius) - 16;
    return lowerBytes(multiplyHigh(even, evenFactors) >> shift,
                      multiplyHigh(odd, oddFactors) >> shift);
}

// At `x`, where a whole vector follows. Rows that means will overwrite are saved on the way.
[[gnu::always_inline]] inline TwoRowSums sumsOfVector(const BoxWindows& windows, int64_t x) {
    const TwoRowSums sums =
        sumsOfRows(windows, [x](const uint8_t* row) { return load<U16>(row + x); });
    for (int64_t k = 0; k < windows.savedCount; ++k)
        store(windows.slots[k] + x, load<U8>(windows.saved[k] + x));
    return sums;
}

// The same where the row ends within the vector, followed by zeros. Apart, as it is rare.
[[gnu::noinline]] TwoRowSums sumsOfRest(const BoxWindows& windows, int64_t x) {
    const int64_t rest = windows.bytes - x;
    const TwoRowSums sums = sumsOfRows(
        windows, [x, rest](const uint8_t* row) { return (U16)loadFirst(row + x, rest); });
    for (int64_t k = 0; k < windows.savedCount; ++k)
        storeFirst(windows.slots[k] + x, loadFirst(windows.saved[k] + x, rest), rest);
    return sums;
}

[[gnu::always_inline]] inline TwoRowSums sumsAt(const BoxWindows& windows, int64_t x) {
    if (x + vectorBytes <= windows.bytes)
        return sumsOfVector(windows, x);
    return x < windows.bytes ? sumsOfRest(windows, x) : TwoRowSums{};
}

template <int radius, int channels>
void filterWindows(const BoxWindows& windows) {
    const int64_t bytes = windows.bytes;
    const TwoRowSums start = sumsAt(windows, 0);
    // Of the vectors before `x`, at it and after it.
    RowSums first[3] = {{}, {}, start.first}, second[3] = {{}, {}, start.second};
    for (int64_t x = 0; x < bytes; x += vectorBytes) {
        // Every step belongs to two rows.
        prefetchLines(windows.rows[windows.count] + 2 * x, 2 * vectorBytes, bytesBelow);
        prefetchLines(windows.means[1] + 2 * x, 2 * vectorBytes, bytesBelow);
        const TwoRowSums next = sumsAt(windows, x + vectorBytes);
#pragma GCC unroll 2
        for (int k = 0; k < 2; ++k) {
            first[k] = first[k + 1];
            second[k] = second[k + 1];
        }
        first[2] = next.first;
        second[2] = next.second;
        const U16 even = load<U16>(windows.evenFactors + x / 2);
        const U16 odd = load<U16>(windows.oddFactors + x / 2);
        const auto firstMeans = (U8)meansOf<radius, channels>(first, even, odd);
        const auto secondMeans = (U8)meansOf<radius, channels>(second, even, odd);
        if (x + vectorBytes <= bytes) {
            store(windows.means[1] + x, secondMeans);
            store(windows.means[0] + x, firstMeans);
        } else {
            storeFirst(windows.means[1] + x, secondMeans, bytes - x);
            storeFirst(windows.means[0] + x, firstMeans, bytes - x);
        }
    }
}

void filterBoxWindows(const BoxWindows& windows) {
    if (windows.radius == 1)
        windows.channels == 1 ? filterWindows<1, 1>(windows) : filterWindows<1, 3>(windows);
    else
        windows.channels == 1 ? filterWindows<2, 1>(windows) : filterWindows<2, 3>(windows);
}

} // namespace

} // namespace kelvane::KELVANE_TARGET
