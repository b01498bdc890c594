// What the commands say, for people and for programs.
#pragma once

#include "base/burst.h"
#include "base/changes.h"
#include "base/people.h"

#include <nlohmann/json.hpp>

#include <span>
#include <string>

// What tells a frame from the others of its burst, in one line: "frame 7 at 0.700 s", "b.jpg".
std::string frameName(const Measurement& measured, const MeasuredFrame& frame);

// In a video the frame's number, otherwise its index.
int64_t frameNumber(const Measurement& measured, size_t index);

// "sharpness", as in options and JSON.
const char* measureName(Measure measure);

// "5 % sharper than the median frame".
std::string comparedWithMedian(const Measurement& measured, size_t frame);

// That the detail names another best frame, in one line; nothing when it does not clearly.
std::string detailSentence(const Burst& burst);

// What became of the search for moving objects, in one line; nothing when none was made.
std::string movingSentence(const Burst& burst);

// Where the frames were compared, in one line; nothing when the camera stood still.
std::string commonPartSentence(const Burst& burst);

// "spread", as in options and JSON.
const char* choiceName(Choice choice);

// That fewer frames are kept than were asked for, in one line; nothing when that is not so.
std::string choiceSentence(const Burst& burst);

// "burst id", for example.
const char* reasonText(GroupReason reason);

// The time in a video, the file among pictures.
std::string placeText(const Measurement& measured, const MeasuredFrame& frame);

// Whose eyes are closed where, in one line; nothing when no faces were to be found.
std::string peopleSentence(const Burst& burst);

// "eyes closed", and "smile" or nothing.
std::string eyesText(const PersonFace& face);
std::string smileText(const PersonFace& face);

// Why each frame stands where it does: a table of all terms of its total.
std::string explainTable(const Burst& burst);

// What is to be known about a whole run, a sentence each.
using Notes = std::vector<std::string>;

// The table of one burst, and of several.
std::string pickTable(const Burst& burst, const Notes& notes);
std::string groupTable(std::span<const Burst> bursts);

// The sharpest frame of each size first.
std::string blurTable(const Measurement& measured);
Notes blurNotes(const Measurement& measured);

// A row for each face.
std::string facesTable(const Measurement& measured, const People& people);
Notes peopleNotes(const People& people);

// A faces file (docs/faces.md).
std::string facesFileText(const FacesOfFrames& frames);

// The shift of the second picture against the first.
std::string alignmentText(const Alignment& alignment);

// Where the second picture differs, and the shift.
std::string changesText(const Changes& changes);

// JSON (docs/json.md).
using OrderedJson = nlohmann::ordered_json;

// What every output starts with.
OrderedJson jsonHead(const char* command);

OrderedJson toJson(const __tag_rect& rect);
OrderedJson pickJson(const Burst& burst);
OrderedJson groupJson(double gap, std::span<const Burst> bursts);
OrderedJson blurJson(const Measurement& measured);
// What was found in one frame, and about every person of the burst.
OrderedJson facesOfFrameJson(std::span<const PersonFace> faces);
OrderedJson personsJson(const People& people);
OrderedJson facesJson(const Measurement& measured, const People& people);
OrderedJson skippedJson(std::span<const Skipped> skipped);
OrderedJson changesJson(const Changes& changes); // without the shift
OrderedJson alignmentJson(const Alignment& alignment, const BitAgreement& bits);

// Indented, or in one line with an indent of -1; a line feed ends it.
std::string printJson(const OrderedJson& json, int indent = 2);

// Comma-separated values with a header line (docs/tool.md): a line for each frame, in the order of
// the burst. `numbered` adds the number of the burst, from 1.
std::string pickCsv(std::span<const Burst> bursts, bool numbered);

// The sharpest frame of each size first.
std::string blurCsv(const Measurement& measured);
