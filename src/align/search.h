// The coarse-to-fine search for the displacement between two frames.
#pragma once

#include "kelvane/kelvane.h"

namespace kelvane {

// What stays the same over the levels of one search.
struct Search {
    unsigned char* movingLuma; // read only at patch levels
    int64_t width;             // of the frame
    int64_t height;
    int64_t pitch;
    int64_t k;
    _tag_BitPyramid_Struct* refPyramid;
    _tag_BitPyramid_Struct* workPyramid;
    int64_t movingThreshold;
    bool usePatches;
    bool directLevels; // every level is a stored one, whatever its number
    int64_t format;
    long* score;
};

// One level of the search: the data of both frames, its size, and how many levels are coarser.
struct SearchLevel {
    unsigned char* refData;
    unsigned char* movingData;
    int64_t width;
    int64_t height;
    int64_t levelsLeft;
};

// Finds the displacement, in this level's pixels, that makes the moving frame look like the
// reference. ERR_INVALID_PARAM: a level that needs patches which the pyramids do not have.
long searchLevel(const Search& search, const SearchLevel& level, long result[2]);

} // namespace kelvane
