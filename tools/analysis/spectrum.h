#pragma once

#include "analysis/edges.h"

#include <vector>

extern "C" {
#include <libavutil/tx.h>
}

// The Fourier transform of an edge map whose x and y are the real and the imaginary part, with room
// for shifts of half the picture.
struct Spectrum {
    int32_t width; // of the picture
    int32_t height;
    std::vector<AVComplexFloat> values;
};

// Whether there is a transform of this size.
bool hasSpectrum(int32_t width, int32_t height);

Spectrum spectrumOf(const EdgeMap& edges);

// The shifts of the `count` highest peaks of the correlation of two pictures of one size, the
// highest first (Kuglin and Hines 1975 for the search by transforms; edges take the place of the
// phases). The sums are not normalised: the smaller the overlap, the stronger must be the evidence.
std::vector<Shift> highestPeaks(const Spectrum& first, const Spectrum& second, size_t count);
