// The component that finds faces by dlib. It is linked by nothing and loaded when it is needed.
#include "people/face_detector.h"
#include "people/predictor_file.h"

#include <dlib/image_processing/frontal_face_detector.h>
#include <dlib/image_transforms.h>

#include <cmath>
#include <future>
#include <memory>

namespace {

using Grey = dlib::array2d<unsigned char>;

// Below it, what is found in textures and drawings outnumbers faces (docs/faces.md).
constexpr double leastConfidence = 0.2;

constexpr long landmarkFaceWidth = 240; // of the face that landmarks are placed on, in pixels

// A part of a picture, in which it lies, with its sides scaled.
Grey resized(const GreyView& view, const dlib::rectangle& part, double scale) {
    Grey picture(static_cast<long>(part.height()), static_cast<long>(part.width()));
    for (long y = 0; y < picture.nr(); ++y)
        std::copy_n(view.data + (part.top() + y) * view.pitch + part.left(), part.width(),
                    &picture[y][0]);
    const auto scaled = [&](long side) {
        return std::max(1L, std::lround(static_cast<double>(side) * scale));
    };
    Grey result(scaled(picture.nr()), scaled(picture.nc()));
    dlib::resize_image(picture, result, dlib::interpolate_bilinear());
    return result;
}

dlib::rectangle wholeOf(const GreyView& view) { return {0, 0, view.width - 1, view.height - 1}; }

// The detector is that of King 2015, "Max-Margin Object Detection", on histograms of oriented
// gradients; the landmarks are placed by the regression trees of Kazemi and Sullivan 2014, "One
// Millisecond Face Alignment with an Ensemble of Regression Trees".
class DlibDetector : public FaceDetector {
public:
    explicit DlibDetector(const char* landmarksFile) {
        // Both take half a second.
        auto faces = std::async(std::launch::async, dlib::get_frontal_face_detector);
        predictor_ = readPredictor(landmarksFile);
        detector_ = faces.get();
    }

    std::vector<DetectedFace> detect(const GreyView& working, int32_t width,
                                     const GreyView& full) const override {
        const Grey enlarged =
            resized(working, wholeOf(working), static_cast<double>(width) / working.width);
        dlib::frontal_face_detector detector = detector_; // it keeps notes about a picture
        std::vector<dlib::rect_detection> found;
        detector(enlarged, found, leastConfidence);
        std::vector<DetectedFace> faces;
        const double scale = static_cast<double>(full.width) / static_cast<double>(enlarged.nc());
        for (const dlib::rect_detection& one : found) {
            const dlib::rectangle& box = one.rect;
            DetectedFace face = {.left = static_cast<double>(box.left()) * scale,
                                 .top = static_cast<double>(box.top()) * scale,
                                 .right = static_cast<double>(box.right() + 1) * scale,
                                 .bottom = static_cast<double>(box.bottom() + 1) * scale,
                                 .confidence = one.detection_confidence,
                                 .landmarks = {}};
            if (place(face, full))
                faces.push_back(face);
        }
        return faces;
    }

private:
    // Places the landmarks on a copy of the face in one size, where whole pixels are fine enough:
    // as the mean of five boxes, since each alone jumps by a pixel or two.
    bool place(DetectedFace& face, const GreyView& full) const {
        const double side = face.right - face.left, margin = side / 2;
        const dlib::rectangle around =
            dlib::rectangle(std::lround(face.left - margin), std::lround(face.top - margin),
                            std::lround(face.right + margin), std::lround(face.bottom + margin))
                .intersect(wholeOf(full));
        if (around.is_empty())
            return false;
        const double scale = landmarkFaceWidth / side;
        const Grey copy = resized(full, around, scale);
        const auto left = static_cast<double>(around.left()),
                   top = static_cast<double>(around.top());
        constexpr long step = landmarkFaceWidth / 24;
        constexpr std::array<std::array<long, 2>, 5> offsets = {
            {{0, 0}, {step, 0}, {-step, 0}, {0, step}, {0, -step}}};
        for (const auto& [x, y] : offsets) {
            const long boxLeft = std::lround((face.left - left) * scale) + x;
            const long boxTop = std::lround((face.top - top) * scale) + y;
            const auto shape = predictor_(copy, {boxLeft, boxTop, boxLeft + landmarkFaceWidth - 1,
                                                 boxTop + landmarkFaceWidth - 1});
            for (size_t i = 0; i < landmarkCount; ++i) {
                const dlib::point& part = shape.part(i);
                face.landmarks[i].x += (static_cast<double>(part.x()) / scale + left) / 5;
                face.landmarks[i].y += (static_cast<double>(part.y()) / scale + top) / 5;
            }
        }
        return true;
    }

    dlib::frontal_face_detector detector_;
    dlib::shape_predictor predictor_;
};

} // namespace

extern "C" FaceDetector* kelvaneOpenFaceDetector1(const char* landmarksFile, std::string* reason) {
    try {
        return std::make_unique<DlibDetector>(landmarksFile).release();
    } catch (const dlib::serialization_error& error) {
        *reason = error.what();
    } catch (const std::bad_alloc&) {
        *reason = "its sizes need more memory than there is";
    }
    return nullptr;
}
