#pragma once

#include "media/luma.h"

#include <optional>

// How the second of two pictures lies against the first: its pixel p shows what pixel p + at(p) of
// the first shows. Positions are in pixels from the picture's centre.
struct Motion {
    double dx = 0; // at the centre
    double dy = 0;
    double zoom = 0;  // by which part distances grow, from the second picture to the first
    double turn = 0;  // from the second to the first, in radians: clockwise as one sees them
    double error = 0; // standard error of dx and dy together, in pixels

    struct Vector {
        double x;
        double y;
    };
    Vector at(double x, double y) const {
        return {dx + zoom * x - turn * y, dy + turn * x + zoom * y};
    }
    // The same in pictures whose sides are `factor` times as long.
    Motion scaledBy(double factor) const {
        return {factor * dx, factor * dy, zoom, turn, factor * error};
    }
};

// Improves a guess by looking for patches of the second picture in the first, each up to `radius`
// pixels from where the guess puts it, and by the motion that most of them agree on. Turn and zoom
// are 0 unless the patches show them clearly. Nothing when too many patches do not find their
// place.
std::optional<Motion> refineMotion(const LumaImage& first, const LumaImage& second,
                                   const Motion& guess, int32_t radius);
