// What the analysis finds out about a burst, and the outputs show.
#pragma once

#include "base/people.h"
#include "base/shift.h"
#include "kelvane/kelvane.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

// Something that was left out, and why.
struct Skipped {
    std::string name;
    std::string reason;
};

// Another file of the same photograph: the raw data beside a developed picture.
struct Companion {
    std::string path;
    std::string name;
};

// What is kept of a frame once its pixels are released.
struct MeasuredFrame {
    std::string path;
    std::string name;
    int64_t number; // in its video
    std::optional<double> seconds;
    int32_t width; // upright; the blur record holds the measured size
    int32_t height;
    int orientation; // as stored, 1 to 8; everything else is about the upright frame
    std::string pixelFormat;
    std::string rendering; // how raw data became a picture; empty for all others
    bool converted;
    bool cropped;
    std::vector<Companion> companions;
    _tag_DRAV_BLURRESULT blur; // in the common part where one is used
    int32_t wholeScore = 0;    // of the whole frame in any case
    double detail;             // per cent, of the whole frame (analysis/detail.h)
};

// What frames are compared by.
enum class Measure { sharpness, detail };

struct Measurement {
    bool isVideo = false;
    Measure measure = Measure::sharpness;
    std::vector<MeasuredFrame> frames;
    // By the measure, from the best to the worst, ties in frame order; one size after the other, in
    // the order in which they first appear.
    std::vector<size_t> order;
    size_t sizes = 0;       // how many different ones
    double medianValue = 0; // of the measure

    double value(size_t frame) const {
        const MeasuredFrame& measured = frames[frame];
        return measure == Measure::detail ? measured.detail : measured.blur.score;
    }
};

// One face as a pre-processing record holds it.
struct Face {
    __tag_rect rect;
    uint32_t code;
    uint32_t smileDegree;
    uint32_t eyesOpen;
};

// A smile or eyes of which nothing is known.
constexpr uint32_t unknownOfFace = UINT32_MAX;

using FacesOfFrames = std::vector<std::vector<Face>>;

// What moves in one frame, in that frame's pixels.
struct MovingObject {
    bool found = false;
    __tag_rect rect = {};
    int64_t area = 0; // pixels of the mask
    std::vector<unsigned char> mask;
    int64_t score = 0; // blur score of the rectangle
};

struct MovingObjects {
    std::vector<MovingObject> ofFrames;
    int64_t found = 0;
    int64_t compared = 0; // frames with a neighbour that shows the same scene
    bool used = false;    // found in more than half of the frames: only then they are ranked by
};

// The part of the scene that all frames of a burst show. Frames are compared there.
struct CommonPart {
    std::string obstacle;        // why there is none; whole frames are compared then
    __tag_rect rect = {};        // of the first frame, in whole samples of 4 pixels
    std::vector<Shift> shifts;   // of every frame against the first, to a sample
    std::vector<int64_t> scores; // there; when nothing moves, those of whole frames hold

    bool isUsed() const { return obstacle.empty(); }
    bool moves() const {
        return std::ranges::any_of(shifts, [](const Shift& s) { return s.dx != 0 || s.dy != 0; });
    }
};

// How the frames to keep are chosen: the best of equal stretches of the burst, those with the
// highest totals, or what the library says.
enum class Choice : uint8_t { spread, sharpest, library };

struct ChoiceRules {
    int64_t keep = 1;
    Choice choice = Choice::spread;
    double minShare = 0; // of the best frame's score, per cent; what has less is not kept
};

struct Ranking {
    std::vector<int64_t> chosen; // ascending
    int64_t best;
};

// What a frame's total is made of (docs/scoring.md).
struct Terms {
    int64_t score;       // of the frame, as it was given to the ranking
    int64_t objectScore; // of its moving object; that of the frame where there is none
    int64_t share;       // of the largest of the burst: 0 to 9999
    int64_t objectShare;
    // In points:
    int64_t sharpness;
    int64_t objectSharpness;
    int64_t faces;
    int64_t eyes;
    int64_t smiles;
    int64_t codes;
    int64_t area;
    float border;
    int64_t total; // the sum with the constant, truncated
};

constexpr int64_t constantTerm = 10000; // points that every frame has

// A small picture of a frame.
struct Thumbnail {
    int32_t width;
    int32_t height;
    std::string jpeg;
    std::string cover; // smaller, for lists of bursts
};

// The small pictures of a burst: of a long one every `step`th frame, and those that matter.
struct ContactSheet {
    size_t capacity = 0; // of every `step`th frame; 0 for no sheet at all
    size_t step = 1;
    std::map<size_t, Thumbnail> thumbnails; // by the index of the frame
    std::set<size_t> shown;                 // also frames that have no thumbnail
};

// The best frame of a burst beside another, cut out in their full size.
struct Comparison {
    enum class Role : uint8_t { secondBest, leastSharp, sharpest };
    struct Side {
        size_t frame;
        __tag_rect rect; // in this frame's pixels
        int64_t score;   // blur score of the rectangle
        std::string jpeg;
    };
    Role role;     // of the other frame
    bool ofObject; // what moves, otherwise the place where the sharpness differs most
    Side best;
    Side other;
};

// Why grouped pictures are one burst; a later one counts more.
enum class GroupReason : uint8_t { captureTimes, sequenceNumber, fileNames, burstId };

// What is known of a burst once it is ranked and its pixels are released.
struct Burst {
    Measurement measured;
    FacesOfFrames faces;                  // empty when none were given
    std::optional<People> people;         // when their faces were to be found
    std::optional<MovingObjects> moving;  // without masks; when they were asked for
    std::optional<CommonPart> commonPart; // of several frames, unless whole ones are asked for
    Ranking ranking = {};
    ChoiceRules choice;
    std::vector<Terms> terms; // of each frame
    // The frame that the detail would name best, when it clearly has more than the best one.
    std::optional<size_t> bestByDetail;
    GroupReason reason = GroupReason::captureTimes;
    std::string start;     // when the first of grouped frames was taken: "2026-05-01T10:20:30.250"
    std::string startZone; // "+02:00"; empty when it is not known
    size_t fileTimes = 0;  // grouped frames whose time is that of their file
    ContactSheet sheet;    // for a page
    std::vector<Comparison> comparisons;

    bool isChosen(size_t frame) const {
        return std::binary_search(ranking.chosen.begin(), ranking.chosen.end(),
                                  static_cast<int64_t>(frame));
    }
    bool isBest(size_t frame) const { return static_cast<int64_t>(frame) == ranking.best; }
};
