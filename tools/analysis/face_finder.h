#pragma once

#include "base/people.h"

#include <memory>
#include <string>

struct FaceRules {
    double smallestFace = 0.025; // width, as a share of the longer side of the frame
    std::string landmarksFile;   // empty for that of the package
};

// Finds the faces of single frames by the component that was installed for it. Threads may share
// one: it holds 100 MB.
class FaceFinder {
public:
    // Throws InputError when the component or the file of landmarks is missing or bad.
    explicit FaceFinder(const FaceRules& rules);

    // In luma of 8 bits; the largest face first. Persons are not told apart yet.
    std::vector<PersonFace> find(const __tag_KIRO_OFFSCREEN& image) const;

private:
    double smallestFace_;
    std::unique_ptr<FaceDetector> detector_;
};

// One for the whole run, made when it is first asked for; its rules are those of that first time.
const FaceFinder& sharedFaceFinder(const FaceRules& rules);

// Whether the component is there.
bool canFindFaces();
