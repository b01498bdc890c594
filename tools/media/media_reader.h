#pragma once

#include "base/progress.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
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
struct StreamDeleter {
    void operator()(AVIOContext* stream) const { avio_closep(&stream); }
};
using FramePointer = std::unique_ptr<AVFrame, FrameDeleter>;
using PacketPointer = std::unique_ptr<AVPacket, PacketDeleter>;

FramePointer newFrame();

// With memory for its pixels.
FramePointer makeFrame(int width, int height, AVPixelFormat format);

// Reads a picture or the frames of a video, whichever the file's content turns out to be. A
// picture is read as a video of one frame. Failures are thrown as BadPicture. Whatever decodes, a
// frame is handed on as an AVFrame.
class MediaReader {
public:
    explicit MediaReader(std::string path);

    bool isVideo() const { return isVideo_; }

    // Frames that the container announces; 0 when it does not say.
    int64_t announcedFrames() const;

    // The next frame, valid until the next call, or null at the end. After a BadPicture the frame
    // is lost and reading may go on.
    const AVFrame* next();

    // When the frame that `next` gave is shown, in seconds from the start of the video.
    std::optional<double> seconds() const;

private:
    void openFormat();
    void openPicture();
    void openVideo();
    void openDecoder(const AVCodecParameters* parameters, AVCodecID codecId);
    void sendNextPacket();
    [[noreturn]] void fail(const std::string& reason) const;
    void check(int result) const;

    std::string path_;
    std::unique_ptr<AVIOContext, StreamDeleter> file_;
    std::unique_ptr<AVFormatContext, FormatDeleter> format_;
    std::unique_ptr<AVCodecContext, DecoderDeleter> decoder_;
    PacketPointer packet_;
    FramePointer frame_;
    const AVStream* stream_ = nullptr; // of a video
    bool isVideo_ = false;
    bool packetsEnded_ = false;
    bool flushed_ = false;
};

// Decodes the one picture of a file; a video is refused.
FramePointer readPicture(const std::string& path, PhaseTimes& times);
