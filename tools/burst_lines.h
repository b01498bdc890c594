#pragma once

#include "options.h"
#include "phase_times.h"

// `kelvane pick --jsonl`: ranks the burst that each line of stdin describes, and prints one line of
// JSON for each as soon as it is known (docs/scaling.md). `options` hold for what a line does not
// set. Returns how many lines had an error.
size_t pickLines(const Options& options, PhaseTimes& times);
