#pragma once

#include "analysis/changed_mask.h"

#include <vector>

// The 8-connected parts of the mask (Rosenfeld and Pfaltz 1966), joined as long as the gap between
// two is at most three quarters of the larger one's length: of something that moves by less than
// its size only the edges change. What has less than 0.2 % of the picture's pixels is left out. The
// largest comes first.
std::vector<ChangedRegion> findRegions(const ChangedMask& mask);

// All of them, at least one, as one.
ChangedRegion joined(const std::vector<ChangedRegion>& regions);

// Whether the whole scene changed: in most cells of a grid over the picture, or by a turn or a
// change of size that moves the corners by more than a fiftieth of the shorter side.
bool isWholeScene(const ChangedMask& mask);

// The pixels between two rectangles in the direction in which they are further apart; 0 when they
// touch.
int32_t gapBetween(const __tag_rect& a, const __tag_rect& b);

// Of width and height the larger.
int32_t lengthOf(const __tag_rect& rect);
