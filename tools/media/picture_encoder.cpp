#include "media/picture_encoder.h"

#include "media/scaler.h"

#include <algorithm>
#include <new>
#include <stdexcept>

namespace {

void check(int result, const char* what) {
    if (result == AVERROR(ENOMEM))
        throw std::bad_alloc();
    if (result < 0)
        throw std::runtime_error(what);
}

FramePointer toPngFrame(const PixelsView& pixels) {
    FramePointer frame = makeFrame(pixels.width, pixels.height,
                                   pixels.channels == 1 ? AV_PIX_FMT_GRAY8 : AV_PIX_FMT_RGB24);
    for (int32_t y = 0; y < pixels.height; ++y) {
        const unsigned char* const from = pixels.data + y * pixels.pitch;
        unsigned char* const to = frame->data[0] + int64_t{y} * frame->linesize[0];
        if (pixels.channels == 1)
            std::copy_n(from, pixels.width, to);
        // PNG keeps red first.
        for (int64_t x = 0; pixels.channels == 3 && x < 3 * int64_t{pixels.width}; x += 3)
            std::reverse_copy(from + x, from + x + 3, to + x);
    }
    return frame;
}

FramePointer toJpegFrame(const PixelsView& pixels, AVPixelFormat format) {
    const FramePointer source = newFrame(); // shows what the pixels' owner keeps
    source->format = AV_PIX_FMT_BGR24;
    source->width = pixels.width;
    source->height = pixels.height;
    source->data[0] = const_cast<unsigned char*>(pixels.data);
    source->linesize[0] = static_cast<int>(pixels.pitch);
    Scaler scaler;
    const AVFrame* const converted = scaler.convert(*source, format, {false, true});
    FramePointer frame(converted == nullptr ? nullptr : av_frame_clone(converted));
    if (!frame)
        throw std::bad_alloc();
    frame->color_range = AVCOL_RANGE_JPEG;
    return frame;
}

// With a quantiser of 0 the encoder's usual quality.
std::string encode(AVFrame& frame, AVCodecID id, int quantiser = 0) {
    const AVCodec* const codec = avcodec_find_encoder(id);
    const std::string name = avcodec_get_name(id);
    if (codec == nullptr)
        throw std::runtime_error("this FFmpeg has no encoder for " + name);
    const std::unique_ptr<AVCodecContext, DecoderDeleter> encoder(avcodec_alloc_context3(codec));
    const PacketPointer packet(av_packet_alloc());
    if (!encoder || !packet)
        throw std::bad_alloc();
    encoder->width = frame.width;
    encoder->height = frame.height;
    encoder->pix_fmt = static_cast<AVPixelFormat>(frame.format);
    encoder->color_range = frame.color_range;
    encoder->time_base = {1, 1};
    encoder->thread_count = 1;
    if (quantiser > 0) {
        encoder->flags |= AV_CODEC_FLAG_QSCALE;
        encoder->qmin = std::min(encoder->qmin, quantiser);
        frame.quality = encoder->global_quality = quantiser * FF_QP2LAMBDA;
    }
    const std::string what = "the encoder for " + name + " fails";
    check(avcodec_open2(encoder.get(), codec, nullptr), what.c_str());
    check(avcodec_send_frame(encoder.get(), &frame), what.c_str());
    check(avcodec_receive_packet(encoder.get(), packet.get()), what.c_str());
    return {reinterpret_cast<const char*>(packet->data), static_cast<size_t>(packet->size)};
}

} // namespace

std::string encodePng(const PixelsView& pixels) {
    return encode(*toPngFrame(pixels), AV_CODEC_ID_PNG);
}

std::string encodeJpeg(const PixelsView& pixels, int quantiser) {
    const AVPixelFormat format = quantiser == 1 ? AV_PIX_FMT_YUVJ444P : AV_PIX_FMT_YUVJ420P;
    return encode(*toJpegFrame(pixels, format), AV_CODEC_ID_MJPEG, quantiser);
}
