#pragma once

#include <cstdint>

// Pixel p of the second frame shows what pixel p + (dx, dy) of the first shows.
struct Shift {
    int64_t dx;
    int64_t dy;
};

// What is known of the shift between two frames.
struct Alignment {
    Shift shift = {0, 0};
    double correlation = 0; // of the edges where the shifted frames overlap: 1 for equal ones
    double correlationUnshifted = 0;
    bool atLimit = false; // the search could not have gone further
    bool fits = false;    // the frames show one scene, shifted
    // Of frames that fit:
    double turn = 0;         // of the second frame's scene against the first's, degrees clockwise
    double scale = 1;        // its size by that of the first's
    double cornerOffset = 0; // by how many pixels turn and scale move the corners
};

// The share of equal threshold bits where two frames overlap.
struct BitAgreement {
    double shifted;
    double unshifted;
};
