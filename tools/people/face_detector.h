// What the component that finds faces, a shared object of its own, and the tool say to each other.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

// Rows of 8-bit luma in the memory of others.
struct GreyView {
    const unsigned char* data;
    int32_t width;
    int32_t height;
    int64_t pitch;
};

struct LandmarkPoint {
    double x;
    double y;
};

constexpr size_t landmarkCount = 68;

// The points of the iBUG 300-W annotation: the chin line, the brows, the nose, the eyes, the mouth
// (Sagonas et al. 2013, "300 Faces in-the-Wild Challenge").
using Landmarks = std::array<LandmarkPoint, landmarkCount>;

// A face in the pixels of the full picture. The box may reach beyond it.
struct DetectedFace {
    double left, top, right, bottom;
    double confidence; // distance from the detector's decision boundary
    Landmarks landmarks;
};

// Several threads may call it at the same time.
class FaceDetector {
public:
    virtual ~FaceDetector() = default;

    // Looks for faces in `working`, a reduced copy of `full`, resized to `width` pixels first: a
    // face is found when it is 80 pixels wide there. Landmarks are placed on the full picture.
    virtual std::vector<DetectedFace> detect(const GreyView& working, int32_t width,
                                             const GreyView& full) const = 0;
};

// The function that the component exports. It fails with a null pointer and a reason for people.
// The number in its name is that of this interface.
constexpr const char* openFaceDetectorName = "kelvaneOpenFaceDetector1";
using OpenFaceDetector = FaceDetector*(const char* landmarksFile, std::string* reason);
