// Bilinear resize with conversion to packed 24-bit pixels.
#include "kelvane/kelvane.h"

#include "image/position.h"
#include "image/row_pair.h"

#include <algorithm>

namespace kelvane {

namespace {

// Hands out pieces of the work block, the most strictly aligned ones first.
class WorkBlock {
public:
    explicit WorkBlock(void* block) : next(static_cast<unsigned char*>(block)) {}
    template <typename Element>
    Element* take(int64_t count) {
        auto* const piece = reinterpret_cast<Element*>(next);
        next += count * static_cast<int64_t>(sizeof(Element));
        return piece;
    }

private:
    unsigned char* next;
};

// The size that callers know: two rows of 3 * width 64-bit accumulators, three table entries for
// each column and one for each row. False when it cannot be represented.
bool workBlockSize(int64_t width, int64_t height, int64_t* size) {
    constexpr int64_t columnBytes = 2 * 3 * sizeof(int64_t) + 3 * sizeof(Position);
    int64_t columns = 0;
    int64_t rows = 0;
    return !__builtin_mul_overflow(width, columnBytes, &columns) &&
           !__builtin_mul_overflow(height, int64_t{sizeof(Position)}, &rows) &&
           !__builtin_add_overflow(columns, rows, size);
}

bool isSupported(uint32_t format) {
    return format == KELVANE_FORMAT_BGR24 || format == KELVANE_FORMAT_YUYV ||
           format == KELVANE_FORMAT_YUV420 || format == KELVANE_FORMAT_YUV420_CRCB;
}

// Where an image keeps its chroma.
struct ChromaLayout {
    int64_t planeCount; // Cb and Cr in a plane each, or both in one
    int firstPlane;
    uint32_t bytesPerSample; // from one Cb, Cr pair to the next in a row
    uint32_t cb;             // in the bytes of a pair
    int32_t crDistance;      // from Cb to Cr in one plane
    int64_t lumaRows;        // luma rows that share a chroma row
};

ChromaLayout chromaLayoutOf(uint32_t format) {
    switch (format) {
    case KELVANE_FORMAT_YUYV: return {1, 0, 4, 1, 2, 1};
    case KELVANE_FORMAT_YUV420_CRCB: return {1, 1, 2, 1, -1, 2};
    default: return {2, 1, 1, 0, 1, 2};
    }
}

// A 4:2:0 image that is one pixel wide or high has no chroma sample.
bool hasChroma(const __tag_KIRO_OFFSCREEN& image, const ChromaLayout& layout) {
    return image.width > 1 && image.height >= layout.lumaRows;
}

bool hasPlanes(const __tag_KIRO_OFFSCREEN& image) {
    if (image.planes[0] == nullptr)
        return false;
    const ChromaLayout layout = chromaLayoutOf(image.format);
    if (image.format == KELVANE_FORMAT_BGR24 || !hasChroma(image, layout))
        return true;
    return image.planes[layout.firstPlane] != nullptr &&
           image.planes[layout.firstPlane + layout.planeCount - 1] != nullptr;
}

// One call's geometry and work block.
class Conversion {
public:
    Conversion(const __tag_KIRO_OFFSCREEN& sourceImage, void* block, unsigned char* destination,
               int64_t dstWidth, int64_t dstHeight, int64_t dstPitch)
        : source(sourceImage), out(destination), width(dstWidth), height(dstHeight),
          pitch(dstPitch), kernels(kernelsFor(width)), work(block),
          rows(work.take<Position>(height)), columns(work.take<Position>(width)),
          sourceRows(rows, height, source.height) {
        fillRowTable(CentreAligned(source.height, height), height, rows);
        interpolated =
            fillColumnTable(CentreAligned(source.width, width), source.width, width, columns);
    }

    void convertBgr();
    void convertYuv();

private:
    RowPair makeRowPair(SourcePlane plane, int64_t sourcePixels, const SampleMap& map,
                        int64_t samples) {
        return {plane, sourcePixels, map, samples,
                work.take<unsigned char>(RowPair::bytesPerSample * samples)};
    }

    RowPair makeChannelRows(int64_t channels, uint32_t bytesPerPixel);
    SampleMap makeChromaMap(const ChromaLayout& layout);

