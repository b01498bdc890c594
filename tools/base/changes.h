// What is found out about the difference of two pictures, A and B.
#pragma once

#include "base/shift.h"
#include "kelvane/kelvane.h"

#include <cmath>
#include <cstdint>
#include <vector>

// How B's light follows from A's where both show the same: grey value v becomes gain * v + offset.
struct LightChange {
    double gain = 1;
    double offset = 0;

    // By more than 10 %, or 10 % of all grey values.
    bool isLarge() const { return std::abs(gain - 1) > 0.1 || std::abs(offset) > 25.5; }
};

// What changed in one place.
struct ChangedRegion {
    __tag_rect rect;
    int64_t area; // changed pixels
};

struct Changes {
    int32_t width; // of the picture
    int32_t height;
    __tag_rect rect;                    // of all that changed, in B's pixels; all zero for nothing
    int64_t area;                       // changed pixels
    std::vector<ChangedRegion> regions; // the largest first, without specks
    bool wholeScene;                    // all over the picture
    LightChange light;                  // undone before the comparison when it is large
    Alignment alignment;

    double share(int64_t pixels) const {
        return static_cast<double>(pixels) / (static_cast<double>(width) * height);
    }
};
