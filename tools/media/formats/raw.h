#pragma once

#include "media/picture_decoder.h"

// Decodes a camera's raw file by LibRaw: the preview inside it where that has at least half as many
// columns as the sensor, otherwise a picture of half the size, each pixel of which is made of four
// of the sensor, with the camera's white balance and without regard to its own brightness, so that
// the pictures of a burst compare. The form's `rendering` says which of the two it is.
StoredPicture decodeRaw(std::span<const uint8_t> bytes, const PictureRequest& request);
