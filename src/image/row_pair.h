// The vertical pass of a resize, and the two rows that it blends.
#pragma once

#include "image/position.h"
#include "image/row_resampler.h"

#include <cstdint>

namespace kelvane {

// One plane of an image; the pitch may be negative.
struct SourcePlane {
    const unsigned char* bytes;
    int64_t pitch;
};

// out[k] = (128 * top[k] + weight * (bottom[k] - top[k]) + 2^13) >> 14, with weight 0..128.
void blendRows(const RowValue* top, const RowValue* bottom, int32_t weight, int64_t count,
               unsigned char* out);

// Two resampled source rows, kept while destination rows go on sharing them.
class RowPair {
public:
    RowPair() = default;

    // `storage` holds 2 * `count` values.
    RowPair(SourcePlane sourcePlane, RowResampler rowResampler, int64_t sampleCount,
            RowValue* storage)
        : plane(sourcePlane), resampler(rowResampler),
          count(sampleCount), values{storage, storage + sampleCount} {}

    // Blends two source rows. Rows may only move down from call to call.
    void blend(SourceRows rows, int32_t weight, unsigned char* out) {
        const int topSlot = rows.top == held[1] ? 1 : 0;
        const int bottomSlot = rows.bottom == rows.top ? topSlot : 1 - topSlot;
        hold(topSlot, rows.top);
        hold(bottomSlot, rows.bottom);
        blendRows(values[topSlot], values[bottomSlot], weight, count, out);
    }

private:
    void hold(int slot, int64_t row) {
        if (held[slot] == row)
            return;
        resampler.resample(plane.bytes + row * plane.pitch, values[slot]);
        held[slot] = row;
    }

    SourcePlane plane{};
    RowResampler resampler;
    int64_t count = 0;
    RowValue* values[2] = {};
    int64_t held[2] = {-1, -1}; // source rows
};

} // namespace kelvane
