#pragma once

#include "contact_sheet.h"
#include "faces.h"
#include "measured_frames.h"
#include "moving_objects.h"
#include "options.h"

#include <optional>
#include <string>
#include <vector>

// What is known of a burst once it is ranked and its pixels are released.
struct Burst {
    Measurement measured;
    FacesOfFrames faces;                 // empty when none were given
    std::optional<MovingObjects> moving; // without masks; when they were asked for
    Ranking ranking = {};
    ContactSheet sheet{0};
    std::string start;    // when the first of grouped frames was taken: "2026-05-01T10:20:30.250"
    size_t fileTimes = 0; // grouped frames whose time is that of their file

    bool isChosen(size_t frame) const;
    bool isBest(size_t frame) const { return static_cast<int64_t>(frame) == ranking.best; }
};

enum class Sizes { equal, apart };

// Reads and ranks the inputs: as one burst of equal frames, or with `Sizes::apart` as one burst for
// each size, in the order in which the sizes first appear; none when no frame could be read. What
// was left out is appended to `skipped`. Of each burst about `sheetCapacity` frames are pictured.
std::vector<Burst> pickBursts(const InputList& inputs, const Options& options, Sizes sizes,
                              size_t sheetCapacity, Progress& progress, PhaseTimes& times,
                              std::vector<Skipped>& skipped);
