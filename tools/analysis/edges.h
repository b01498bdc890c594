#pragma once

#include "base/shift.h"
#include "media/luma.h"

#include <cstdint>
#include <vector>

// The edges of a picture: the gradient of every pixel, divided by the root of its square and the
// square of the mean gradient. So edges are strong or weak by comparison with their own picture,
// whose light does not matter, and no single edge outweighs the others.
struct EdgeMap {
    int32_t width = 0;
    int32_t height = 0;
    std::vector<int16_t> gradients; // x and y of each pixel in turn, -128 to 128

    const int16_t* row(int32_t y) const { return gradients.data() + int64_t{2} * width * y; }
};

// Central differences; the outermost pixels have none.
EdgeMap edgesOf(const LumaImage& picture);

// The normalised correlation of two pictures' edges: 1 for the same picture, about 0 for pictures
// that have nothing in common, below it for inverted light (Argyriou and Vlachos 2003, "Estimation
// of sub-pixel motion using gradient cross-correlation"; normalised over the overlap as by Lewis
// 1995, "Fast normalized cross-correlation").
struct EdgeCorrelation {
    int64_t products = 0;
    int64_t firstSquares = 0;
    int64_t secondSquares = 0;

    // 0 when either picture has no edge.
    double value() const;
};

// Where the pictures overlap when pixel p of the second shows what pixel p + shift of the first
// shows.
EdgeCorrelation correlate(const EdgeMap& first, const EdgeMap& second, Shift shift);

// Where between the positions -1, 0 and 1 two lines of one steepness meet through three
// correlations: that of sharp edges falls off like a roof. -0.5 to 0.5.
double roofTop(double before, double centre, double after);
