// What decoders of pictures take and give.
#pragma once

#include "media/orientation.h"

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>

// What a caller needs of a picture. A decoder may give more.
struct PictureRequest {
    bool lumaOnly = false;  // grey is enough
    int32_t longerSide = 0; // that many pixels suffice on the longer side; 0: all there are
};

// What a file says of its picture.
struct PictureForm {
    int orientation = 1;     // as stored, 1 to 8
    std::string pixelFormat; // by FFmpeg's name, whatever was asked for
    std::string rendering;   // how a picture was made of raw data; empty for all others
};

// A picture as a decoder gives it.
struct StoredPicture {
    FramePointer pixels;
    Orientation orientation = Orientation::upright; // in which the pixels still are
    PictureForm form;
};

// Why bytes cannot be decoded, for people. The caller knows which file they are.
class DecodeError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Throws DecodeError for a picture that is empty or has more pixels than a frame can hold, before a
// decoder asks for their memory.
void checkPictureSize(int64_t width, int64_t height);
