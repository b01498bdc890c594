#include "media/picture_encoder.h"

#include "media/formats/jpeg_encoder.h"
#include "media/frames.h"

#include <fmt/format.h>

#include <algorithm>
#include <new>

extern "C" {
#include <libavutil/opt.h>
}

namespace {

// FFmpeg's encoder of a format.
struct Encoder {
    const char* title;
    const char* name;
    AVPixelFormat grey;
    AVPixelFormat colour;
};

Encoder encoderOf(FileFormat format) {
    switch (format) {
    case FileFormat::webp: return {"WebP", "libwebp", AV_PIX_FMT_BGRA, AV_PIX_FMT_BGRA};
    case FileFormat::tiff: return {"TIFF", "tiff", AV_PIX_FMT_GRAY8, AV_PIX_FMT_RGB24};
    default: return {"PNG", "png", AV_PIX_FMT_GRAY8, AV_PIX_FMT_RGB24};
    }
}

const AVCodec* findCodec(const Encoder& encoder) {
    const AVCodec* const codec = avcodec_find_encoder_by_name(encoder.name);
    if (codec == nullptr)
        throw EncodeError(
            fmt::format("{}: this FFmpeg has no encoder \"{}\"", encoder.title, encoder.name));
    return codec;
}

void copyPixel(const unsigned char* from, int channels, AVPixelFormat format, uint8_t* to) {
    const unsigned char bgr[] = {from[0], from[channels / 2], from[channels - 1]};
    switch (format) {
    case AV_PIX_FMT_BGRA:
        std::copy_n(bgr, 3, to);
        to[3] = 255;
        break;
    case AV_PIX_FMT_RGB24: std::reverse_copy(bgr, bgr + 3, to); break;
    default: *to = from[0];
    }
}

FramePointer toFrame(const PixelsView& pixels, AVPixelFormat format) {
    const int step = av_pix_fmt_desc_get(format)->comp[0].step;
    FramePointer frame = makeFrame(pixels.width, pixels.height, format);
    for (int32_t y = 0; y < pixels.height; ++y) {
        const unsigned char* from = pixels.data + y * pixels.pitch;
        uint8_t* to = frame->data[0] + int64_t{y} * frame->linesize[0];
        for (int32_t x = 0; x < pixels.width; ++x, from += pixels.channels, to += step)
            copyPixel(from, pixels.channels, format, to);
    }
    return frame;
}

std::string encodeByFfmpeg(const PixelsView& pixels, const Encoder& encoder, int quality) {
    const FramePointer frame =
        toFrame(pixels, pixels.channels == 1 ? encoder.grey : encoder.colour);
    const AVCodec* const codec = findCodec(encoder);
    const std::unique_ptr<AVCodecContext, DecoderDeleter> context(avcodec_alloc_context3(codec));
    const PacketPointer packet(av_packet_alloc());
    if (!context || !packet)
        throw std::bad_alloc();
    context->width = frame->width;
    context->height = frame->height;
    context->pix_fmt = static_cast<AVPixelFormat>(frame->format);
    context->time_base = {1, 1};
    context->thread_count = 1;
    if (encoder.colour == AV_PIX_FMT_BGRA) { // WebP, the only one that loses something
        context->flags |= AV_CODEC_FLAG_QSCALE;
        context->global_quality = quality * FF_QP2LAMBDA;
    }
    // Its usual compression, by runs, makes photographs larger.
    av_opt_set(context->priv_data, "compression_algo", "lzw", 0);
    int result = avcodec_open2(context.get(), codec, nullptr);
    if (result >= 0)
        result = avcodec_send_frame(context.get(), frame.get());
    if (result >= 0)
        result = avcodec_receive_packet(context.get(), packet.get());
    if (result == AVERROR(ENOMEM))
        throw std::bad_alloc();
    if (result < 0)
        throw EncodeError(fmt::format("{}: the encoder cannot take {} x {} pixels", encoder.title,
                                      pixels.width, pixels.height));
    return {reinterpret_cast<const char*>(packet->data), static_cast<size_t>(packet->size)};
}

} // namespace

void checkEncoder(FileFormat format) {
    if (format != FileFormat::jpeg)
        findCodec(encoderOf(format));
#if !KELVANE_JPEG
    else
        throw EncodeError("JPEG: this build has no libjpeg-turbo");
#endif
}

std::string encodePicture(const PixelsView& pixels, FileFormat format, int quality) {
    checkEncoder(format);
#if KELVANE_JPEG
    if (format == FileFormat::jpeg)
        return encodeJpeg(pixels, quality);
#endif
    return encodeByFfmpeg(pixels, encoderOf(format), quality);
}
