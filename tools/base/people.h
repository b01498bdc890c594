// What is found out about the people of a burst, and the outputs show.
#pragma once

#include "kelvane/kelvane.h"
#include "people/face_detector.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// As many as a record of a frame holds.
constexpr size_t mostRankedFaces = 10;

// What the landmarks of one face say by themselves. Left and right are the person's own.
struct FaceMeasures {
    double leftEye; // how far the lids are apart, as a share of the eye's width
    double rightEye;
    double eyeWidth;   // of the narrower eye, in pixels
    double mouthWidth; // as a share of the distance of the eyes
    double cornerLift; // of the mouth's corners above its middle, as a share of its width
    double yaw;        // in degrees, to the person's left
    double roll;       // in degrees, clockwise as one sees it
};

// A face in one frame. What is not known of it has no value.
struct PersonFace {
    __tag_rect rect; // inside the frame
    double confidence;
    Landmarks landmarks;
    FaceMeasures measures;
    size_t person = 0;
    bool isRanked = true;            // among the ten that a record holds
    std::optional<int> leftEye = {}; // 0 closed to 100 open
    std::optional<int> rightEye = {};
    std::optional<int> smile = {}; // 0 none to 100 broad
    std::optional<bool> eyesOpen = {};
    std::optional<uint32_t> smileDegree = {}; // 0, 30 or 80, as a record has it
    std::string cutout = {};                  // a small JPEG of it, for a page
};

struct Person {
    size_t frames = 0;               // that show this person
    std::optional<size_t> bestFrame; // with the eyes open, and of these with the broadest smile
};

// The faces of every frame, the largest first, and whose they are.
struct People {
    std::vector<std::vector<PersonFace>> ofFrames;
    std::vector<Person> persons;

    // How many faces of a frame have their eyes open, or closed.
    size_t withEyes(size_t frame, bool open) const {
        return static_cast<size_t>(
            std::ranges::count(ofFrames[frame], std::optional(open), &PersonFace::eyesOpen));
    }
};
