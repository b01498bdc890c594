#pragma once

#include "json_output.h"
#include "shift_fit.h"

#include <string>

// What `align` and `changes` say about the shift of the second picture against the first.
std::string shiftText(Shift shift, const ShiftFit& fit);
OrderedJson shiftJson(Shift shift, const ShiftFit& fit);
