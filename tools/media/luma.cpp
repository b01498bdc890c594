#include "media/luma.h"

#include "base/error.h"
#include "base/text.h"

#include <algorithm>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace {

// Whether plane 0 is rows of 8-bit luma, one byte a pixel.
bool hasLumaPlane(const AVFrame& frame) {
    constexpr uint64_t others = AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL |
                                AV_PIX_FMT_FLAG_BITSTREAM | AV_PIX_FMT_FLAG_HWACCEL;
    const AVPixFmtDescriptor* const format =
        av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    if (format == nullptr || (format->flags & others) != 0)
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

ImageView ImageViewer::view(const AVFrame& frame, const std::string& name, PhaseTimes& times) {
    if (frame.width < 2 || frame.height < 2)
        throw BadPicture(name, "smaller than 2 x 2 pixels");
    const PhaseTimer timer(times.conversion);
    const bool direct = hasLumaPlane(frame);
    const bool full = isFullRange(frame);
    const AVFrame* const source =
        direct ? &frame : scaler_.convert(frame, AV_PIX_FMT_YUV420P, {full, full});
    if (source == nullptr)
        throw BadPicture(name, "its pixel format cannot be converted");
    const Match match = matchFormat(source->format);
    ImageView view = {.image = {.format = match.format,
                                .width = frame.width & ~1,
                                .height = frame.height & ~1,
                                .planes = {},
                                .pitches = {}},
                      .converted = !direct,
                      .cropped = ((frame.width | frame.height) & 1) != 0};
    for (int plane = 0; plane < match.planes; ++plane) {
        view.image.planes[plane] = source->data[plane];
        view.image.pitches[plane] = source->linesize[plane];
    }
    return view;
}

__tag_KIRO_OFFSCREEN LumaImage::view() {
    return {.format = KELVANE_FORMAT_YUV420,
            .width = width,
            .height = height,
            .planes = {pixels.data()},
            .pitches = {width}};
}

PixelsView LumaImage::grey() const {
    return {.data = pixels.data(), .width = width, .height = height, .pitch = width, .channels = 1};
}

LumaImage copyLuma(const __tag_KIRO_OFFSCREEN& image) {
    const auto width = static_cast<size_t>(image.width);
    LumaImage luma = {image.width, image.height, {}};
    luma.pixels.resize(width * static_cast<size_t>(image.height));
    for (int32_t y = 0; y < image.height; ++y)
        std::copy_n(image.planes[0] + int64_t{y} * image.pitches[0], width,
                    luma.pixels.data() + static_cast<size_t>(y) * width);
    return luma;
}

LumaImage readLuma(const std::string& path, PhaseTimes& times) {
    const FramePointer frame = readPicture(path, {.lumaOnly = true}, times).pixels;
    ImageViewer viewer;
    __tag_KIRO_OFFSCREEN image = viewer.view(*frame, path, times).image;
    // Only the ranking needs even sides.
    image.width = frame->width;
    image.height = frame->height;
    return copyLuma(image);
}

LumaPair readLumaPair(const std::string& first, const std::string& second, PhaseTimes& times) {
    LumaPair pair = {readLuma(first, times), readLuma(second, times)};
    if (pair.first.width != pair.second.width || pair.first.height != pair.second.height)
        throw InputError(second, fmt::format("{} pixels, but {} has {}",
                                             sizeText(pair.second.width, pair.second.height), first,
                                             sizeText(pair.first.width, pair.first.height)));
    return pair;
}
