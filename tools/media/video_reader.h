#pragma once

#include "media/picture.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

// Whether the name of a file says that its JPEG pictures are a video. Otherwise a JPEG followed by
// another one is a camera's picture with a preview.
bool isMjpegName(std::string_view path);

// Reads the frames of a video and turns them upright. Failures are thrown as BadPicture.
class VideoReader {
public:
    explicit VideoReader(std::string path);

    // Frames that the container announces; 0 when it does not say.
    int64_t announcedFrames() const;

    // The next frame, or one without pixels at the end. After a BadPicture the frame is lost and
    // reading may go on.
    Picture next();

    // When the frame that `next` gave is shown, in seconds from the start of the video.
    std::optional<double> seconds() const;

private:
    struct StreamDeleter {
        void operator()(AVIOContext* stream) const { avio_closep(&stream); }
    };

    void openFormat();
    void openStream();
    void openDecoder();
    void sendNextPacket();
    [[noreturn]] void fail(const std::string& reason) const;
    void check(int result) const;

    std::string path_;
    std::unique_ptr<AVIOContext, StreamDeleter> file_;
    std::unique_ptr<AVFormatContext, FormatDeleter> format_;
    std::unique_ptr<AVCodecContext, DecoderDeleter> decoder_;
    PacketPointer packet_;
    FramePointer frame_; // as it is stored
    const AVStream* stream_ = nullptr;
    Orientation orientation_ = Orientation::upright; // of frames that do not say
    bool packetsEnded_ = false;
    bool flushed_ = false;
};
