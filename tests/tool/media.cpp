#include "media.h"

#include "kelvane/kelvane.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <random>
#include <stdexcept>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/intreadwrite.h>
#include <libavutil/pixdesc.h>
}

namespace {

void require(bool condition, const char* what) {
    if (!condition)
        throw std::runtime_error(what);
}

using Encoder = std::unique_ptr<AVCodecContext, void (*)(AVCodecContext*)>;

Encoder openEncoder(const Grey& size, AVCodecID id, AVPixelFormat format) {
    const AVCodec* const codec = avcodec_find_encoder(id);
    require(codec != nullptr, "no encoder");
    Encoder encoder(avcodec_alloc_context3(codec),
                    [](AVCodecContext* c) { avcodec_free_context(&c); });
    encoder->width = size.width;
    encoder->height = size.height;
    encoder->pix_fmt = format;
    encoder->color_range = AVCOL_RANGE_JPEG;
    encoder->time_base = {1, 10};
    encoder->framerate = {10, 1};
    encoder->flags |= AV_CODEC_FLAG_QSCALE;
    encoder->global_quality = 2 * FF_QP2LAMBDA;
    require(avcodec_open2(encoder.get(), codec, nullptr) >= 0, "encoder refused");
    return encoder;
}

void store(uint8_t* at, int value, const AVPixFmtDescriptor& format) {
    const int depth = format.comp[0].depth;
    if (depth == 8)
        *at = static_cast<uint8_t>(value);
    else if ((format.flags & AV_PIX_FMT_FLAG_BE) != 0)
        AV_WB16(at, static_cast<uint16_t>(value << (depth - 8)));
    else
        AV_WL16(at, static_cast<uint16_t>(value << (depth - 8)));
}

void fill(AVFrame& frame, const Grey& image) {
    const AVPixFmtDescriptor& format =
        *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    for (int c = 0; c < format.nb_components; ++c) {
        const AVComponentDescriptor& part = format.comp[c];
        const bool chroma = c > 0 && (format.flags & AV_PIX_FMT_FLAG_RGB) == 0;
        const int width = AV_CEIL_RSHIFT(image.width, chroma ? format.log2_chroma_w : 0);
        const int height = AV_CEIL_RSHIFT(image.height, chroma ? format.log2_chroma_h : 0);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                store(frame.data[part.plane] + y * frame.linesize[part.plane] + x * part.step +
                          part.offset,
                      chroma ? 128 : image.pixels[static_cast<size_t>(y * image.width + x)],
                      format);
    }
}

// Sends one picture (or, with null, the end) and hands over every packet that comes of it.
void encode(AVCodecContext* encoder, const Grey* image, int64_t time,
            const std::function<void(AVPacket&)>& take) {
    AVFrame* frame = nullptr;
    if (image != nullptr) {
        frame = av_frame_alloc();
        frame->format = encoder->pix_fmt;
        frame->width = image->width;
        frame->height = image->height;
        frame->pts = time;
        frame->quality = encoder->global_quality;
        require(av_frame_get_buffer(frame, 0) >= 0, "no frame");
        fill(*frame, *image);
    }
    require(avcodec_send_frame(encoder, frame) >= 0, "frame refused");
    av_frame_free(&frame);
    AVPacket* packet = av_packet_alloc();
    while (avcodec_receive_packet(encoder, packet) >= 0) {
        take(*packet);
        av_packet_unref(packet);
    }
    av_packet_free(&packet);
}

} // namespace

Grey makeScene(int width, int height) {
    Grey image = {width, height, std::vector<uint8_t>(static_cast<size_t>(width * height))};
    std::mt19937 random(7);
    for (int block = 0; block < width * height / 40; ++block) {
        const int left = static_cast<int>(random() % static_cast<unsigned>(width));
        const int top = static_cast<int>(random() % static_cast<unsigned>(height));
        const int side = 3 + static_cast<int>(random() % 12);
        const auto value = static_cast<uint8_t>(20 + random() % 210);
        for (int y = top; y < std::min(top + side, height); ++y)
            for (int x = left; x < std::min(left + side, width); ++x)
                image.pixels[static_cast<size_t>(y * width + x)] = value;
    }
    return image;
}

Grey crop(const Grey& image, int left, int top, int width, int height) {
    Grey part = {width, height, {}};
    for (int y = top; y < top + height; ++y)
        for (int x = left; x < left + width; ++x)
            part.pixels.push_back(image.pixels[static_cast<size_t>(y * image.width + x)]);
    return part;
}

