#include "analysis/people.h"

#include <algorithm>
#include <cmath>

namespace {

// Where the thresholds come from is in docs/faces.md.
constexpr double narrowestEye = 6; // pixels
constexpr double farthestTurn = 35;
constexpr double leastConfidence = 0.3;
constexpr double usualOpening = 0.27;   // of lids, where a person has one frame only
constexpr double leastOpening = 0.18;   // of the most open frame of a person
constexpr double largestOpening = 0.36; // surprised eyes must not make usual ones sleepy
constexpr double closedShare = 0.45;    // of the opening that still means closed
constexpr double usualMouth = 0.80;     // without a smile
constexpr double broadMouth = 0.26;     // wider than without
constexpr int openFrom = 50, smileFrom = 50, broadFrom = 75;

bool isReliable(const PersonFace& face) {
    return face.measures.eyeWidth >= narrowestEye && std::abs(face.measures.yaw) <= farthestTurn &&
           face.confidence >= leastConfidence;
}

double overlap(const __tag_rect& a, const __tag_rect& b) {
    const double width = std::min(a.right, b.right) - std::max(a.left, b.left);
    const double height = std::min(a.bottom, b.bottom) - std::max(a.top, b.top);
    if (width <= 0 || height <= 0)
        return 0;
    const auto area = [](const __tag_rect& r) {
        return static_cast<double>(r.right - r.left) * (r.bottom - r.top);
    };
    return width * height / (area(a) + area(b) - width * height);
}

// The boxes of one face in neighbouring frames share a fifth of what they cover together, and
// hardly differ in size.
constexpr double leastOverlap = 0.2;
constexpr double largestGrowth = 1.5;

class Follower {
public:
    // Gives every face of the next frame its person.
    void follow(std::vector<PersonFace>& faces) {
        struct Pair {
            double overlap;
            size_t face, person;
        };
        std::vector<Pair> pairs;
        for (size_t i = 0; i < faces.size(); ++i)
            for (size_t person = 0; person < last_.size(); ++person)
                if (const double shared = match(faces[i].rect, last_[person]); shared > 0)
                    pairs.push_back({shared, i, person});
        std::ranges::stable_sort(pairs, std::greater(), &Pair::overlap);
        std::vector<bool> named(faces.size()), seen(last_.size());
        for (const Pair& pair : pairs)
            if (!named[pair.face] && !seen[pair.person]) {
                named[pair.face] = seen[pair.person] = true;
                faces[pair.face].person = pair.person;
                last_[pair.person] = faces[pair.face].rect;
            }
        for (size_t i = 0; i < faces.size(); ++i)
            if (!named[i]) {
                faces[i].person = last_.size();
                last_.push_back(faces[i].rect);
            }
    }

    size_t persons() const { return last_.size(); }

private:
    static double match(const __tag_rect& a, const __tag_rect& b) {
        const double first = a.right - a.left, second = b.right - b.left;
        const double growth = std::max(first, second) / std::min(first, second);
        const double shared = overlap(a, b);
        return growth <= largestGrowth && shared >= leastOverlap ? shared : 0;
    }

    std::vector<__tag_rect> last_; // where each person was seen last
};

// What one person's most open eyes and calmest mouth are.
struct Habit {
    double openLeft = 0;
    double openRight = 0;
    double calmMouth = usualMouth;
    size_t frames = 0; // that can be relied on

    void take(const FaceMeasures& measures) {
        openLeft = std::max(openLeft, measures.leftEye);
        openRight = std::max(openRight, measures.rightEye);
        calmMouth = std::min(calmMouth, measures.mouthWidth);
        ++frames;
    }
};

int percent(double share) { return static_cast<int>(std::lround(100 * std::clamp(share, 0., 1.))); }

int openness(double opening, double mostOpen, bool hasOthers) {
    const double open =
        hasOthers ? std::clamp(mostOpen, leastOpening, largestOpening) : usualOpening;
    return percent((opening / open - closedShare) / (1 - closedShare));
}

void judge(PersonFace& face, const Habit& habit) {
    if (!isReliable(face))
        return;
    const FaceMeasures& measures = face.measures;
    const bool hasOthers = habit.frames > 1;
    face.leftEye = openness(measures.leftEye, habit.openLeft, hasOthers);
    face.rightEye = openness(measures.rightEye, habit.openRight, hasOthers);
    face.eyesOpen = *face.leftEye + *face.rightEye >= 2 * openFrom;
    const double calm = std::max(habit.calmMouth, 0.9 * usualMouth);
    face.smile = percent((measures.mouthWidth - calm) / broadMouth);
    face.smileDegree = *face.smile >= broadFrom ? 80 : *face.smile >= smileFrom ? 30 : 0;
}

// Of the faces of one person, the eyes count first.
int beauty(const PersonFace& face) {
    if (!face.eyesOpen)
        return -1;
    return (*face.eyesOpen ? 1000 : 0) + 2 * *face.smile + std::min(*face.leftEye, *face.rightEye);
}

std::vector<Person> summarise(const People& people, size_t count) {
    std::vector<Person> persons(count);
    std::vector<int> best(count, -1);
    for (size_t i = 0; i < people.ofFrames.size(); ++i)
        for (const PersonFace& face : people.ofFrames[i]) {
            ++persons[face.person].frames;
            if (beauty(face) > best[face.person]) {
                best[face.person] = beauty(face);
                persons[face.person].bestFrame = i;
            }
        }
    return persons;
}

} // namespace

People findPeople(std::vector<std::vector<PersonFace>> ofFrames) {
    Follower follower;
    for (std::vector<PersonFace>& faces : ofFrames)
        follower.follow(faces);
    std::vector<Habit> habits(follower.persons());
    for (const std::vector<PersonFace>& faces : ofFrames)
        for (const PersonFace& face : faces)
            if (isReliable(face))
                habits[face.person].take(face.measures);
    People people = {std::move(ofFrames), {}};
    for (std::vector<PersonFace>& faces : people.ofFrames)
        for (size_t i = 0; i < faces.size(); ++i) {
            faces[i].isRanked = i < mostRankedFaces;
            judge(faces[i], habits[faces[i].person]);
        }
    people.persons = summarise(people, follower.persons());
    return people;
}

FacesOfFrames facesForRanking(const People& people) {
    FacesOfFrames frames;
    for (const std::vector<PersonFace>& faces : people.ofFrames) {
        frames.emplace_back();
        for (const PersonFace& face : faces)
            if (face.isRanked)
                frames.back().push_back(
                    {.rect = face.rect,
                     .code = 0,
                     .smileDegree = face.smileDegree.value_or(unknownOfFace),
                     .eyesOpen = face.eyesOpen ? (*face.eyesOpen ? 1U : 0U) : unknownOfFace});
    }
    return frames;
}
