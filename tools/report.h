#pragma once

#include "measured_frames.h"
#include "moving_objects.h"

#include <string>

// The report of `kelvane pick`, as text for people or as JSON (docs/json.md). `moving` is null when
// moving objects were not asked for.
std::string pickTable(const Measurement& measured, const Ranking& ranking,
                      const MovingObjects* moving);
std::string pickJson(const Measurement& measured, const Ranking& ranking,
                     const MovingObjects* moving);

// The report of `kelvane blur`; the table lists the sharpest first.
std::string blurTable(const Measurement& measured);
std::string blurJson(const Measurement& measured);
