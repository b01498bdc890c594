#pragma once

#include <string_view>

// Whether a name comes before another in the order that people expect, "img2" before "img10":
// numbers by value, letters without case; names that differ in neither fall back to their bytes.
bool naturalLess(std::string_view a, std::string_view b);
