// Bilinear resize of one plane of 8-bit samples.
#include "kelvane/kelvane.h"

#include "image/position.h"
#include "image/row_pair.h"

namespace kelvane {

namespace {

// The resize buffer: the interpolated column count, room for two rows of 64-bit accumulators, the
// column table, the row table. The rows need less than that room; their plan shares it.
constexpr int64_t accumulatorBytes = 2 * sizeof(int64_t);

static_assert(RowPair::bytesPerSample <= accumulatorBytes);

// Null when the size cannot be represented, too.
void* allocResizeBuffer(void* memHandle, int64_t dstWidth, int64_t dstHeight, int64_t channels) {
    int64_t accumulators = 0;
    int64_t tables = 0;
    int64_t size = 0;
    const bool wraps = __builtin_mul_overflow(dstWidth, channels, &accumulators) ||
                       __builtin_mul_overflow(accumulators, accumulatorBytes, &accumulators) ||
                       __builtin_add_overflow(dstWidth, dstHeight, &tables) ||
                       __builtin_mul_overflow(tables, int64_t{sizeof(Position)}, &tables) ||
                       __builtin_add_overflow(accumulators, tables, &size) ||
                       __builtin_add_overflow(size, int64_t{sizeof(int64_t)}, &size);
    return wraps ? nullptr : VantMemAlloc(memHandle, size);
}

class ResizeBuffer {
public:
    ResizeBuffer(void* buffer, int64_t dstWidth, int64_t channels)
        : interpolated(static_cast<int64_t*>(buffer)),
          accumulators(reinterpret_cast<unsigned char*>(interpolated + 1)),
          columns(
              reinterpret_cast<Position*>(accumulators + accumulatorBytes * dstWidth * channels)),
          rows(columns + dstWidth) {}

    int64_t* const interpolated;
    unsigned char* const accumulators;
    Position* const columns;
    Position* const rows;
};

void copyRows(SourcePlane source, int64_t rowBytes, unsigned char* dst, int64_t dstPitch,
              int64_t rows) {
    for (int64_t y = 0; y < rows; ++y)
        VantMemCpy(dst + y * dstPitch, source.bytes + y * source.pitch, rowBytes);
}

bool isTwice(int64_t size, int64_t other) { return size % 2 == 0 && size / 2 == other; }

} // namespace

} // namespace kelvane

using namespace kelvane;

extern "C" {

long ImageResize_AllocMem_BL(void* memHandle, long srcWidth, long srcHeight, long channels,
                             long dstWidth, long dstHeight, void** buffer) {
    if (buffer == nullptr || !isSourceSide(srcWidth) || !isSourceSide(srcHeight) || channels <= 0 ||
        dstWidth <= 0 || dstHeight <= 0)
        return ERR_INVALID_PARAM;
    if (*buffer != nullptr)
        VantMemFree(memHandle, *buffer);
    *buffer = allocResizeBuffer(memHandle, dstWidth, dstHeight, channels);
    if (*buffer == nullptr)
        return ERR_NO_MEMORY;
    const ResizeBuffer fields(*buffer, dstWidth, channels);
    fillRowTable(CornerAligned(srcHeight, dstHeight), dstHeight, fields.rows);
    *fields.interpolated =
        fillColumnTable(CornerAligned(srcWidth, dstWidth), srcWidth, dstWidth, fields.columns);
    return ERR_NONE;
}

long ImageResize_BL(const unsigned char* src, long srcWidth, long srcHeight, long srcPitch,
                    long channels, unsigned char* dst, long dstWidth, long dstHeight, long dstPitch,
                    void** buffer) {
    const SourcePlane source{src, srcPitch};
    if (srcWidth == dstWidth && srcHeight == dstHeight) {
        copyRows(source, dstWidth * channels, dst, dstPitch, dstHeight);
        return ERR_NONE;
    }
    if (buffer == nullptr || *buffer == nullptr)
        return ERR_INVALID_PARAM;
    if (channels != 1 && channels != 2)
        return ERR_UNSUPPORTED;
    if (dstWidth <= 0 || dstHeight <= 0)
        return ERR_NONE;

    if (channels == 1 && isTwice(dstWidth, srcWidth) && isTwice(dstHeight, srcHeight)) {
        kernelsFor(srcWidth).doublePlane(src, srcPitch, srcWidth, srcHeight, dst, dstPitch);
        return ERR_NONE;
    }
    const ResizeBuffer fields(*buffer, dstWidth, channels);
    const SampleMap map = {.columns = fields.columns,
                           .interpolated = *fields.interpolated,
                           .channels = channels,
                           .pixelBytes = static_cast<uint32_t>(channels),
                           .firstByte = 0,
                           .channelStep = 1,
                           .average = false};
    RowPair pair(source, srcWidth, map, dstWidth * channels, fields.accumulators);
    pair.blendAll(SourceRowTable(fields.rows, dstHeight, srcHeight), dst, dstPitch);
    return ERR_NONE;
}

} // extern "C"
