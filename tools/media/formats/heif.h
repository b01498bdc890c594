#pragma once

#include "media/metadata/byte_range.h"
#include "media/picture_decoder.h"

#include <vector>

// Decodes the primary picture of a HEIF file, which includes HEIC and AVIF, by libheif: its luma
// when no more is wanted, else luma and chroma of one size. It comes turned and cropped as the file
// says; the orientation in its Exif data says the same once more and does not count.
StoredPicture decodeHeif(std::span<const uint8_t> bytes, const PictureRequest& request);

// What a HEIF file says about its primary picture, of which nothing else is read. Empty where there
// is nothing, or the file cannot be read.
struct HeifMetadata {
    std::vector<uint8_t> exif; // from "Exif\0\0" on
    std::vector<uint8_t> xmp;
};
HeifMetadata heifMetadata(const ByteRange& file);
