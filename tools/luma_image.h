#pragma once

#include "image_view.h"
#include "picture_encoder.h"

#include <string>
#include <vector>

// A copy of a frame's luma that outlives the frame: rows of `width` bytes.
struct LumaImage {
    int32_t width = 0;
    int32_t height = 0;
    std::vector<unsigned char> pixels;

    // For the library, which does not write to it.
    __tag_KIRO_OFFSCREEN view();
};

PixelsView greyPixels(const LumaImage& luma);

LumaImage copyLuma(const __tag_KIRO_OFFSCREEN& image);

// Reads the luma of one picture as it is stored, an odd last column or row included.
LumaImage readLuma(const std::string& path, PhaseTimes& times);

// Two pictures of one size.
struct LumaPair {
    LumaImage first;
    LumaImage second;
};
LumaPair readLumaPair(const std::string& first, const std::string& second, PhaseTimes& times);
