#include "media/orientation.h"

#include "media/scaler.h"

#include <algorithm>
#include <cstring>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace {

struct Plane {
    int64_t width; // in samples, or in groups of samples that lie together
    int64_t height;
    int groupBytes;
};

// Whether a plane can be turned group by group: its groups are whole pixels, and no palette.
bool hasWholePixels(const AVPixFmtDescriptor& format) {
    constexpr uint64_t others =
        AV_PIX_FMT_FLAG_BITSTREAM | AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_HWACCEL;
    if ((format.flags & others) != 0)
        return false;
    // Two pixels share the chroma of one group in packed 4:2:2.
    return (format.flags & AV_PIX_FMT_FLAG_PLANAR) != 0 || format.log2_chroma_w == 0;
}

// The format of the turned frame, or AV_PIX_FMT_NONE.
AVPixelFormat turnedFormat(AVPixelFormat format, bool exchanged) {
    const AVPixFmtDescriptor* const description = av_pix_fmt_desc_get(format);
    if (description == nullptr || !hasWholePixels(*description))
        return AV_PIX_FMT_NONE;
    if (!exchanged || description->log2_chroma_w == description->log2_chroma_h)
        return format;
    constexpr std::pair<AVPixelFormat, AVPixelFormat> twins[] = {
        {AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV440P},
        {AV_PIX_FMT_YUVJ422P, AV_PIX_FMT_YUVJ440P},
        {AV_PIX_FMT_YUV422P10LE, AV_PIX_FMT_YUV440P10LE},
        {AV_PIX_FMT_YUV422P12LE, AV_PIX_FMT_YUV440P12LE}};
    for (const auto& [wide, high] : twins)
        if (format == wide || format == high)
            return format == wide ? high : wide;
    return AV_PIX_FMT_NONE;
}

Plane planeOf(const AVFrame& frame, const AVPixFmtDescriptor& format, int plane) {
    const bool isChroma = (plane == 1 || plane == 2) && (format.flags & AV_PIX_FMT_FLAG_RGB) == 0;
    const auto reduced = [&](int length, int shift) {
        return isChroma ? AV_CEIL_RSHIFT(length, shift) : length;
    };
    Plane result = {reduced(frame.width, format.log2_chroma_w),
                    reduced(frame.height, format.log2_chroma_h), 1};
    for (int c = 0; c < format.nb_components; ++c)
        if (format.comp[c].plane == plane)
            result.groupBytes = std::max(result.groupBytes, format.comp[c].step);
    return result;
}

// Copies a plane whose groups are read with any step to either side. Square tiles keep both ends in
// the cache when rows become columns.
template <int groupBytes>
void copyTurned(const uint8_t* from, int64_t stepX, int64_t stepY, uint8_t* to, int64_t pitch,
                int64_t width, int64_t height) {
    constexpr int64_t tile = 32;
    for (int64_t top = 0; top < height; top += tile)
        for (int64_t left = 0; left < width; left += tile)
            for (int64_t y = top; y < std::min(top + tile, height); ++y)
                for (int64_t x = left; x < std::min(left + tile, width); ++x)
                    std::memcpy(to + y * pitch + x * groupBytes, from + x * stepX + y * stepY,
                                groupBytes);
}

void turnPlane(const AVFrame& source, AVFrame& target, const Plane& plane, int index,
               Orientation orientation) {
    using enum Orientation;
    const bool exchanged = exchangesSides(orientation);
    const bool fromRight = orientation == mirrored || orientation == turned180 ||
                           orientation == transversed || orientation == turned270;
    const bool fromBottom = orientation == turned180 || orientation == flipped ||
                            orientation == transversed || orientation == turned90;
    const int64_t rowStep = source.linesize[index];
    const uint8_t* const first = source.data[index] +
                                 (fromRight ? (plane.width - 1) * plane.groupBytes : 0) +
                                 (fromBottom ? (plane.height - 1) * rowStep : 0);
    const int64_t along = fromRight ? -plane.groupBytes : plane.groupBytes;
    const int64_t down = fromBottom ? -rowStep : rowStep;
    const auto copy = [&](auto groupBytes) {
        copyTurned<groupBytes()>(first, exchanged ? down : along, exchanged ? along : down,
                                 target.data[index], target.linesize[index],
                                 exchanged ? plane.height : plane.width,
                                 exchanged ? plane.width : plane.height);
    };
    switch (plane.groupBytes) {
    case 1: return copy(std::integral_constant<int, 1>());
    case 2: return copy(std::integral_constant<int, 2>());
    case 3: return copy(std::integral_constant<int, 3>());
    case 4: return copy(std::integral_constant<int, 4>());
    case 6: return copy(std::integral_constant<int, 6>());
    default: return copy(std::integral_constant<int, 8>());
    }
}

// The same picture in a format that can be turned, or null.
FramePointer simplified(const AVFrame& frame) {
    Scaler scaler;
    const bool full = isFullRange(frame);
    const AVFrame* const converted =
        scaler.convert(frame, AV_PIX_FMT_YUV420P, {full, full, frame.colorspace});
    if (converted == nullptr)
        return nullptr;
    FramePointer result = shareFrame(*converted);
    result->color_range = full ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
    return result;
}

} // namespace

Orientation orientationOf(int64_t exifValue) {
    return exifValue >= 2 && exifValue <= 8 ? static_cast<Orientation>(exifValue)
                                            : Orientation::upright;
}

FramePointer turnedUpright(FramePointer frame, Orientation orientation) {
    if (orientation == Orientation::upright)
        return frame;
    const bool exchanged = exchangesSides(orientation);
    const auto format = [&] {
        return turnedFormat(static_cast<AVPixelFormat>(frame->format), exchanged);
    };
    if (format() == AV_PIX_FMT_NONE && !(frame = simplified(*frame)))
        return nullptr;
    const auto stored = static_cast<AVPixelFormat>(frame->format);
    FramePointer turned = makeFrame(exchanged ? frame->height : frame->width,
                                    exchanged ? frame->width : frame->height, format());
    turned->color_range = frame->color_range;
    turned->colorspace = frame->colorspace;
    turned->best_effort_timestamp = frame->best_effort_timestamp;
    for (int plane = 0; plane < av_pix_fmt_count_planes(stored); ++plane)
        turnPlane(*frame, *turned, planeOf(*frame, *av_pix_fmt_desc_get(stored), plane), plane,
                  orientation);
    return turned;
}
