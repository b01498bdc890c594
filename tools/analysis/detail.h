#pragma once

#include "kelvane/kelvane.h"

// How much of a picture's structure is fine: the share of the energy of its gradient that another
// blur takes away, in per cent from 0 (flat, or blurred beyond recognition) to 100. Higher is
// sharper. A blurred picture hardly changes when it is blurred again (Crete, Dolmiere, Ladret and
// Nicolas, "The blur effect", 2007). Brightness and contrast cancel out. Noise takes no part as far
// as it is independent from row to row and from column to column, so that no level has to be
// estimated (as Immerkaer's of 1996, which takes texture for noise).
//
// The picture is measured as a whole, reduced to a longer side of at most 512 pixels: what is finer
// than that is left to the blur score. Only `planes[0]` is read.
double measureDetail(const __tag_KIRO_OFFSCREEN& image);

// In per cent, what tells the detail of two frames of a burst apart for certain (docs/scoring.md).
constexpr double clearMargin = 3;
