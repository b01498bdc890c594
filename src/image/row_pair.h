// Two resampled source rows, and the vertical pass of a resize that blends them.
#pragma once

#include "image/position.h"
#include "simd/kernels.h"

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
            int64_t sampleCount, void* storage);

    // Blends two source rows. Rows may only move down from call to call.
    void blend(const SourceRows& rows, unsigned char* out);

    // The same for all rows of a destination.
    void blendAll(const SourceRowTable& table, unsigned char* out, int64_t pitch);

private:
    const unsigned char* rowAt(int64_t row) const { return plane.bytes + row * plane.pitch; }

    void hold(int slot, int64_t row);

    // Rows that need no other, from the first one on.
    void finish(const SourceRows& rows, int64_t rowCount, unsigned char* out, int64_t pitch);

    SourcePlane plane{};
    int64_t sourceBytes = 0;
    int64_t count = 0;
    const Kernels* kernels = nullptr;
    void* plan = nullptr;
    RowResampler resampler{};
    RowValue* values[2] = {};
    int64_t held[2] = {-1, -1}; // source rows
};

} // namespace kelvane
