// How often the alignment finds a known shift exactly, beside OpenCV's AlignMTB on the same pairs:
// crops of real pictures at random shifts, the second with noise and less light.
//
// usage: kelvane-alignment-accuracy PICTURE...
#include "kelvane/kelvane.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/photo.hpp>

#include <chrono>
#include <cstdio>
#include <random>
#include <vector>

namespace {

constexpr int largestShift = 60;
constexpr int pairsPerPicture = 10;
constexpr double noiseDeviation = 4.0;

struct Pair {
    cv::Mat reference;
    cv::Mat moving;
    cv::Point shift; // moving(p) shows reference(p + shift)
};

// Random shifts up to `reach`; the moving crop receives `gain` times the light.
Pair makePair(const cv::Mat& picture, int reach, double gain, std::mt19937& random) {
    std::uniform_int_distribution<int> offset(-reach, reach);
    const cv::Point shift(offset(random), offset(random));
    const cv::Rect inner(largestShift, largestShift, (picture.cols - 2 * largestShift) & ~1,
                         (picture.rows - 2 * largestShift) & ~1);
    Pair pair = {picture(inner).clone(), picture(inner + shift).clone(), shift};
    std::normal_distribution<double> noise(0.0, noiseDeviation);
    for (auto& pixel : cv::Mat_<uchar>(pair.moving))
        pixel = cv::saturate_cast<uchar>(gain * pixel + noise(random));
    return pair;
}

__tag_KIRO_OFFSCREEN view(cv::Mat& plane) {
    __tag_KIRO_OFFSCREEN image = {};
    image.format = KELVANE_FORMAT_YUV420;
    image.width = plane.cols;
    image.height = plane.rows;
    image.planes[0] = plane.data;
    image.pitches[0] = static_cast<int32_t>(plane.step);
    return image;
}

cv::Point shiftByKelvane(Pair& pair) {
    __tag_KIRO_OFFSCREEN reference = view(pair.reference);
    __tag_KIRO_OFFSCREEN moving = view(pair.moving);
    _tag_ZEP_NS_INPUTINFO input = {2, {&reference, &moving}};
    long zero[2] = {};
    long found[2] = {};
    long* results[2] = {zero, found};
    void* context = nullptr;
    if (Alignment_Init(nullptr, &context) != ERR_NONE ||
        Image_Alignment_Video(context, &input, 0, results, 1) != ERR_NONE)
        found[0] = found[1] = 1 << 20;
    Alignment_Uninit(&context);
    return {static_cast<int>(found[0]), static_cast<int>(found[1])};
}

struct Tally {
    int exact = 0;
    double milliseconds = 0;

    template <typename Find>
    void count(const cv::Point& truth, Find find) {
        const auto start = std::chrono::steady_clock::now();
        exact += find() == truth;
        const auto time = std::chrono::steady_clock::now() - start;
        milliseconds += std::chrono::duration<double, std::milli>(time).count();
    }
};

void compare(const std::vector<cv::Mat>& pictures, int reach, double gain) {
    std::mt19937 random(20);
    // The peer searches 2^6 - 1 pixels far, as far as the largest shifts go.
    const cv::Ptr<cv::AlignMTB> peer = cv::createAlignMTB(6, 4, false);
    Tally kelvane;
    Tally opencv;
    int pairs = 0;
    for (const cv::Mat& picture : pictures) {
        for (int n = 0; n < pairsPerPicture; ++n, ++pairs) {
            Pair pair = makePair(picture, reach, gain, random);
            kelvane.count(pair.shift, [&] { return shiftByKelvane(pair); });
            opencv.count(pair.shift,
                         [&] { return peer->calculateShift(pair.reference, pair.moving); });
        }
    }
    std::printf("%6d  %4.1f  %5d  %7d  %8d  %10.2f  %11.2f\n", reach, gain, pairs, kelvane.exact,
                opencv.exact, kelvane.milliseconds / pairs, opencv.milliseconds / pairs);
}

} // namespace

int main(int argc, char** argv) {
    cv::setNumThreads(1);
    std::vector<cv::Mat> pictures;
    for (int i = 1; i < argc; ++i) {
        const cv::Mat picture = cv::imread(argv[i], cv::IMREAD_GRAYSCALE);
        if (picture.cols < 4 * largestShift || picture.rows < 4 * largestShift) {
            std::fprintf(stderr, "%s: no picture of a useful size\n", argv[i]);
            return 2;
        }
        pictures.push_back(picture);
    }
    if (pictures.empty()) {
        std::fprintf(stderr, "usage: kelvane-alignment-accuracy PICTURE...\n");
        return 2;
    }
    std::printf("shifts  gain  pairs  Kelvane  AlignMTB  Kelvane ms  AlignMTB ms\n");
    for (const int reach : {15, 30, largestShift}) {
        for (const double gain : {1.0, 0.8, 0.6})
            compare(pictures, reach, gain);
    }
    return 0;
}
