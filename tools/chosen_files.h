#pragma once

#include "burst.h"

#include <span>

// Puts the kept frames into the folder of `--copy-to` or `--link-to`, which is made when it is
// missing: copies, PNG files of video frames, or symbolic links. Throws InputError before anything
// is written when two of them share a name or a file is not to be replaced.
void exportChosen(const Options& options, std::span<const Burst> bursts, PhaseTimes& times);

// Throws InputError when the folder cannot be used, which spares a run: it is no folder, or the
// frames of a video are to be linked.
void checkExport(const Options& options);
