#pragma once

#include "media/picture_decoder.h"

// Whether FFmpeg takes a file with this start for a picture of its own.
bool isFfmpegPicture(std::span<const uint8_t> start);

// Decodes a picture of a format that FFmpeg reads: PNG, WebP, BMP, PNM and others. Throws
// DecodeError for everything else.
StoredPicture decodeByFfmpeg(std::span<const uint8_t> bytes);
