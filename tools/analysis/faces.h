#pragma once

#include "base/burst.h"

#include <string>
#include <vector>

// Reads a faces file (docs/faces.md); throws InputError for anything but a well-formed one.
FacesOfFrames readFaces(const std::string& path);

// Throws InputError unless there is one entry per frame and each face lies inside its frame.
void checkFaces(const FacesOfFrames& faces, const std::string& path, size_t frameCount,
                int32_t width, int32_t height);

// The pre-processing record of `frameCount` frames, without maps. `faces` may be empty. Rectangles
// are clipped to the measured `width` and `height`.
std::vector<unsigned char> makeRecord(const FacesOfFrames& faces, size_t frameCount, int32_t width,
                                      int32_t height);
