#pragma once

#include "media/orientation.h"

#include <cstdint>
#include <optional>
#include <span>

// The orientation that Exif data state, from "Exif\0\0" on; nothing for other data and for values
// that Exif does not know.
std::optional<Orientation> exifOrientation(std::span<const uint8_t> data);
