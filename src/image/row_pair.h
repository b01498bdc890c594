// Two resampled source rows, and the vertical pass of a resize that blends them.
#pragma once

#include "image/row_operations.h"

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
    static constexpr int64_t valueBytes = sizeof(RowValue);
    static constexpr int64_t bytesPerSample = planBytesPerSample + 2 * valueBytes;

    RowPair() = default;

    // The storage, aligned to 4 bytes, holds `bytesPerSample` for each of `sampleCount` samples.
    RowPair(SourcePlane sourcePlane, int64_t sourcePixels, const SampleMap& map,
            int64_t sampleCount, void* storage)
        : plane(sourcePlane), count(sampleCount), operations(rowOperations(count)), plan(storage),
          resampler(operations.planRow(map, count, sourcePixels * map.pixelBytes, storage)) {
        auto end = reinterpret_cast<intptr_t>(storage) + bytesPerSample * count;
        for (RowValue*& row : values) {
            end = (end - valueBytes * count) / operations.alignment * operations.alignment;
            row = reinterpret_cast<RowValue*>(end);
        }
    }

    // Blends two source rows. Rows may only move down from call to call.
    void blend(SourceRows rows, unsigned char* out) {
        const int64_t ahead =
            rows.nextTop > rows.bottom ? (rows.nextTop - rows.top) * plane.pitch : 0;
        const int topSlot = rows.top == held[1] ? 1 : 0;
        if (rows.bottom == rows.top && rows.nextTop != rows.top && held[topSlot] != rows.top) {
            resampler.makeBytes(rowAt(rows.top), ahead, plan, count, out);
            return;
        }
        const int bottomSlot = rows.bottom == rows.top ? topSlot : 1 - topSlot;
        hold(topSlot, rows.top, ahead);
        hold(bottomSlot, rows.bottom, ahead);
        operations.blendRows(values[topSlot], values[bottomSlot], rows.weight, count, out);
    }

    void blendAll(const SourceRowTable& rows, unsigned char* out, int64_t pitch) {
        for (int64_t y = 0; y < rows.size(); ++y)
            blend(rows.at(y), out + y * pitch);
    }

private:
    const unsigned char* rowAt(int64_t row) const { return plane.bytes + row * plane.pitch; }

    void hold(int slot, int64_t row, int64_t ahead) {
        if (held[slot] == row)
            return;
        resampler.makeValues(rowAt(row), ahead, plan, count, values[slot]);
        held[slot] = row;
    }

    SourcePlane plane{};
    int64_t count = 0;
    RowOperations operations{};
    void* plan = nullptr;
    RowResampler resampler{};
    RowValue* values[2] = {};
    int64_t held[2] = {-1, -1}; // source rows
};

} // namespace kelvane
