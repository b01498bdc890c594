// Sums of absolute differences.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace kelvane {

// Sum of |a[x] - b[x]|. The runs keep the 32-bit sums, in which compilers vectorise, from
// overflowing.
inline int64_t sumOfAbsoluteDifferences(const unsigned char* a, const unsigned char* b,
                                        int64_t count) {
    constexpr int64_t run = int64_t{1} << 22;
    int64_t total = 0;
    for (int64_t start = 0; start < count; start += run) {
        const int64_t end = std::min(count, start + run);
        int32_t sum = 0;
        for (int64_t x = start; x < end; ++x)
            sum += std::abs(a[x] - b[x]);
        total += sum;
    }
    return total;
}

} // namespace kelvane
