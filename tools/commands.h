#pragma once

#include "inputs.h"
#include "options.h"
#include "phase_times.h"

#include <string>
#include <vector>

// What a command has to say, composed in full before any of it is written.
struct Output {
    std::string text;
    std::vector<Skipped> skipped;
};

Output runPick(const Options& options, PhaseTimes& times);
Output runBlur(const Options& options, PhaseTimes& times);
Output runVersion();
