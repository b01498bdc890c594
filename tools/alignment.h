#pragma once

#include "luma_image.h"

#include <cstdint>

// Pixel p of the second frame shows what pixel p + (dx, dy) of the first shows.
struct Shift {
    int64_t dx;
    int64_t dy;
};

// Finds the shift between frames of one size.
class Aligner {
public:
    Aligner();
    ~Aligner();
    Aligner(const Aligner&) = delete;
    Aligner& operator=(const Aligner&) = delete;

    Shift find(LumaImage& first, LumaImage& second);

private:
    void* context_ = nullptr;
};

// The largest shift in either direction that the search can give for a frame of this size.
int64_t searchReach(int32_t width, int32_t height);
