#include "image_view.h"

#include "error.h"

#include <new>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace {

const AVPixFmtDescriptor* descriptor(const AVFrame& frame) {
    return av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
}

bool hasFlag(const AVPixFmtDescriptor* format, uint64_t flag) {
    return (format->flags & flag) != 0;
}

// Whether plane 0 is rows of 8-bit luma, one byte a pixel.
bool hasLumaPlane(const AVFrame& frame) {
    const AVPixFmtDescriptor* const format = descriptor(frame);
    if (format == nullptr || hasFlag(format, AV_PIX_FMT_FLAG_RGB) ||
        hasFlag(format, AV_PIX_FMT_FLAG_PAL) || hasFlag(format, AV_PIX_FMT_FLAG_BITSTREAM) ||
        hasFlag(format, AV_PIX_FMT_FLAG_HWACCEL))
        return false;
    const AVComponentDescriptor& luma = format->comp[0];
    return luma.plane == 0 && luma.step == 1 && luma.offset == 0 && luma.shift == 0 &&
           luma.depth == 8 && frame.linesize[0] > 0;
}

// The library's format whose luma plane is like this frame's, and how many planes they share.
struct Match {
    uint32_t format;
    int planes;
};

Match matchFormat(int format) {
    switch (format) {
    case AV_PIX_FMT_YUV420P:
    case AV_PIX_FMT_YUVJ420P: return {KELVANE_FORMAT_YUV420, 3};
    case AV_PIX_FMT_YUV422P:
    case AV_PIX_FMT_YUVJ422P: return {KELVANE_FORMAT_YUV422, 3};
    case AV_PIX_FMT_NV21: return {KELVANE_FORMAT_YUV420_CRCB, 2};
    case AV_PIX_FMT_NV12: return {KELVANE_FORMAT_YUV420_CRCB, 1}; // the chroma is the other way
    default: return {KELVANE_FORMAT_YUV420, 1};
    }
}

} // namespace

bool isFullRange(const AVFrame& frame) {
    const AVPixFmtDescriptor* const format = descriptor(frame);
    return frame.color_range == AVCOL_RANGE_JPEG || format->nb_components < 3 ||
           hasFlag(format, AV_PIX_FMT_FLAG_RGB) || hasFlag(format, AV_PIX_FMT_FLAG_PAL);
}

const AVFrame& ImageViewer::convert(const AVFrame& frame, const std::string& name) {
    const auto format = static_cast<AVPixelFormat>(frame.format);
    if (descriptor(frame) == nullptr || sws_isSupportedInput(format) == 0)
        throw BadPicture(name, "its pixel format cannot be converted");
    SwsContext* const scaler = sws_getCachedContext(
        scaler_.release(), frame.width, frame.height, format, frame.width, frame.height,
        AV_PIX_FMT_YUV420P, SWS_BILINEAR | SWS_ACCURATE_RND | SWS_BITEXACT, nullptr, nullptr,
        nullptr);
    scaler_.reset(scaler);
    if (scaler == nullptr)
        throw BadPicture(name, "its pixel format cannot be converted");
    const int range = isFullRange(frame) ? 1 : 0;
    const int* const weights = sws_getCoefficients(SWS_CS_ITU601);
    sws_setColorspaceDetails(scaler, weights, range, weights, range, 0, 1 << 16, 1 << 16);

    if (!converted_ || converted_->width != frame.width || converted_->height != frame.height) {
        converted_ = newFrame();
        converted_->format = AV_PIX_FMT_YUV420P;
        converted_->width = frame.width;
        converted_->height = frame.height;
        if (av_frame_get_buffer(converted_.get(), 0) < 0)
            throw std::bad_alloc();
    }
    if (sws_scale(scaler, frame.data, frame.linesize, 0, frame.height, converted_->data,
                  converted_->linesize) != frame.height)
        throw BadPicture(name, "its pixel format cannot be converted");
    return *converted_;
}

ImageView ImageViewer::view(const AVFrame& frame, const std::string& name, PhaseTimes& times) {
    if (frame.width < 2 || frame.height < 2)
        throw BadPicture(name, "smaller than 2 x 2 pixels");
    const PhaseTimer timer(times.conversion);
    const bool direct = hasLumaPlane(frame);
    const AVFrame& source = direct ? frame : convert(frame, name);
    const Match match = matchFormat(source.format);
    ImageView view = {.image = {.format = match.format,
                                .width = frame.width & ~1,
                                .height = frame.height & ~1,
                                .planes = {},
                                .pitches = {}},
                      .converted = !direct,
                      .cropped = ((frame.width | frame.height) & 1) != 0};
    for (int plane = 0; plane < match.planes; ++plane) {
        view.image.planes[plane] = source.data[plane];
        view.image.pitches[plane] = source.linesize[plane];
    }
    return view;
}
