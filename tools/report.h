#pragma once

#include "measured_frames.h"

#include <string>

// The report of `kelvane pick`, as text for people or as JSON (docs/json.md).
std::string pickTable(const Measurement& measured, const Ranking& ranking);
std::string pickJson(const Measurement& measured, const Ranking& ranking);

// The report of `kelvane blur`; the table lists the sharpest first.
std::string blurTable(const Measurement& measured);
std::string blurJson(const Measurement& measured);
