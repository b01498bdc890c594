#pragma once

#include "media/picture_decoder.h"

// Decodes JPEG by libjpeg-turbo: grey when only luma is wanted, else the planes as they are stored,
// and red, green and blue where there are none or when a smaller picture suffices. What the decoder
// warns of is damage, which it would fill up with grey.
StoredPicture decodeJpeg(std::span<const uint8_t> bytes, const PictureRequest& request);

struct PictureSize {
    int64_t width;
    int64_t height;
};

// What the header says.
PictureSize jpegSize(std::span<const uint8_t> bytes);
