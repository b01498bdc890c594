#pragma once

#include "media/picture_encoder.h"

#include <string>

// The bytes of a JPEG file, by libjpeg-turbo; `encodePicture` says the rest.
std::string encodeJpeg(const PixelsView& pixels, int quality);
