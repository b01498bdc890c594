#pragma once

#include "analysis/pyramid.h"
#include "base/shift.h"

// Finds the shift between two pictures of one size: of the candidates - none, `expected` ones, and
// the highest peaks of the correlation of all shifts of up to half the picture - that under which
// the edges correlate best, refined to the pixel. How it was judged is told in docs/alignment.md.
Alignment align(const Pyramid& first, const Pyramid& second, const std::vector<Shift>& expected);

// The same for frames of a burst, which mostly lie where they are expected: then the other shifts
// are not tried.
Alignment alignExpected(const Pyramid& first, const Pyramid& second, Shift expected);

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
