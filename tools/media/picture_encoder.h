#pragma once

#include <cstdint>
#include <span>
#include <string>

// Pixels in memory of others: one grey byte, or blue, green and red.
struct PixelsView {
    const unsigned char* data;
    int32_t width;
    int32_t height;
    int64_t pitch;
    int32_t channels; // 1 or 3
};

// The bytes of a PNG file.
std::string encodePng(const PixelsView& pixels);

// The bytes of a JPEG file of a colour picture. The quantiser is 1 (the best) to 31; at the best
// the chroma keeps its full resolution.
std::string encodeJpeg(const PixelsView& pixels, int quantiser);
