#pragma once

#include "phase_times.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

extern "C" {
#include <libavutil/frame.h>
}

// A small picture of a frame.
struct Thumbnail {
    int32_t width;
    int32_t height;
    std::string jpeg;
};

// Small pictures of the frames of a burst, made as the frames go by. Of a long burst it keeps every
// second, then every fourth and so on, so that it never holds more than its capacity.
class ContactSheet {
public:
    explicit ContactSheet(size_t capacity) : capacity_(capacity) {}

    // The next frame of the burst.
    void offer(const AVFrame& frame, const std::string& name, PhaseTimes& times);

    // A frame that has to be on the sheet beyond its capacity.
    void add(size_t index, const AVFrame& frame, const std::string& name, PhaseTimes& times);

    size_t capacity() const { return capacity_; }
    size_t step() const { return step_; } // between the frames kept
    const std::map<size_t, Thumbnail>& thumbnails() const { return thumbnails_; }

private:
    size_t capacity_; // 0 for no sheet at all
    size_t step_ = 1;
    size_t next_ = 0;
    std::map<size_t, Thumbnail> thumbnails_; // by the index of the frame
};
