#pragma once

#include "analysis/face_finder.h"
#include "base/burst.h"
#include "media/frame_source.h"

#include <span>
#include <string>
#include <vector>

// Fills in the order and the median once all frames are measured.
void sortByMeasure(Measurement& measured);

// How a burst is ranked.
struct RankingRules {
    FrameSelection frames;
    ChoiceRules choice;
    Measure measure = Measure::sharpness;
    std::string facesFile;              // empty for none
    const FaceFinder* finder = nullptr; // of the faces, where no file names them
    bool moving = false;
    bool whole = false; // compare whole frames, not only what all of them show
};

enum class Sizes { equal, apart };

// Reads and ranks the inputs: as one burst of equal frames, or with `Sizes::apart` as one burst for
// each size, in the order in which the sizes first appear; none when no frame could be read. What
// was left out is appended to `skipped`. Of each burst about `sheetCapacity` frames are pictured.
std::vector<Burst> pickBursts(const InputList& inputs, const RankingRules& rules, Sizes sizes,
                              size_t sheetCapacity, Progress& progress, PhaseTimes& times,
                              std::vector<Skipped>& skipped);
