// The engine record that `DRAV_Init` gives as a handle.
#pragma once

#include "kelvane/kelvane.h"

#include <cstddef>

namespace kelvane {

// The columns of one best-shot call, n values each, in one block that starts at `wholeSharpness`.
struct ScoreTable {
    int64_t* wholeSharpness;
    int64_t* regionSharpness;
    int64_t* faceCount;
    int64_t* codeCount; // faces whose code counts against the frame
    int64_t* openEyeCount;
    int64_t* closedEyeCount;
    int64_t* smileCount;
    int64_t* broadSmileCount;
    int64_t* finalScore;
};

constexpr int64_t scoreColumns = sizeof(ScoreTable) / sizeof(int64_t*);

} // namespace kelvane

struct _tag_DRAV_ENGINE {
    void* memHandle;
    int64_t frameCounter; // frames scored so far in the current best-shot call
    int64_t movingCount;  // objects given to the last SetMovingObjectInfo
    int64_t frameWidth;
    int64_t frameHeight;
    int64_t faceMode;               // 1 when face terms take part in the score
    kelvane::ScoreTable scoreTable; // valid during a best-shot call
    __tag_rect* movingRects;        // start of the block that holds the three arrays in turn
    int64_t* movingFlags;           // nonzero where the frame has a usable moving object
    int64_t* movingAreas;
    int64_t movingActive;      // 1 when the moving-object information is in force
    int64_t movingWidth;       // of the coordinate space of the rectangles
    int64_t movingHeight;      // stored; both axes are converted with the width ratio
    int64_t suppliedSharpness; // 1 when the caller supplied the whole-frame sharpness
    _tag_DRAV_BLURRESULT blurResult;
};

#ifndef __wasm32__ // pointers of 4 bytes make smaller records
static_assert(offsetof(_tag_DRAV_ENGINE, scoreTable) == 48);
static_assert(offsetof(_tag_DRAV_ENGINE, movingRects) == 120);
static_assert(offsetof(_tag_DRAV_ENGINE, blurResult) == 176);
static_assert(sizeof(_tag_DRAV_ENGINE) == 192);
#endif
