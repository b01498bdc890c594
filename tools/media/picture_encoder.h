#pragma once

#include "media/file_format.h"

#include <cstdint>
#include <stdexcept>
#include <string>

// Pixels in memory of others: one grey byte, or blue, green and red.
struct PixelsView {
    const unsigned char* data;
    int32_t width;
    int32_t height;
    int64_t pitch;
    int32_t channels; // 1 or 3
};

// Why a picture cannot be written in a format, for people.
class EncodeError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

constexpr int usualQuality = 95;

// Throws EncodeError when this build cannot write the format.
void checkEncoder(FileFormat format);

// The bytes of a file without orientation: the pixels are upright. The quality, 1 to 100, counts
// for JPEG and WebP; from 90 on, the chroma of a JPEG keeps its resolution. Throws EncodeError for
// a picture that is too large for the format, for example.
std::string encodePicture(const PixelsView& pixels, FileFormat format, int quality = usualQuality);
