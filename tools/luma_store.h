#pragma once

#include "luma_image.h"

#include <string>
#include <vector>

// The luma of every frame of a burst, for a ranking that measures parts of them. A mask of each
// frame joins it later, so that a burst takes 2 * frames * width * height bytes, of which 4 GiB are
// accepted.
class LumaStore {
public:
    // Throws InputError, with `name` as the culprit, for a frame that does not fit any more.
    void add(const __tag_KIRO_OFFSCREEN& image, const std::string& name);

    std::vector<LumaImage>& frames() { return frames_; }

private:
    std::vector<LumaImage> frames_;
    int64_t bytes_ = 0;
};
