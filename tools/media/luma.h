#pragma once

#include "kelvane/kelvane.h"
#include "media/picture.h"
#include "media/picture_encoder.h"
#include "media/scaler.h"

#include <string>
#include <vector>

struct ImageView {
    __tag_KIRO_OFFSCREEN image;
    bool converted; // into memory of the viewer, valid until its next call
    bool cropped;   // by the last column or row, for even sides
};

// Shows decoded frames to the library. A format with a plane of 8-bit luma is passed uncopied,
// with its chroma where the library has the same layout and null planes elsewhere. Everything else
// is converted to planar 4:2:0 with the range of its luma kept; RGB becomes full range.
class ImageViewer {
public:
    ImageView view(const AVFrame& frame, const std::string& name, PhaseTimes& times);

private:
    Scaler scaler_;
};

// A copy of a frame's luma that outlives the frame: rows of `width` bytes.
struct LumaImage {
    int32_t width = 0;
    int32_t height = 0;
    std::vector<unsigned char> pixels;

    // For the library, which does not write to it.
    __tag_KIRO_OFFSCREEN view();

    PixelsView grey() const;
};

LumaImage copyLuma(const __tag_KIRO_OFFSCREEN& image);

// Reads the luma of one picture, upright, an odd last column or row included.
LumaImage readLuma(const std::string& path, PhaseTimes& times);

// Two pictures of one size.
struct LumaPair {
    LumaImage first;
    LumaImage second;
};
LumaPair readLumaPair(const std::string& first, const std::string& second, PhaseTimes& times);
