// How often the alignment of the library, and that of the tool around it, find a known shift
// exactly, beside OpenCV's AlignMTB and phaseCorrelate on the same pairs: crops of real pictures at
// random shifts, the second with noise and in another light, out of focus or moved during the
// exposure.
//
// usage: kelvane-alignment-accuracy PICTURE...
#include "analysis/alignment.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/photo.hpp>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
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

// What is done to the second picture of a pair, besides the noise.
struct Trial {
    const char* name;
    int reach; // shifts are random up to this, in both directions
    double gain = 1.0;
    int defocus = 0; // diameter of a disc, in pixels
    int motion = 0;  // length of a line, 30 degrees from the horizontal, in pixels
};

cv::Mat blurred(const cv::Mat& picture, const Trial& trial) {
    const int side = std::max({trial.defocus, trial.motion, 1});
    cv::Mat kernel = cv::Mat::zeros(side, side, CV_32F);
    const cv::Point centre(side / 2, side / 2);
    if (trial.defocus > 0)
        cv::circle(kernel, centre, side / 2, 1.0, cv::FILLED);
    const cv::Point end(cvRound(0.866 * side / 2), cvRound(0.5 * side / 2));
    if (trial.defocus == 0)
        cv::line(kernel, centre - end, centre + end, 1.0);
    cv::Mat result;
    cv::filter2D(picture, result, -1, kernel / cv::sum(kernel)[0]);
    return result;
}

Pair makePair(const cv::Mat& picture, const Trial& trial, std::mt19937& random) {
    const int reach = trial.reach;
    std::uniform_int_distribution<int> offset(-reach, reach);
    const cv::Point shift(offset(random), offset(random));
    const cv::Rect inner(largestShift, largestShift, (picture.cols - 2 * largestShift) & ~1,
                         (picture.rows - 2 * largestShift) & ~1);
    const cv::Mat second = blurred(picture, trial);
    Pair pair = {picture(inner).clone(), second(inner + shift).clone(), shift};
    std::normal_distribution<double> noise(0.0, noiseDeviation);
    for (auto& pixel : cv::Mat_<uchar>(pair.moving))
        pixel = cv::saturate_cast<uchar>(trial.gain * pixel + noise(random));
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

cv::Point shiftByLibrary(Pair& pair) {
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

LumaImage lumaOf(const cv::Mat& plane) {
    return {plane.cols, plane.rows, {plane.begin<uchar>(), plane.end<uchar>()}};
}

cv::Point shiftByTool(const Pair& pair) {
    LumaImage reference = lumaOf(pair.reference), moving = lumaOf(pair.moving);
    const Shift shift = Aligner().find(reference, moving).shift;
    return {static_cast<int>(shift.dx), static_cast<int>(shift.dy)};
}

cv::Point shiftByPhases(const Pair& pair) {
    cv::Mat reference, moving, window;
    pair.reference.convertTo(reference, CV_32F);
    pair.moving.convertTo(moving, CV_32F);
    cv::createHanningWindow(window, reference.size(), CV_32F);
    const cv::Point2d shift = cv::phaseCorrelate(reference, moving, window);
    return {cvRound(-shift.x), cvRound(-shift.y)};
}

void compare(const std::vector<cv::Mat>& pictures, const Trial& trial) {
    std::mt19937 random(20);
    // The peer searches 2^6 - 1 pixels far, as far as the largest shifts go.
    const cv::Ptr<cv::AlignMTB> peer = cv::createAlignMTB(6, 4, false);
    int pairs = 0, library = 0, tool = 0, toolNearly = 0, bitmaps = 0, phases = 0;
    for (const cv::Mat& picture : pictures) {
        for (int n = 0; n < pairsPerPicture; ++n, ++pairs) {
            Pair pair = makePair(picture, trial, random);
            library += shiftByLibrary(pair) == pair.shift;
            const cv::Point off = shiftByTool(pair) - pair.shift;
            tool += off == cv::Point();
            toolNearly += std::max(std::abs(off.x), std::abs(off.y)) <= 1;
            bitmaps += peer->calculateShift(pair.reference, pair.moving) == pair.shift;
            phases += shiftByPhases(pair) == pair.shift;
        }
    }
    std::printf("| %d | %s | %d | %d | %d (%d) | %d | %d |\n", trial.reach, trial.name, pairs,
                library, tool, toolNearly, bitmaps, phases);
    std::fflush(stdout);
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
    std::printf(
        "| largest shift | second picture | pairs | library | tool (within a pixel) | `AlignMTB` | "
        "`phaseCorrelate` |\n|---|---|---|---|---|---|---|\n");
    for (const int reach : {15, 30, largestShift})
        for (const Trial& trial :
             {Trial{"gain 1.5", reach, 1.5}, Trial{"gain 1.0", reach},
              Trial{"gain 0.8", reach, 0.8}, Trial{"gain 0.6", reach, 0.6},
              Trial{"gain 0.4", reach, 0.4}, Trial{"out of focus, 7 pixels", reach, 1.0, 7},
              Trial{"moved, 13 pixels", reach, 1.0, 0, 13}})
            compare(pictures, trial);
    return 0;
}
