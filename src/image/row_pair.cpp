#include "image/row_pair.h"

namespace kelvane {

RowPair::RowPair(SourcePlane sourcePlane, int64_t sourcePixels, const SampleMap& map,
                 int64_t sampleCount, void* storage)
    : plane(sourcePlane), count(sampleCount), operations(rowOperations(count)), plan(storage),
      resampler(operations.planRow(map, count, sourcePixels * map.pixelBytes, storage)) {
    auto end = reinterpret_cast<intptr_t>(storage) + bytesPerSample * count;
    for (RowValue*& row : values) {
        end = (end - valueBytes * count) / operations.alignment * operations.alignment;
        row = reinterpret_cast<RowValue*>(end);
    }
}

void RowPair::blend(const SourceRows& rows, unsigned char* out, int64_t outAhead) {
    const int64_t ahead = rows.nextTop > rows.bottom ? (rows.nextTop - rows.top) * plane.pitch : 0;
    const int topSlot = rows.top == held[1] ? 1 : 0;
    // A row that serves once needs no values.
    if (rows.bottom == rows.top && rows.nextTop != rows.top && held[topSlot] != rows.top) {
        resampler.makeBytes(rowAt(rows.top), ahead, plan, count, out);
        return;
    }
    const int bottomSlot = rows.bottom == rows.top ? topSlot : 1 - topSlot;
    hold(topSlot, rows.top, ahead);
    hold(bottomSlot, rows.bottom, ahead);
    operations.blendRows(values[topSlot], values[bottomSlot], rows.weight, count, out, outAhead);
}

void RowPair::blendAll(const SourceRowTable& rows, unsigned char* out, int64_t pitch) {
    for (int64_t y = 0; y < rows.size(); ++y)
        blend(rows.at(y), out + y * pitch, y + 1 < rows.size() ? pitch : 0);
}

void RowPair::hold(int slot, int64_t row, int64_t ahead) {
    if (held[slot] == row)
        return;
    resampler.makeValues(rowAt(row), ahead, plan, count, values[slot]);
    held[slot] = row;
}

} // namespace kelvane
