#pragma once

#include "kelvane/kelvane.h"
#include "media_reader.h"
#include "phase_times.h"

#include <string>
#include <vector>

// Rows of blue, green and red bytes without padding.
struct BgrPicture {
    int32_t width = 0;
    int32_t height = 0;
    std::vector<unsigned char> pixels;
};

// A picture with its colour, in a format that `ImageResize_BL_ToBGR24` takes.
class ColourPicture {
public:
    // Reads the one picture of a file.
    static ColourPicture read(const std::string& path, PhaseTimes& times);

    int32_t width() const { return image_.width; }
    int32_t height() const { return image_.height; }

    BgrPicture resized(int32_t width, int32_t height, PhaseTimes& times) const;

private:
    FramePointer pixels_;
    __tag_KIRO_OFFSCREEN image_ = {};
};
