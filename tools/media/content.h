#pragma once

#include <cstdint>
#include <span>

// What a file holds. `other` is for FFmpeg to find out: a picture of another format, or a video.
enum class Content : uint8_t { jpeg, heif, avif, tiff, raw, other };

// How many of the first bytes tell the content.
constexpr size_t contentBytes = 64 << 10;

// Tells the content by the first bytes of a file, of which there may be fewer. What says that it is
// TIFF may turn out to be raw when all bytes are known.
Content contentOf(std::span<const uint8_t> start);
