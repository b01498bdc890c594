#pragma once

#include "media/picture_decoder.h"

// Decodes the first full picture of a TIFF file by libtiff, whatever its compression: grey and RGB
// with 8 or 16 bits as they are stored, everything else as RGB with 8 bits. Whatever libtiff
// complains of while it decodes is damage, which it would leave black.
StoredPicture decodeTiff(std::span<const uint8_t> bytes, const PictureRequest& request);