Grey boxBlur(const Grey& image, int radius) {
    Grey blurred = image;
    const auto at = [&](int x, int y) {
        x = std::clamp(x, 0, image.width - 1);
        y = std::clamp(y, 0, image.height - 1);
        return image.pixels[static_cast<size_t>(y * image.width + x)];
    };
    const int count = (2 * radius + 1) * (2 * radius + 1);
    for (int y = 0; y < image.height; ++y)
        for (int x = 0; x < image.width; ++x) {
            int sum = 0;
            for (int dy = -radius; dy <= radius; ++dy)
                for (int dx = -radius; dx <= radius; ++dx)
                    sum += at(x + dx, y + dy);
            blurred.pixels[static_cast<size_t>(y * image.width + x)] =
                static_cast<uint8_t>(sum / count);
        }
    return blurred;
}

std::string toPgm(const Grey& image) {
    return "P5\n" + std::to_string(image.width) + " " + std::to_string(image.height) + "\n255\n" +
           std::string(image.pixels.begin(), image.pixels.end());
}

int libraryScore(const Grey& image) {
    Grey copy = image;
    const __tag_KIRO_OFFSCREEN view = {.format = KELVANE_FORMAT_YUV420,
                                       .width = image.width & ~1,
                                       .height = image.height & ~1,
                                       .planes = {copy.pixels.data()},
                                       .pitches = {image.width}};
    _tag_DRAV_ENGINE* engine = nullptr;
    _tag_DRAV_DATA result = {};
    require(DRAV_Init(nullptr, &engine) == ERR_NONE, "no engine");
    require(DRAV_DetectBlur(engine, &view, &result) == ERR_NONE, "not measured");
    const int score = static_cast<const _tag_DRAV_BLURRESULT*>(result.data)->score;
    DRAV_Uninit(&engine);
    return score;
}

std::string encodePicture(const Grey& image, AVCodecID codec, AVPixelFormat format) {
    const Encoder encoder = openEncoder(image, codec, format);
    std::string bytes;
    const auto take = [&](AVPacket& packet) {
        bytes.append(reinterpret_cast<const char*>(packet.data), static_cast<size_t>(packet.size));
    };
    encode(encoder.get(), &image, 0, take);
    encode(encoder.get(), nullptr, 0, take);
    return bytes;
}

DecodedPng decodePng(const std::string& bytes) {
    const AVCodec* const codec = avcodec_find_decoder(AV_CODEC_ID_PNG);
    AVCodecContext* decoder = avcodec_alloc_context3(codec);
    AVPacket* packet = av_packet_alloc();
    AVFrame* frame = av_frame_alloc();
    require(av_new_packet(packet, static_cast<int>(bytes.size())) >= 0, "no packet");
    std::copy(bytes.begin(), bytes.end(), packet->data);
    require(avcodec_open2(decoder, codec, nullptr) >= 0, "no decoder");
    require(avcodec_send_packet(decoder, packet) >= 0, "packet refused");
    require(avcodec_receive_frame(decoder, frame) >= 0, "no picture");
    DecodedPng png = {frame->width, frame->height, frame->format == AV_PIX_FMT_GRAY8 ? 1 : 3, {}};
    require(png.channels == 1 || frame->format == AV_PIX_FMT_RGB24, "another pixel format");
    for (int y = 0; y < png.height; ++y)
        png.pixels.insert(png.pixels.end(), frame->data[0] + y * frame->linesize[0],
                          frame->data[0] + y * frame->linesize[0] + png.width * png.channels);
    av_frame_free(&frame);
    av_packet_free(&packet);
    avcodec_free_context(&decoder);
    return png;
}

void writeVideo(const std::string& path, const std::vector<Grey>& frames, AVCodecID codec,
                AVPixelFormat format) {
    const Encoder encoder = openEncoder(frames.front(), codec, format);
    AVFormatContext* file = nullptr;
    require(avformat_alloc_output_context2(&file, nullptr, nullptr, path.c_str()) >= 0, "no muxer");
    AVStream* const stream = avformat_new_stream(file, nullptr);
    avcodec_parameters_from_context(stream->codecpar, encoder.get());
    stream->time_base = encoder->time_base;
    require(avio_open(&file->pb, path.c_str(), AVIO_FLAG_WRITE) >= 0, "no file");
    require(avformat_write_header(file, nullptr) >= 0, "no header");
    const auto take = [&](AVPacket& packet) {
        packet.duration = 1;
        av_packet_rescale_ts(&packet, encoder->time_base, stream->time_base);
        require(av_write_frame(file, &packet) >= 0, "packet refused");
    };
    for (size_t i = 0; i < frames.size(); ++i)
        encode(encoder.get(), &frames[i], static_cast<int64_t>(i), take);
    encode(encoder.get(), nullptr, 0, take);
    av_write_trailer(file);
    avio_closep(&file->pb);
    avformat_free_context(file);
}
