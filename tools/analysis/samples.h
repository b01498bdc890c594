#pragma once

#include "kelvane/kelvane.h"
#include "media/luma.h"

// The library's sharpness measure takes one sample of every 4 x 4 pixels: the rounded mean of the
// pixels 0 and 2 of the rows 0 and 2. Kept for a whole burst, a sixteenth of its luma, the samples
// tell the sharpness of any rectangle whose edges are multiples of 4.
constexpr int32_t sampleStep = 4;

// A picture with a pixel for each sample.
LumaImage sampleLuma(const __tag_KIRO_OFFSCREEN& image);

// The blur score of a rectangle of the picture that was sampled.
int64_t measurePart(const LumaImage& samples, __tag_rect part);

// The part of a picture that the library measures when no rectangle is given (section 4 of
// kelvane.h).
__tag_rect centredCrop(int32_t width, int32_t height);
