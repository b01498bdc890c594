#pragma once

#include "changed_mask.h"

#include <vector>

// What moves in one frame, in that frame's pixels.
struct MovingObject {
    bool found = false;
    __tag_rect rect = {};
    int64_t area = 0; // pixels of the mask
    std::vector<unsigned char> mask;
};

struct MovingObjects {
    std::vector<MovingObject> ofFrames;
    int64_t found = 0;
    int64_t compared = 0; // frames with a neighbour that shows the same scene
    bool used = false;    // found in more than half of the frames: only then they are ranked by
};

// Finds what moves in each frame of a burst of equal frames, whose shorter side is at least
// `smallestChangedSide`, by comparing it with its neighbours.
MovingObjects findMovingObjects(std::vector<LumaImage>& frames);
