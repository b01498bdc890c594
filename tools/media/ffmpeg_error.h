#pragma once

#include <string>
#include <string_view>

extern "C" {
#include <libavformat/avformat.h>
}

inline std::string ffmpegReason(int error) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(error, text, sizeof text);
    return text;
}

// The demuxers of single pictures are named after the format: png_pipe, webp_pipe.
inline bool isPictureDemuxer(const AVInputFormat* format) {
    return std::string_view(format->name).ends_with("_pipe");
}
