#pragma once

#include "alignment.h"

// How well a shift explains the difference of two frames.
struct ShiftFit {
    double agreement;          // share of equal threshold bits where the shifted frames overlap
    double agreementUnshifted; // the same without the shift
    bool atLimit;              // the search could not have gone further
    bool fits;
};

ShiftFit measureFit(LumaImage& first, LumaImage& second, Shift shift);
