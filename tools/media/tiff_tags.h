#pragma once

#include <cstdint>
#include <span>

// Whether a TIFF file is a camera's raw file: it says that it is a DNG, or it holds a picture whose
// samples lie behind the colour filters of a sensor, as its tags say (TIFF/EP, ISO 12234-2).
bool holdsRawData(std::span<const uint8_t> file);
