// The box filter with small windows: their sums are made from the rows, for two rows of windows at
// once, and no counters have to be kept.
#include "image/box_filter.h"
#include "simd/kernels.h"

#include <algorithm>

namespace kelvane {

namespace {

// Whether factors of few bits give the same mean as the reciprocal, for every sum.
constexpr bool areFactorsExact(uint32_t radius) {
    const int bits = boxFactorBits(radius);
    for (uint32_t columns = radius + 1; columns <= 2 * radius + 1; ++columns)
        for (uint32_t rows = 2; rows <= 5; ++rows) {
            const uint32_t reciprocal = (1u << boxReciprocalBits) / (columns * rows);
            const uint32_t factor = reciprocal >> (boxReciprocalBits - bits);
            for (uint32_t sum = 0; sum <= 255 * columns * rows; ++sum)
                if (factor > UINT16_MAX ||
                    sum * factor >> bits != sum * reciprocal >> boxReciprocalBits)
                    return false;
        }
    return true;
}
static_assert(areFactorsExact(1) && areFactorsExact(2));

class SmallWindows {
public:
    SmallWindows(const BoxFilter& filter, const BoxMemory& memory)
        : filter_(filter), memory_(memory), inPlace_(filter.source == filter.destination),
          evenFactors_(reinterpret_cast<uint16_t*>(memory.columnSums)),
          oddFactors_(evenFactors_ + filter.rowBytes()) {}

    void filterAll() {
        for (int64_t y = 0; y < filter_.height;)
            y = filterFrom(y);
    }

private:
    const BoxFilter& filter_;
    const BoxMemory& memory_;
    bool inPlace_;
    uint16_t* evenFactors_;
    uint16_t* oddFactors_;
    int64_t factorRows_ = 0; // height of the windows that the factors are for

    // Filters two rows, or one where the image's border cuts its windows; returns the next row.
    int64_t filterFrom(int64_t y) {
        const bool two = y >= filter_.top && y + 1 + filter_.bottom < filter_.height;
        const int64_t end = y + (two ? 2 : 1);
        const int64_t top = std::max(y - filter_.top, int64_t{0});
        const int64_t bottom = std::min(y + filter_.bottom, filter_.height - 1);
        makeFactors(bottom - top + 1);
        BoxWindows windows = {.rows = {},
                              .count = bottom - top + 1,
                              .bytes = filter_.rowBytes(),
                              .channels = filter_.channels,
                              .radius = filter_.left,
                              .evenFactors = evenFactors_,
                              .oddFactors = oddFactors_,
                              .means = {filter_.destinationRow(y), filter_.destinationRow(end - 1)},
                              .saved = {},
                              .slots = {},
                              .savedCount = 0};
        for (int64_t row = top; row <= bottom; ++row)
            windows.rows[row - top] = inPlace_ && row < y ? slot(row) : filter_.sourceRow(row);
        windows.rows[windows.count] = filter_.sourceRow(std::min(bottom + 1, filter_.height - 1));
        for (int64_t row = std::max(end - filter_.top, y); inPlace_ && row < end; ++row) {
            windows.saved[windows.savedCount] = filter_.sourceRow(row);
            windows.slots[windows.savedCount++] = slot(row);
        }
        kernels_.filterBoxWindows(windows);
        return end;
    }

    unsigned char* slot(int64_t row) const {
        return memory_.savedRows + row % filter_.top * filter_.rowBytes();
    }

    void makeFactors(int64_t rows) {
        if (rows == factorRows_)
            return;
        factorRows_ = rows;
        const uint32_t* const reciprocals =
            memory_.reciprocals + (rows - memory_.heights.shortest) * memory_.widths.count();
        const int64_t radius = filter_.left, channels = filter_.channels;
        const auto factor = [&](int64_t columns) {
            return static_cast<uint16_t>(reciprocals[columns - memory_.widths.shortest] >>
                                         (boxReciprocalBits - boxFactorBits(radius)));
        };
        std::fill_n(evenFactors_, 2 * filter_.rowBytes(), factor(2 * radius + 1));
        const auto set = [&](int64_t byte, uint16_t value) {
            (byte % 2 == 0 ? evenFactors_ : oddFactors_)[byte / 2] = value;
        };
        for (int64_t i = 0; i < radius * channels; ++i) {
            const uint16_t cut = factor(radius + 1 + i / channels);
            set(i, cut);
            set(filter_.rowBytes() - 1 - i, cut);
        }
    }

    const Kernels& kernels_ = kernelsFor(filter_.rowBytes());
};

} // namespace

bool hasSmallWindows(const BoxFilter& filter, const BoxMemory& memory) {
    constexpr int64_t shortestVector = 16;
    const bool inPlace = filter.source == filter.destination;
    return filter.left == filter.right && filter.left >= 1 && filter.left <= 2 &&
           filter.width > 2 * filter.left && filter.rowBytes() >= shortestVector &&
           std::min(filter.top, filter.bottom) >= 1 && std::max(filter.top, filter.bottom) <= 2 &&
           (!inPlace || memory.savedCount >= filter.top);
}

void filterSmallWindows(const BoxFilter& filter, const BoxMemory& memory) {
    SmallWindows(filter, memory).filterAll();
}

} // namespace kelvane
