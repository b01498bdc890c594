#include "analysis/face_measures.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

// Where the parts of a face begin among its landmarks.
constexpr size_t noseTip = 30, rightEye = 36, leftEye = 42, mouth = 48;

double distance(const LandmarkPoint& a, const LandmarkPoint& b) {
    return std::hypot(a.x - b.x, a.y - b.y);
}

LandmarkPoint middle(const LandmarkPoint& a, const LandmarkPoint& b) {
    return {(a.x + b.x) / 2, (a.y + b.y) / 2};
}

// Soukupova and Cech 2016, "Real-Time Eye Blink Detection using Facial Landmarks".
double aspectRatio(const LandmarkPoint* eye) {
    return (distance(eye[1], eye[5]) + distance(eye[2], eye[4])) /
           std::max(1e-9, 2 * distance(eye[0], eye[3]));
}

} // namespace

FaceMeasures measureFace(const Landmarks& points) {
    const LandmarkPoint* const right = &points[rightEye];
    const LandmarkPoint* const left = &points[leftEye];
    const LandmarkPoint* const lips = &points[mouth];
    const LandmarkPoint rightCentre = middle(right[0], right[3]);
    const LandmarkPoint leftCentre = middle(left[0], left[3]);
    const LandmarkPoint between = middle(rightCentre, leftCentre);
    const double eyes = std::max(1e-9, distance(rightCentre, leftCentre));
    // Along the eyes, and down the face.
    const double alongX = (leftCentre.x - rightCentre.x) / eyes,
                 alongY = (leftCentre.y - rightCentre.y) / eyes;
    const auto across = [&](const LandmarkPoint& p) {
        return (p.x - between.x) * alongX + (p.y - between.y) * alongY;
    };
    const auto down = [&](const LandmarkPoint& p) {
        return (p.y - between.y) * alongX - (p.x - between.x) * alongY;
    };
    // The tip of the nose stands out by about half the distance of the eyes, and so leaves their
    // middle when the head turns.
    constexpr double noseLength = 0.5;
    constexpr double degrees = 180 / std::numbers::pi;
    const double mouthWidth = distance(lips[0], lips[6]);
    const double corners = (down(lips[0]) + down(lips[6])) / 2;
    const double centre = (down(lips[3]) + down(lips[9])) / 2;
    return {.leftEye = aspectRatio(left),
            .rightEye = aspectRatio(right),
            .eyeWidth = std::min(distance(left[0], left[3]), distance(right[0], right[3])),
            .mouthWidth = mouthWidth / eyes,
            .cornerLift = (centre - corners) / std::max(1e-9, mouthWidth),
            .yaw = std::atan(across(points[noseTip]) / eyes / noseLength) * degrees,
            .roll = std::atan2(alongY, alongX) * degrees};
}
