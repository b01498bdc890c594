#pragma once

#include "media/luma.h"

// The picture with its brightness changed so that its histogram comes near that of the model:
// each grey value becomes the one of equal rank there (Gonzalez and Woods, Digital Image
// Processing).
LumaImage matchLight(const LumaImage& picture, const LumaImage& model);
