#include "media/scaler.h"

#include <algorithm>
#include <new>

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

bool isFullRange(const AVFrame& frame) {
    const AVPixFmtDescriptor* const format =
        av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    if (frame.color_range == AVCOL_RANGE_JPEG || format == nullptr)
        return format != nullptr;
    return format->nb_components < 3 ||
           (format->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0;
}

namespace {

// libswscale takes the chroma of RGB from two pixels at a time, even where the second one lies past
// the end of the row.
bool readsPastRows(const AVFrame& frame, const AVPixFmtDescriptor& format) {
    return frame.width % 2 != 0 && (format.flags & AV_PIX_FMT_FLAG_RGB) != 0 &&
           (format.flags & (AV_PIX_FMT_FLAG_BITSTREAM | AV_PIX_FMT_FLAG_BAYER)) == 0;
}

// A copy in which the last column stands twice.
FramePointer withDoubledColumn(const AVFrame& frame, const AVPixFmtDescriptor& format) {
    const auto pixelFormat = static_cast<AVPixelFormat>(frame.format);
    FramePointer wide = makeFrame(frame.width + 1, frame.height, pixelFormat);
    wide->width = frame.width;
    const uint8_t* planes[4] = {frame.data[0], frame.data[1], frame.data[2], frame.data[3]};
    av_image_copy(wide->data, wide->linesize, planes, frame.linesize, pixelFormat, frame.width,
                  frame.height);
    for (int c = 0; c < format.nb_components; ++c)
        for (int y = 0; y < frame.height; ++y) {
            const int step = format.comp[c].step, plane = format.comp[c].plane;
            uint8_t* const end =
                wide->data[plane] + y * wide->linesize[plane] + int64_t{frame.width} * step;
            std::copy_n(end - step, step, end);
        }
    return wide;
}

} // namespace

bool Scaler::prepare(const Kind& kind) {
    context_.reset(sws_alloc_context());
    if (!context_)
        throw std::bad_alloc();
    const auto set = [&](const char* name, int64_t value) {
        av_opt_set_int(context_.get(), name, value, 0);
    };
    set("srcw", kind.width);
    set("srch", kind.height);
    set("src_format", kind.sourceFormat);
    set("dstw", kind.width);
    set("dsth", kind.height);
    set("dst_format", kind.format);
    set("sws_flags", SWS_BILINEAR | SWS_ACCURATE_RND | SWS_BITEXACT);
    // Before the start, which would choose to copy a planar source if its range seemed the same.
    set("src_range", kind.rules.sourceFull ? 1 : 0);
    set("dst_range", kind.rules.targetFull ? 1 : 0);
    if (sws_init_context(context_.get(), nullptr, nullptr) < 0)
        return false;
    sws_setColorspaceDetails(context_.get(), sws_getCoefficients(kind.rules.sourceMatrix),
                             kind.rules.sourceFull ? 1 : 0, sws_getCoefficients(SWS_CS_ITU601),
                             kind.rules.targetFull ? 1 : 0, 0, 1 << 16, 1 << 16);
    converted_ = makeFrame(kind.width, kind.height, static_cast<AVPixelFormat>(kind.format));
    return true;
}

const AVFrame* Scaler::convert(const AVFrame& source, AVPixelFormat format,
                               const SampleRules& rules) {
    const auto sourceFormat = static_cast<AVPixelFormat>(source.format);
    const AVPixFmtDescriptor* const description = av_pix_fmt_desc_get(sourceFormat);
    if (description == nullptr || sws_isSupportedInput(sourceFormat) == 0)
        return nullptr;
    const Kind kind = {source.width, source.height, source.format, format, rules};
    if (!context_ || kind != kind_) {
        kind_ = kind;
        if (!prepare(kind)) {
            context_.reset();
            return nullptr;
        }
    }
    FramePointer copy;
    if (readsPastRows(source, *description))
        copy = withDoubledColumn(source, *description);
    const AVFrame& readable = copy ? *copy : source;
    const int rows = sws_scale(context_.get(), readable.data, readable.linesize, 0, source.height,
                               converted_->data, converted_->linesize);
    return rows == source.height ? converted_.get() : nullptr;
}
