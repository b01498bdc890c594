#pragma once

#include "kelvane/kelvane.h"
#include "media/picture.h"
#include "media/picture_encoder.h"

#include <string>
#include <vector>

// Rows of blue, green and red bytes without padding.
struct BgrPicture {
    int32_t width = 0;
    int32_t height = 0;
    std::vector<unsigned char> pixels;

    PixelsView view() const {
        return {.data = pixels.data(),
                .width = width,
                .height = height,
                .pitch = 3 * int64_t{width},
                .channels = 3};
    }
};

// Reduced to a longer side of `side` pixels, each a mean of those that it stands for; a smaller
// picture keeps its size.
BgrPicture reduced(BgrPicture& picture, int32_t side, PhaseTimes& times);

// A picture with its colour, in a format that `ImageResize_BL_ToBGR24` takes.
class ColourPicture {
public:
    // Reads the one picture of a file.
    static ColourPicture read(const std::string& path, PhaseTimes& times);

    // Keeps a reference to the pixels of a decoded frame; `name` is for complaints.
    static ColourPicture of(const AVFrame& frame, const std::string& name, PhaseTimes& times);

    int32_t width() const { return image_.width; }
    int32_t height() const { return image_.height; }

    BgrPicture resized(int32_t width, int32_t height, PhaseTimes& times) const;

    // All pixels in their size.
    BgrPicture whole(PhaseTimes& times) const { return resized(width(), height(), times); }

    // The pixels inside a rectangle of the picture, from the even column and row before its corner.
    ColourPicture part(__tag_rect rect) const;

    // The same, reduced.
    BgrPicture thumbnail(int32_t side, PhaseTimes& times) const;

private:
    FramePointer pixels_;
    __tag_KIRO_OFFSCREEN image_ = {};
};
