#pragma once

#include "base/shift.h"
#include "media/luma.h"

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

ShiftFit measureFit(LumaImage& first, LumaImage& second, Shift shift);
