#include "media/frames.h"

#include <new>

FramePointer newFrame() {
    FramePointer frame(av_frame_alloc());
    if (!frame)
        throw std::bad_alloc();
    return frame;
}

FramePointer makeFrame(int width, int height, AVPixelFormat format) {
    FramePointer frame = newFrame();
    frame->format = format;
    frame->width = width;
    frame->height = height;
    if (av_frame_get_buffer(frame.get(), 0) < 0)
        throw std::bad_alloc();
    return frame;
}

FramePointer shareFrame(const AVFrame& frame) {
    FramePointer shared(av_frame_clone(&frame));
    if (!shared)
        throw std::bad_alloc();
    return shared;
}

std::string pixelFormatName(const AVFrame& frame) {
    const char* const name = av_get_pix_fmt_name(static_cast<AVPixelFormat>(frame.format));
    return name == nullptr ? "unknown" : name;
}
