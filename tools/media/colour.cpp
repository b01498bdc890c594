#include "media/colour.h"

#include "base/error.h"
#include "media/scaler.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace {

// Whether the chroma follows ITU-R BT.601, as the library's conversion to colours assumes. A
// picture that does not say is treated like a JPEG.
bool hasLibraryChroma(const AVFrame& frame) {
    return frame.colorspace == AVCOL_SPC_UNSPECIFIED || frame.colorspace == AVCOL_SPC_BT470BG ||
           frame.colorspace == AVCOL_SPC_SMPTE170M;
}

// The library's format with the same planes, or 0. The library treats all luma as full range: the
// 16 to 235 of a video would come out grey and dull, so limited range has to be expanded.
uint32_t directFormat(const AVFrame& frame) {
    if (frame.format == AV_PIX_FMT_BGR24)
        return KELVANE_FORMAT_BGR24;
    if (!isFullRange(frame) || !hasLibraryChroma(frame))
        return 0;
    switch (frame.format) {
    case AV_PIX_FMT_YUV420P:
    case AV_PIX_FMT_YUVJ420P:
        return frame.linesize[1] == frame.linesize[2] ? KELVANE_FORMAT_YUV420 : 0;
    case AV_PIX_FMT_NV21: return KELVANE_FORMAT_YUV420_CRCB;
    case AV_PIX_FMT_YUYV422: return frame.width % 2 == 0 ? KELVANE_FORMAT_YUYV : 0;
    default: return 0;
    }
}

__tag_KIRO_OFFSCREEN viewOf(BgrPicture& picture) {
    return {.format = KELVANE_FORMAT_BGR24,
            .width = picture.width,
            .height = picture.height,
            .planes = {picture.pixels.data()},
            .pitches = {3 * picture.width}};
}

BgrPicture resize(const __tag_KIRO_OFFSCREEN& image, int32_t width, int32_t height,
                  PhaseTimes& times) {
    const PhaseTimer timer(times.library);
    const int64_t pitch = 3 * int64_t{width};
    BgrPicture result = {width, height, {}};
    result.pixels.resize(static_cast<size_t>(pitch * height));
    checkResult(ImageResize_BL_ToBGR24(nullptr, &image, result.pixels.data(), width, height, pitch),
                "ImageResize_BL_ToBGR24");
    return result;
}

// The library's resizing skips pixels below half the size, and takes the mean of four at exactly
// half. So the picture is halved, without an odd last column or row, as often as it can be.
BgrPicture reduce(__tag_KIRO_OFFSCREEN image, int32_t side, PhaseTimes& times) {
    const int32_t longer = std::max(image.width, image.height);
    const double scale = std::min(1.0, static_cast<double>(side) / longer);
    const auto scaled = [&](int32_t length) {
        return std::max(1, static_cast<int32_t>(std::lround(length * scale)));
    };
    const int32_t thumbWidth = scaled(image.width), thumbHeight = scaled(image.height);
    BgrPicture picture;
    do {
        const bool halvesX = image.width / 2 >= thumbWidth,
                   halvesY = image.height / 2 >= thumbHeight;
        const bool last = !halvesX && !halvesY;
        image.width -= halvesX ? image.width % 2 : 0;
        image.height -= halvesY ? image.height % 2 : 0;
        picture = resize(image, last ? thumbWidth : image.width / (halvesX ? 2 : 1),
                         last ? thumbHeight : image.height / (halvesY ? 2 : 1), times);
        image = viewOf(picture);
    } while (image.width != thumbWidth || image.height != thumbHeight);
    return picture;
}

} // namespace

BgrPicture reduced(BgrPicture& picture, int32_t side, PhaseTimes& times) {
    return reduce(viewOf(picture), side, times);
}

ColourPicture ColourPicture::read(const std::string& path, PhaseTimes& times) {
    return of(*readPicture(path, {}, times).pixels, path, times);
}

ColourPicture ColourPicture::of(const AVFrame& decoded, const std::string& name,
                                PhaseTimes& times) {
    if (decoded.width > UINT16_MAX || decoded.height > UINT16_MAX)
        throw BadPicture(name, "a side of more than 65535 pixels");
    ColourPicture picture;
    uint32_t format = directFormat(decoded);
    const AVFrame* source = &decoded;
    Scaler scaler;
    if (format == 0) {
        const PhaseTimer timer(times.conversion);
        source = scaler.convert(decoded, AV_PIX_FMT_YUV420P,
                                {isFullRange(decoded), true, decoded.colorspace});
        if (source == nullptr)
            throw BadPicture(name, "its pixel format cannot be converted");
        format = KELVANE_FORMAT_YUV420;
    }
    picture.pixels_ = shareFrame(*source);
    const AVFrame& frame = *picture.pixels_;
    picture.image_ = {.format = format,
                      .width = frame.width,
                      .height = frame.height,
                      .planes = {frame.data[0], frame.data[1], frame.data[2]},
                      .pitches = {frame.linesize[0], frame.linesize[1], frame.linesize[2]}};
    return picture;
}

BgrPicture ColourPicture::resized(int32_t width, int32_t height, PhaseTimes& times) const {
    return resize(image_, width, height, times);
}

ColourPicture ColourPicture::part(__tag_rect rect) const {
    rect.left -= rect.left % 2;
    rect.top -= rect.top % 2;
    ColourPicture part;
    part.pixels_ = shareFrame(*pixels_);
    part.image_ = image_;
    part.image_.width = rect.right - rect.left;
    part.image_.height = rect.bottom - rect.top;
    const auto advance = [&](size_t plane, int64_t rows, int64_t bytes) {
        part.image_.planes[plane] += rows * image_.pitches[plane] + bytes;
    };
    switch (image_.format) {
    case KELVANE_FORMAT_BGR24: advance(0, rect.top, 3 * int64_t{rect.left}); break;
    case KELVANE_FORMAT_YUYV: advance(0, rect.top, 2 * int64_t{rect.left}); break;
    case KELVANE_FORMAT_YUV420_CRCB:
        advance(0, rect.top, rect.left);
        advance(1, rect.top / 2, rect.left);
        break;
    default:
        advance(0, rect.top, rect.left);
        advance(1, rect.top / 2, rect.left / 2);
        advance(2, rect.top / 2, rect.left / 2);
    }
    return part;
}

BgrPicture ColourPicture::thumbnail(int32_t side, PhaseTimes& times) const {
    return reduce(image_, side, times);
}
