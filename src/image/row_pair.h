// Two resampled source rows, and the vertical pass of a resize that blends them.
#pragma once

#include "image/row_operations.h"

#include <algorithm>
#include <cstdint>

namespace kelvane {

// One plane of an image; the pitch may be negative.
struct SourcePlane {
    const unsigned char* bytes;
    int64_t pitch;
};

// Keeps resampled rows while destination rows go on sharing them.
class RowPair {
public:
    static constexpr int64_t bytesPerSample = planBytesPerSample + 2 * sizeof(RowValue);

    RowPair() = default;

    // The storage, aligned to 4 bytes, holds `bytesPerSample` for each of `sampleCount` samples.
    RowPair(SourcePlane sourcePlane, const SampleMap& map, int64_t sampleCount, int64_t rowBytes,
            void* storage)
        : plane(sourcePlane), count(sampleCount), operations(rowOperations(count)), plan(storage),
          resampleRow(operations.planRow(map, count, rowBytes, storage)) {
        auto end = reinterpret_cast<uintptr_t>(storage) + bytesPerSample * count;
        for (RowValue*& row : values) {
            end = (end - sizeof(RowValue) * count) / operations.alignment * operations.alignment;
            row = reinterpret_cast<RowValue*>(end);
        }
    }

    // Blends two source rows. Rows may only move down from call to call.
    void blend(SourceRows rows, int32_t weight, unsigned char* out) {
        const int topSlot = rows.top == held[1] ? 1 : 0;
        const int bottomSlot = rows.bottom == rows.top ? topSlot : 1 - topSlot;
        hold(topSlot, rows.top);
        hold(bottomSlot, rows.bottom);
        operations.blendRows(values[topSlot], values[bottomSlot], weight, count, out);
    }

private:
    void hold(int slot, int64_t row) {
        if (held[slot] == row)
            return;
        // The processor foresees rows that follow one another, but not those behind a gap.
        const int64_t last = std::max(held[0], held[1]);
        const int64_t step = last >= 0 && row - last > 1 ? row - held[slot] : 0;
        resampleRow(plane.bytes + row * plane.pitch, step * plane.pitch, plan, count, values[slot]);
        held[slot] = row;
    }

    SourcePlane plane{};
    int64_t count = 0;
    RowOperations operations{};
    void* plan = nullptr;
    ResampleRow* resampleRow = nullptr;
    RowValue* values[2] = {};
    int64_t held[2] = {-1, -1}; // source rows
};

} // namespace kelvane
