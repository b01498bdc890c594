#pragma once

#include <cstdint>

// Pixel p of the second frame shows what pixel p + (dx, dy) of the first shows.
struct Shift {
    int64_t dx;
    int64_t dy;
};

// How well a shift explains the difference of two frames.
struct ShiftFit {
    double agreement;          // share of equal threshold bits where the shifted frames overlap
    double agreementUnshifted; // the same without the shift
    bool atLimit;              // the search could not have gone further
    bool fits;
};
