#pragma once

#include "base/burst.h"
#include "base/people.h"

#include <string>

// Follows the faces of a burst from frame to frame, and judges every person's eyes and smile by
// comparison with that person's other frames. `ofFrames` are the faces of every frame, the largest
// first.
People findPeople(std::vector<std::vector<PersonFace>> ofFrames);

// What a ranking takes of them: the ten largest of each frame.
FacesOfFrames facesForRanking(const People& people);
