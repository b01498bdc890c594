#include "png.h"

#include "media_reader.h"

#include <algorithm>
#include <new>
#include <stdexcept>

namespace {

using EncoderPointer = std::unique_ptr<AVCodecContext, DecoderDeleter>;

void check(int result, const char* what) {
    if (result == AVERROR(ENOMEM))
        throw std::bad_alloc();
    if (result < 0)
        throw std::runtime_error(what);
}

FramePointer toFrame(const PixelsView& pixels) {
    FramePointer frame = newFrame();
    frame->format = pixels.channels == 1 ? AV_PIX_FMT_GRAY8 : AV_PIX_FMT_RGB24;
    frame->width = pixels.width;
    frame->height = pixels.height;
    check(av_frame_get_buffer(frame.get(), 0), "no frame for the picture");
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

} // namespace

std::string encodePng(const PixelsView& pixels) {
    const FramePointer frame = toFrame(pixels);
    const AVCodec* const codec = avcodec_find_encoder(AV_CODEC_ID_PNG);
    if (codec == nullptr)
        throw std::runtime_error("this FFmpeg has no PNG encoder");
    const EncoderPointer encoder(avcodec_alloc_context3(codec));
    const PacketPointer packet(av_packet_alloc());
    if (!encoder || !packet)
        throw std::bad_alloc();
    encoder->width = pixels.width;
    encoder->height = pixels.height;
    encoder->pix_fmt = static_cast<AVPixelFormat>(frame->format);
    encoder->time_base = {1, 1};
    check(avcodec_open2(encoder.get(), codec, nullptr), "the PNG encoder does not start");
    check(avcodec_send_frame(encoder.get(), frame.get()), "the PNG encoder refuses the picture");
    check(avcodec_receive_packet(encoder.get(), packet.get()), "the PNG encoder gives nothing");
    return {reinterpret_cast<const char*>(packet->data), static_cast<size_t>(packet->size)};
}
