// FFmpeg's frames and what else of it has to be released.
#pragma once

#include <memory>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/pixdesc.h>
}

struct FrameDeleter {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct PacketDeleter {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct DecoderDeleter {
    void operator()(AVCodecContext* decoder) const { avcodec_free_context(&decoder); }
};
struct FormatDeleter {
    void operator()(AVFormatContext* format) const { avformat_close_input(&format); }
};
using FramePointer = std::unique_ptr<AVFrame, FrameDeleter>;
using PacketPointer = std::unique_ptr<AVPacket, PacketDeleter>;

FramePointer newFrame();

// With memory for its pixels.
FramePointer makeFrame(int width, int height, AVPixelFormat format);

// Another owner of the same pixels.
FramePointer shareFrame(const AVFrame& frame);

// FFmpeg's name of a frame's pixel format.
std::string pixelFormatName(const AVFrame& frame);