    const __tag_KIRO_OFFSCREEN& source;
    unsigned char* const out;
    const int64_t width;
    const int64_t height;
    const int64_t pitch;
    const Kernels& kernels;
    WorkBlock work;
    Position* const rows;
    Position* const columns;
    SourceRowTable sourceRows;
    int64_t interpolated;
};

// The first `channels` bytes of every pixel of plane 0.
RowPair Conversion::makeChannelRows(int64_t channels, uint32_t bytesPerPixel) {
    const SampleMap map = {.columns = columns,
                           .interpolated = interpolated,
                           .channels = channels,
                           .pixelBytes = bytesPerPixel,
                           .firstByte = 0,
                           .channelStep = 1,
                           .average = false};
    return makeRowPair({source.planes[0], source.pitches[0]}, source.width, map, width * channels);
}

// Each sample is the mean of the chroma of two neighbouring destination pixels; an odd last pixel
// stands for both. Planes with Cb and Cr give both for each pair of pixels.
SampleMap Conversion::makeChromaMap(const ChromaLayout& layout) {
    const int64_t pairs = (width + 1) / 2;
    const int64_t last = source.width / 2 - 1;
    auto* const chromaColumns = work.take<Position>(pairs);
    for (int64_t i = 0; i < pairs; ++i) {
        const int64_t left = std::min<int64_t>(columns[2 * i].index / 2, last);
        const int64_t right =
            std::min<int64_t>(columns[std::min(2 * i + 1, width - 1)].index / 2, last);
        chromaColumns[i] = {static_cast<uint16_t>(left), static_cast<uint16_t>(right - left)};
    }
    return {.columns = chromaColumns,
            .interpolated = pairs,
            .channels = layout.planeCount == 1 ? 2 : 1,
            .pixelBytes = layout.bytesPerSample,
            .firstByte = layout.cb,
            .channelStep = layout.crDistance,
            .average = true};
}

void Conversion::convertBgr() {
    RowPair pair = makeChannelRows(3, 3);
    pair.blendAll(sourceRows, out, pitch);
}

void Conversion::convertYuv() {
    const ChromaLayout layout = chromaLayoutOf(source.format);
    const int64_t pairs = (width + 1) / 2;
    RowPair luma = makeChannelRows(1, source.format == KELVANE_FORMAT_YUYV ? 2u : 1u);
    RowPair chroma[2];
    const int64_t chromaPlanes = hasChroma(source, layout) ? layout.planeCount : 0;
    if (chromaPlanes > 0) {
        const SampleMap map = makeChromaMap(layout);
        // Both planes of Cb and Cr lie at the pitch of the first one.
        for (int64_t plane = 0; plane < chromaPlanes; ++plane)
            chroma[plane] = makeRowPair(
                {source.planes[layout.firstPlane + plane], source.pitches[layout.firstPlane]},
                source.width / 2, map, pairs * map.channels);
    }
    auto* const lumaBytes = work.take<unsigned char>(width);
    auto* const chromaBytes = work.take<unsigned char>(2 * pairs);
    VantMemSet(chromaBytes, 128, 2 * pairs);
    const ChromaRow chromaRow = layout.planeCount == 1
                                    ? ChromaRow{chromaBytes, chromaBytes + 1, 2}
                                    : ChromaRow{chromaBytes, chromaBytes + pairs, 1};
    const int64_t lastChromaRow = source.height / layout.lumaRows - 1;
    const auto chromaRowOf = [&](int64_t row) {
        return row < 0 ? row : std::min(row / layout.lumaRows, lastChromaRow);
    };
    for (int64_t y = 0; y < height; ++y) {
        const SourceRows lumaRows = sourceRows.at(y);
        luma.blend(lumaRows, lumaBytes);
        const SourceRows chromaRows = {chromaRowOf(lumaRows.top), chromaRowOf(lumaRows.bottom), 64,
                                       chromaRowOf(lumaRows.nextTop)};
        for (int64_t plane = 0; plane < chromaPlanes; ++plane)
            chroma[plane].blend(chromaRows, chromaBytes + plane * pairs);
        kernels.writeBgr(lumaBytes, chromaRow, width, out + y * pitch);
    }
}

// Whether the pixels of the source can be read, and can be placed.
bool isConvertible(const __tag_KIRO_OFFSCREEN& source) {
    // The chroma of an unpaired last pixel would be cut off.
    const bool unpaired = source.format == KELVANE_FORMAT_YUYV && source.width % 2 != 0;
    return isSourceSide(source.width) && isSourceSide(source.height) && hasPlanes(source) &&
           !unpaired;
}

void convert(const __tag_KIRO_OFFSCREEN& source, void* block, unsigned char* out, int64_t width,
             int64_t height, int64_t pitch) {
    Conversion conversion(source, block, out, width, height, pitch);
    if (source.format == KELVANE_FORMAT_BGR24)
        conversion.convertBgr();
    else
        conversion.convertYuv();
}

} // namespace

} // namespace kelvane

using namespace kelvane;

extern "C" long ImageResize_BL_ToBGR24(void* memHandle, const __tag_KIRO_OFFSCREEN* src,
                                       unsigned char* dst, long dstWidth, long dstHeight,
                                       long dstPitch) {
    if (src == nullptr)
        return ERR_INVALID_PARAM;
    int64_t size = 0;
    if (!workBlockSize(dstWidth, dstHeight, &size))
        return ERR_NO_MEMORY;
    // A size of zero or less asks for no memory, and is no failure of it.
    void* const block = size > 0 ? VantMemAlloc(memHandle, size) : nullptr;
    if (block == nullptr && size > 0)
        return ERR_NO_MEMORY;
    long code = isSupported(src->format) ? ERR_NONE : ERR_UNSUPPORTED;
    // Where there is no pixel to read or to write, planes may be null.
    const bool empty = dstWidth <= 0 || dstHeight <= 0 || src->width <= 0 || src->height <= 0;
    if (code == ERR_NONE && !empty) {
        if (dst != nullptr && isConvertible(*src))
            convert(*src, block, dst, dstWidth, dstHeight, dstPitch);
        else
            code = ERR_INVALID_PARAM;
    }
    VantMemFree(memHandle, block);
    return code;
}
