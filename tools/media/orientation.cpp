#include "media/orientation.h"

#include "media/scaler.h"
#include "media/turned_plane.h"

#include <algorithm>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace {

// Of the samples of a plane that belong to one pixel.
int groupBytes(const AVPixFmtDescriptor& format, int plane) {
    int bytes = 1;
    for (int c = 0; c < format.nb_components; ++c)
        if (format.comp[c].plane == plane)
            bytes = std::max(bytes, format.comp[c].step);
    return bytes;
}

// Whether a frame can be turned group by group: its groups are whole pixels, and no mosaic.
bool hasWholePixels(const AVPixFmtDescriptor& format) {
    constexpr uint64_t others = AV_PIX_FMT_FLAG_BITSTREAM | AV_PIX_FMT_FLAG_PAL |
                                AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_BAYER;
    if ((format.flags & others) != 0)
        return false;
    const int bytes = groupBytes(format, 0); // of the largest groups
    if (bytes > 8 || bytes == 5 || bytes == 7)
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

PlaneView planeOf(const AVFrame& frame, const AVPixFmtDescriptor& format, int plane) {
    const bool isChroma = (plane == 1 || plane == 2) && (format.flags & AV_PIX_FMT_FLAG_RGB) == 0;
    const auto reduced = [&](int length, int shift) {
        return isChroma ? AV_CEIL_RSHIFT(length, shift) : length;
    };
    return {.data = frame.data[plane],
            .pitch = frame.linesize[plane],
            .width = reduced(frame.width, format.log2_chroma_w),
            .height = reduced(frame.height, format.log2_chroma_h),
            .groupBytes = groupBytes(format, plane)};
}

// What a format that cannot be turned is converted to: nothing of it is lost.
AVPixelFormat turnableFormat(const AVPixFmtDescriptor& format) {
    const bool deep = format.comp[0].depth > 8;
    if ((format.flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0)
        return deep ? AV_PIX_FMT_RGB48 : AV_PIX_FMT_RGB24;
    return deep ? AV_PIX_FMT_YUV444P16 : AV_PIX_FMT_YUV444P;
}

// The same picture in a format that can be turned, or null.
FramePointer turnable(const AVFrame& frame) {
    const AVPixFmtDescriptor* const format =
        av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    if (format == nullptr)
        return nullptr;
    Scaler scaler;
    const bool full = isFullRange(frame);
    const AVFrame* const converted = scaler.convert(frame, turnableFormat(*format), {full, full});
    if (converted == nullptr)
        return nullptr;
    FramePointer result = shareFrame(*converted);
    result->color_range = full ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
    result->colorspace = frame.colorspace;
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
    if (format() == AV_PIX_FMT_NONE && !(frame = turnable(*frame)))
        return nullptr;
    const auto stored = static_cast<AVPixelFormat>(frame->format);
    FramePointer turned = makeFrame(exchanged ? frame->height : frame->width,
                                    exchanged ? frame->width : frame->height, format());
    turned->color_range = frame->color_range;
    turned->colorspace = frame->colorspace;
    for (int plane = 0; plane < av_pix_fmt_count_planes(stored); ++plane)
        copyTurned(planeOf(*frame, *av_pix_fmt_desc_get(stored), plane), orientation,
                   turned->data[plane], turned->linesize[plane]);
    return turned;
}
