#pragma once

#include "burst.h"
#include "json_output.h"

#include <span>
#include <string>

// What `kelvane pick` says of one burst, as text for people or as JSON (docs/json.md).
std::string pickTable(const Burst& burst);
OrderedJson pickJson(const Burst& burst);

// The same of several.
std::string groupTable(std::span<const Burst> bursts);

OrderedJson skippedJson(std::span<const Skipped> skipped);

// The report of `kelvane blur`; the table lists the sharpest first.
std::string blurTable(const Measurement& measured);
std::string blurJson(const Measurement& measured, std::span<const Skipped> skipped);

// What tells a frame from the others of its burst, in one line: "frame 7 at 0.700 s", "b.jpg".
std::string frameName(const Measurement& measured, const MeasuredFrame& frame);

// In a video the frame's number, otherwise its index.
int64_t frameNumber(const Measurement& measured, size_t index);

// "5 % sharper than the median frame".
std::string comparedWithMedian(const Measurement& measured, const MeasuredFrame& frame);

// What became of the search for moving objects, in one line; nothing when none was made.
std::string movingSentence(const Burst& burst);
