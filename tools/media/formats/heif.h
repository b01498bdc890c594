#pragma once

#include "media/picture_decoder.h"

#include <vector>

// Decodes the primary picture of a HEIF file, which includes HEIC and AVIF, by libheif: its luma
// when no more is wanted, else luma and chroma of one size. It comes turned and cropped as the file
// says; the orientation in its Exif data says the same once more and does not count.
StoredPicture decodeHeif(std::span<const uint8_t> bytes, const PictureRequest& request);

// The Exif data of the primary picture, from "Exif\0\0" on, and its XMP packet. Empty where there
// are none, or the file cannot be read.
std::vector<uint8_t> heifExif(std::span<const uint8_t> bytes);
std::vector<uint8_t> heifXmp(std::span<const uint8_t> bytes);
