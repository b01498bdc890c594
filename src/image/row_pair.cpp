#include "image/row_pair.h"

#include "platform/prefetch.h"

#include <algorithm>
#include <bit>

namespace kelvane {

namespace {

// Rows that serve once and are finished without another.
bool standsAlone(const SourceRows& rows) {
    return rows.bottom == rows.top && rows.nextTop != rows.top;
}

int64_t stepBehind(const SourceRows& rows) { return rows.nextTop - rows.top; }

// How many rows from `y` on stand alone at equal distances.
int64_t countAlone(const SourceRowTable& table, int64_t y) {
    const int64_t distance = stepBehind(table.at(y));
    int64_t end = y;
    bool goesOn = true;
    for (; goesOn && end < table.size(); ++end) {
        const SourceRows rows = table.at(end);
        if (!standsAlone(rows))
            break;
        goesOn = stepBehind(rows) == distance;
    }
    return end - y;
}

} // namespace

RowPair::RowPair(SourcePlane sourcePlane, int64_t sourcePixels, const SampleMap& map,
                 int64_t sampleCount, void* storage)
    : plane(sourcePlane), sourceBytes(sourcePixels * map.pixelBytes), count(sampleCount),
      kernels(&kernelsFor(count)), plan(storage),
      resampler(kernels->planRow(map, count, sourceBytes, storage)) {
    // On the boundary of a vector, if it fills one, for the sake of speed.
    const auto alignment =
        std::min<int64_t>(static_cast<int64_t>(std::bit_floor(static_cast<uint64_t>(count))), 64);
    auto end = reinterpret_cast<intptr_t>(storage) + bytesPerSample * count;
    for (RowValue*& row : values) {
        end = (end - valueBytes * count) / alignment * alignment;
        row = reinterpret_cast<RowValue*>(end);
    }
}

void RowPair::blend(const SourceRows& rows, unsigned char* out) {
    const int topSlot = rows.top == held[1] ? 1 : 0;
    if (standsAlone(rows) && held[topSlot] != rows.top) {
        finish(rows, 1, out, 0);
        return;
    }
    if (rows.nextTop > rows.bottom)
        prefetchRowStart(rowAt(rows.nextTop), sourceBytes);
    const int bottomSlot = rows.bottom == rows.top ? topSlot : 1 - topSlot;
    hold(topSlot, rows.top);
    hold(bottomSlot, rows.bottom);
    kernels->blendRows(values[topSlot], values[bottomSlot], rows.weight, count, out);
}

void RowPair::blendAll(const SourceRowTable& table, unsigned char* out, int64_t pitch) {
    for (int64_t y = 0; y < table.size();) {
        const SourceRows rows = table.at(y);
        const int64_t alone = countAlone(table, y);
        if (alone > 1)
            finish(rows, alone, out + y * pitch, pitch);
        else
            blend(rows, out + y * pitch);
        y += std::max<int64_t>(alone, 1);
    }
}

void RowPair::finish(const SourceRows& rows, int64_t rowCount, unsigned char* out, int64_t pitch) {
    const int64_t step = rows.nextTop < 0 ? 0 : stepBehind(rows) * plane.pitch;
    resampler.makeBytes(rowAt(rows.top), step, rowCount, plan, count, out, pitch);
}

void RowPair::hold(int slot, int64_t row) {
    if (held[slot] == row)
        return;
    resampler.makeValues(rowAt(row), plan, count, values[slot]);
    held[slot] = row;
}

} // namespace kelvane
