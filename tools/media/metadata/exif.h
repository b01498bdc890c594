#pragma once

#include "media/metadata.h"
#include "media/metadata/byte_range.h"
#include "media/orientation.h"

// How an Exif segment of a JPEG begins; the last byte is to fill.
constexpr std::string_view exifStart("Exif\0\0", 6);

// Fill in what Exif data say (CIPA DC-008, Exif 2.32), which have the form of a TIFF file: the time
// with its fraction and zone, the orientation, the camera, its numbers and its identifier of
// bursts.
void addExif(const ByteRange& tiff, Metadata& metadata);

// What CR3 files hold in three parts of that form: the general fields, those of Exif, and the maker
// note.
void addCanonParts(const ByteRange& general, const ByteRange& exif, const ByteRange& note,
                   Metadata& metadata);

// The orientation that the Exif segment of a JPEG states, upright for values that Exif does not
// know; nothing for other segments.
std::optional<Orientation> exifOrientation(std::span<const uint8_t> segment);
