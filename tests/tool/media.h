// Test pictures, and the files that hold them.
#pragma once

#include "kelvane/kelvane.h"
#include "media/picture.h"

#include <algorithm>
#include <sstream>

template <typename... Parts>
std::string join(const Parts&... parts) {
    std::ostringstream stream;
    (stream << ... << parts);
    return stream.str();
}

// Grey, or three colours a pixel.
struct Drawing {
    int width;
    int height;
    int channels = 1;
    std::vector<uint8_t> pixels =
        std::vector<uint8_t>(static_cast<size_t>(width * height * channels));

    uint8_t& at(int x, int y, int c = 0) {
        return pixels[static_cast<size_t>((y * width + x) * channels + c)];
    }
};

// A part of an endless grey scene: tiles of two sizes and random brightness, full of edges.
inline Drawing makeScene(int width, int height, int left = 0, int top = 0, int darkest = 20,
                         int brightest = 230) {
    const auto tile = [](int column, int row) {
        const auto n = static_cast<uint32_t>(column * 3761 + row * 6683) * 374761393;
        return static_cast<int>((n ^ n >> 13) * 1274126177 >> 24);
    };
    Drawing scene = {width, height};
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const int column = x + left + 1000, row = y + top + 1000;
            const int sum = tile(column / 8, row / 6) + tile(column / 37, row / 31);
            scene.at(x, y) = static_cast<uint8_t>(darkest + sum * (brightest - darkest) / 510);
        }
    return scene;
}

inline std::string toPnm(const Drawing& picture) {
    return join(picture.channels == 1 ? "P5\n" : "P6\n", picture.width, " ", picture.height,
                "\n255\n", std::string(picture.pixels.begin(), picture.pixels.end()));
}

// Encodes through libavcodec: each byte `repeat` times in plane 0, neutral chroma.
inline std::string encode(const Drawing& picture, AVCodecID codec, AVPixelFormat format,
                          int repeat = 1) {
    const std::unique_ptr<AVCodecContext, DecoderDeleter> encoder(
        avcodec_alloc_context3(avcodec_find_encoder(codec)));
    const FramePointer frame = makeFrame(picture.width, picture.height, format);
    encoder->width = picture.width;
    encoder->height = picture.height;
    encoder->pix_fmt = format;
    encoder->time_base = {1, 10};
    encoder->qmax = 2; // of 31; the smallest is the best
    std::fill_n(frame->buf[0]->data, frame->buf[0]->size, uint8_t{128});
    const int rowBytes = picture.width * picture.channels;
    for (int y = 0; y < picture.height; ++y)
        for (int i = 0; i < rowBytes * repeat; ++i)
            frame->data[0][y * frame->linesize[0] + i] =
                picture.pixels[static_cast<size_t>(y * rowBytes + i / repeat)];
    const PacketPointer packet(av_packet_alloc());
    avcodec_open2(encoder.get(), nullptr, nullptr);
    avcodec_send_frame(encoder.get(), frame.get());
    avcodec_send_frame(encoder.get(), nullptr);
    avcodec_receive_packet(encoder.get(), packet.get()); // empty after any failure
    return {reinterpret_cast<const char*>(packet->data), static_cast<size_t>(packet->size)};
}

// An IVF video of 10 frames a second, which are given encoded.
inline std::string toIvf(const char* codec, const std::vector<std::string>& frames) {
    const auto number = [](uint64_t value, size_t bytes) {
        return std::string(reinterpret_cast<const char*>(&value), bytes);
    };
    std::string file = join("DKIF", number(32 << 16, 4), codec, number(0, 4), number(10, 4),
                            number(1, 4), number(frames.size(), 8));
    for (size_t i = 0; i < frames.size(); ++i)
        file += number(frames[i].size(), 4) + number(i, 8) + frames[i];
    return file;
}
