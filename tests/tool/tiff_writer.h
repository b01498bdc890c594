#pragma once

#include "media.h"

#include <map>

using Keys = std::map<std::string, std::string>;

// A TIFF file by libtiff. Keys: `compression` by libtiff's number, `photometric` (white, black,
// rgb, palette, ycbcr, cmyk), `bits`, `tile` (side), `rows` of a strip, `planes` (1: separate),
// `mode` of TIFFOpen, `orientation`, `predictor`, `preview` (1: a smaller picture comes first).
std::string toTiff(const Drawing& picture, const Keys& keys);

// A DNG file of a sensor with red, green, green and blue filters, 14 bits a sample. Keys:
// `orientation`, and `preview`: the JPEG file in it.
std::string toDng(const Drawing& picture, const Keys& keys);
