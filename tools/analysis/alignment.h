#pragma once

#include "analysis/pyramid.h"
#include "base/shift.h"

// Finds the shift between two pictures of one size: of the candidates - none, an expected one, and
// the highest peaks of the correlation of all shifts of up to half the picture - that under which
// the edges correlate best, refined to the pixel. How it is judged is told in docs/alignment.md.
Alignment align(const Pyramid& first, const Pyramid& second, Shift expected);

// A shift to a fraction of a pixel of the middle level, in pixels of the finest one.
struct RoughShift {
    double dx = 0;
    double dy = 0;
    bool fits = false;
};

// The same without refinement, for the frames of a burst. Most of them lie where they are expected;
// then no other shift is tried.
RoughShift alignRoughly(const Pyramid& first, const Pyramid& second, Shift expected);

// Finds the shift between frames of one size. The library's own answer is one of the candidates.
class Aligner {
public:
    Aligner();
    ~Aligner();
    Aligner(const Aligner&) = delete;
    Aligner& operator=(const Aligner&) = delete;

    Alignment find(LumaImage& first, LumaImage& second);

private:
    void* context_ = nullptr;
};

// The share of equal threshold bits where the shifted frames overlap.
double bitAgreement(LumaImage& first, LumaImage& second, Shift shift);
