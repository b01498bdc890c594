// Where the samples of a resized row or column come from.
#pragma once

#include "platform/conversion.h"
#include "simd/sample_map.h"

#include <cstdint>

namespace kelvane {

// Source sides below 2^16, for the sake of the index.
inline bool isSourceSide(int64_t side) { return side > 0 && side <= UINT16_MAX; }

// The position of a source coordinate of at least -0.5.
inline Position positionOf(float coordinate) {
    const int32_t index = truncateTo<int32_t>(coordinate);
    const float fraction = coordinate - static_cast<float>(index);
    if (fraction < 0.0f)
        return {0, 0};
    return {static_cast<uint16_t>(index),
            static_cast<uint16_t>(truncateTo<int32_t>(fraction * 128.0f + 0.5f))};
}

// Maps destination sample 0 onto source sample 0.
class CornerAligned {
public:
    CornerAligned(int64_t sourceSize, int64_t destinationSize)
        : scale(static_cast<float>(sourceSize) / static_cast<float>(destinationSize)) {}
    Position at(int64_t index) const { return positionOf(static_cast<float>(index) * scale); }

private:
    float scale;
};

// Maps the centre of the destination onto the centre of the source.
class CentreAligned {
public:
    CentreAligned(int64_t sourceSize, int64_t destinationSize)
        : ratio(static_cast<float>(sourceSize) / static_cast<float>(destinationSize)) {}
    // The product of an index below 2^28 and a 24-bit ratio is exact in double precision, so this
    // is what a fused multiply-add gives.
    Position at(int64_t index) const {
        const double centre = (static_cast<double>(index) + 0.5) * static_cast<double>(ratio);
        return positionOf(static_cast<float>(centre - 0.5));
    }

private:
    float ratio;
};

template <typename Alignment>
void fillRowTable(Alignment alignment, int64_t count, Position* table) {
    for (int64_t y = 0; y < count; ++y)
        table[y] = alignment.at(y);
}

// Columns that reach the last source column take only that. Returns the first of them, or `count`.
template <typename Alignment>
int64_t fillColumnTable(Alignment alignment, int64_t sourceWidth, int64_t count, Position* table) {
    const auto last = static_cast<uint16_t>(sourceWidth - 1);
    int64_t interpolated = count;
    for (int64_t x = count - 1; x >= 0; --x) {
        table[x] = alignment.at(x);
        if (table[x].index >= last) {
            table[x] = {last, 0};
            interpolated = x;
        }
    }
    return interpolated;
}

// The two source rows of a destination row.
struct SourceRows {
    int64_t top;
    int64_t bottom;  // the row below `top`, or `top` when that is all there is
    int32_t weight;  // of the bottom one
    int64_t nextTop; // of the next destination row; -1 after the last one
};

// The source rows of all destination rows.
class SourceRowTable {
public:
    SourceRowTable(const Position* rowTable, int64_t rowCount, int64_t sourceHeight)
        : table(rowTable), count(rowCount), last(sourceHeight - 1) {}
    int64_t size() const { return count; }
    SourceRows at(int64_t y) const {
        const int64_t top = topAt(y);
        const int32_t weight = table[y].weight;
        return {top, weight != 0 && top < last ? top + 1 : top, weight,
                y + 1 < count ? topAt(y + 1) : -1};
    }

private:
    // Single precision can map the last rows of an extreme enlargement to below the source.
    int64_t topAt(int64_t y) const { return table[y].index < last ? table[y].index : last; }

    const Position* table;
    int64_t count;
    int64_t last;
};

} // namespace kelvane
