#pragma once

#include "base/burst.h"

#include <span>
#include <vector>

// Works out the terms of every frame by the rules of the library's ranking (section 6 of
// kelvane.h): from the blur scores that it was given, the objects that it used (null for none), and
// the faces (empty for none). `width` and `height` are those of the measured frames.
std::vector<Terms> computeTerms(std::span<const int64_t> scores, const MovingObjects* moving,
                                const FacesOfFrames& faces, int32_t width, int32_t height);
