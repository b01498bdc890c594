#include "memory_roof.h"

#include <cstring>

#include <benchmark/benchmark.h>

namespace {

#if defined(__x86_64__)
#define WIDEST_VECTORS __attribute__((target_clones("avx512f", "avx2", "default")))
#else
#define WIDEST_VECTORS
#endif

// Four sums, so that no load waits for an addition.
WIDEST_VECTORS
uint64_t sumOfWords(const unsigned char* row, int64_t count) {
    using Vector = uint64_t __attribute__((vector_size(64), aligned(1), may_alias));
    Vector sums[4] = {};
    int64_t i = 0;
    for (; i + 256 <= count; i += 256) {
        for (int k = 0; k < 4; ++k)
            sums[k] += *reinterpret_cast<const Vector*>(row + i + 64 * k);
    }
    for (; i + 64 <= count; i += 64)
        sums[0] += *reinterpret_cast<const Vector*>(row + i);
    const Vector all = sums[0] + sums[1] + sums[2] + sums[3];
    return all[0] + all[1] + all[2] + all[3] + all[4] + all[5] + all[6] + all[7];
}

} // namespace

void readRows(const std::vector<RowSpan>& spans) {
    uint64_t sum = 0;
    for (const RowSpan& span : spans) {
        for (int64_t y = 0; y < span.rows; ++y)
            sum += sumOfWords(span.first + y * span.step, span.rowBytes);
    }
    benchmark::DoNotOptimize(sum);
}

void copyRows(const RowSpan& from, unsigned char* to) {
    for (int64_t y = 0; y < from.rows; ++y)
        std::memcpy(to + y * from.rowBytes, from.first + y * from.step,
                    static_cast<size_t>(from.rowBytes));
    benchmark::ClobberMemory();
}
