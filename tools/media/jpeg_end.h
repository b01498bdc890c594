#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

bool startsLikeJpeg(std::span<const uint8_t> bytes);

// The length of the JPEG picture that `bytes` start with, up to and with its end-of-image marker,
// or 0 when there is none. Decoders fill up what a cut file lacks and report success, so whether a
// picture is whole has to be seen from its markers. Bytes after the end (an embedded second
// picture or film) belong to something else.
size_t jpegLength(std::span<const uint8_t> bytes);
