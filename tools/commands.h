#pragma once

#include "inputs.h"
#include "options.h"
#include "output_file.h"
#include "phase_times.h"

#include <optional>
#include <string>
#include <vector>

// What a command has to say, composed in full before any of it is written.
struct Output {
    std::string text;
    std::vector<Skipped> skipped = {};
    std::optional<OutputFile> file = {};
    int status = 0; // of the process
};

// Exit statuses.
constexpr int failure = 1;
constexpr int badInput = 2;

Output runPick(const Options& options, PhaseTimes& times);
Output runBlur(const Options& options, PhaseTimes& times);
Output runResize(const Options& options, PhaseTimes& times);
Output runSmooth(const Options& options, PhaseTimes& times);
Output runMorph(const Options& options, PhaseTimes& times);
Output runAlign(const Options& options, PhaseTimes& times);
Output runChanges(const Options& options, PhaseTimes& times);
Output runVersion();
