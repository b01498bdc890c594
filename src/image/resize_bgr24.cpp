// Bilinear resize with conversion to packed 24-bit pixels.
#include "kelvane/kelvane.h"

#include "image/bgr_row.h"
#include "image/position.h"
#include "image/row_pair.h"
#include "platform/vector_support.h"

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
    int64_t bytesPerSample; // from one Cb, Cr pair to the next in a row
    int64_t offsets[2];     // of Cb and Cr in the bytes of a pair
    int64_t lumaRows;       // luma rows that share a chroma row
};

ChromaLayout chromaLayoutOf(uint32_t format) {
    switch (format) {
    case KELVANE_FORMAT_YUYV: return {1, 0, 4, {1, 3}, 1};
    case KELVANE_FORMAT_YUV420_CRCB: return {1, 1, 2, {1, 0}, 2};
    default: return {2, 1, 1, {0, 0}, 2};
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
          pitch(dstPitch), shuffle(hasByteShuffle()), work(block),
          rows(work.take<Position>(height)), columns(work.take<Position>(width)) {
        fillRowTable(CentreAligned(source.height, height), height, rows);
        fillColumnTable(CentreAligned(source.width, width), source.width, width, columns);
    }

    void convertBgr();
    void convertYuv();

private:
    template <typename TapOf>
    RowPair makeRowPair(SourcePlane plane, int64_t samples, int64_t rowBytes, TapOf tapOf) {
        void* const taps = work.take<Tap>(samples);
        const RowResampler resampler(taps, samples, rowBytes, shuffle, tapOf);
        return {plane, resampler, samples, work.take<RowValue>(2 * samples)};
    }

    RowPair makeChannelRows(int64_t channels, int64_t bytesPerPixel);
    RowPair makeChromaRows(const ChromaLayout& layout, int64_t plane);

    const __tag_KIRO_OFFSCREEN& source;
    unsigned char* const out;
    const int64_t width;
    const int64_t height;
    const int64_t pitch;
    const bool shuffle;
    WorkBlock work;
    Position* const rows;
    Position* const columns;
};

// The first `channels` bytes of every pixel of plane 0.
RowPair Conversion::makeChannelRows(int64_t channels, int64_t bytesPerPixel) {
    const int64_t lastColumn = source.width - 1;
    const auto tapOf = [=, this](int64_t sample) {
        const Position position = columns[sample / channels];
        const int64_t first = position.index * bytesPerPixel + sample % channels;
        const int64_t step = position.index < lastColumn ? bytesPerPixel : 0;
        return makeTap(first, first + step, position.weight);
    };
    return makeRowPair({source.planes[0], source.pitches[0]}, width * channels,
                       source.width * bytesPerPixel, tapOf);
}

// Each sample is the mean of the chroma of two neighbouring destination pixels; an odd last pixel
// stands for both. Planes with Cb and Cr give both for each pair of pixels.
RowPair Conversion::makeChromaRows(const ChromaLayout& layout, int64_t plane) {
    const int64_t channels = layout.planeCount == 1 ? 2 : 1;
    const int64_t chromaWidth = source.width / 2;
    const auto chromaColumn = [=, this](int64_t x) {
        return std::min<int64_t>(columns[std::min(x, width - 1)].index / 2, chromaWidth - 1);
    };
    const auto tapOf = [=](int64_t sample) {
        const int64_t x = sample / channels * 2;
        const int64_t offset = layout.offsets[sample % channels];
        return makeTap(chromaColumn(x) * layout.bytesPerSample + offset,
                       chromaColumn(x + 1) * layout.bytesPerSample + offset, 64);
    };
    // Both planes of Cb and Cr lie at the pitch of the first one.
    return makeRowPair(
        {source.planes[layout.firstPlane + plane], source.pitches[layout.firstPlane]},
        (width + 1) / 2 * channels, chromaWidth * layout.bytesPerSample, tapOf);
}

void Conversion::convertBgr() {
    RowPair pair = makeChannelRows(3, 3);
    for (int64_t y = 0; y < height; ++y)
        pair.blend(sourceRowsAt(rows[y], source.height), rows[y].weight, out + y * pitch);
}

void Conversion::convertYuv() {
    const ChromaLayout layout = chromaLayoutOf(source.format);
    const int64_t pairs = (width + 1) / 2;
    RowPair luma = makeChannelRows(1, source.format == KELVANE_FORMAT_YUYV ? 2 : 1);
    RowPair chroma[2];
    const int64_t chromaPlanes = hasChroma(source, layout) ? layout.planeCount : 0;
    for (int64_t plane = 0; plane < chromaPlanes; ++plane)
        chroma[plane] = makeChromaRows(layout, plane);
    auto* const lumaBytes = work.take<unsigned char>(width);
    auto* const chromaBytes = work.take<unsigned char>(2 * pairs);
    VantMemSet(chromaBytes, 128, 2 * pairs);
    const ChromaRow chromaRow = layout.planeCount == 1
                                    ? ChromaRow{chromaBytes, chromaBytes + 1, 2}
                                    : ChromaRow{chromaBytes, chromaBytes + pairs, 1};
    const int64_t lastChromaRow = source.height / layout.lumaRows - 1;
    for (int64_t y = 0; y < height; ++y) {
        const SourceRows lumaRows = sourceRowsAt(rows[y], source.height);
        luma.blend(lumaRows, rows[y].weight, lumaBytes);
        const SourceRows chromaRows = {std::min(lumaRows.top / layout.lumaRows, lastChromaRow),
                                       std::min(lumaRows.bottom / layout.lumaRows, lastChromaRow)};
        for (int64_t plane = 0; plane < chromaPlanes; ++plane)
            chroma[plane].blend(chromaRows, 64, chromaBytes + plane * pairs);
        writeBgrRow(lumaBytes, chromaRow, width, shuffle, out + y * pitch);
    }
}

} // namespace

} // namespace kelvane

using namespace kelvane;

extern "C" long ImageResize_BL_ToBGR24(void* memHandle, const __tag_KIRO_OFFSCREEN* src,
                                       unsigned char* dst, long dstWidth, long dstHeight,
                                       long dstPitch) {
    if (src == nullptr || dst == nullptr || !isSourceSide(src->width) || !isSourceSide(src->height))
        return ERR_INVALID_PARAM;
    const bool supported = isSupported(src->format);
    if (supported && !hasPlanes(*src))
        return ERR_INVALID_PARAM;
    // The chroma of an unpaired last pixel would be cut off.
    if (src->format == KELVANE_FORMAT_YUYV && src->width % 2 != 0)
        return ERR_INVALID_PARAM;
    if (dstWidth <= 0 || dstHeight <= 0)
        return supported ? ERR_NONE : ERR_UNSUPPORTED;

    int64_t size = 0;
    void* const block =
        workBlockSize(dstWidth, dstHeight, &size) ? VantMemAlloc(memHandle, size) : nullptr;
    if (block == nullptr)
        return ERR_NO_MEMORY;
    if (supported) {
        Conversion conversion(*src, block, dst, dstWidth, dstHeight, dstPitch);
        if (src->format == KELVANE_FORMAT_BGR24)
            conversion.convertBgr();
        else
            conversion.convertYuv();
    }
    VantMemFree(memHandle, block);
    return supported ? ERR_NONE : ERR_UNSUPPORTED;
}
