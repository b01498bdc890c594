// What is measured: every operation with its parameters, sizes and the bytes that it must touch.
#pragma once

#include "frame.h"

#include <functional>
#include <string>
#include <vector>

enum class Kind {
    sharpness,
    boxBlur,
    gaussianBlur,
    erosion,
    dilation,
    opening,
    resize,
    resizeToBgr24,
    bitmaps,
    displacement,
    nineDisplacements,
    patches,
    alignment,
    changedRegion,
    bestShot
};

std::string dimensions(Size size);

struct Workload {
    Kind kind;
    std::string name; // function and parameters
    Size size;        // of the source
    double goal = 0;  // how many times the best peer's speed; 0 for none
    uint32_t format = KELVANE_FORMAT_YUV420;
    int parameter = 0; // radius, kernel size, number of frames, `pickingPixels`
    Size target = {0, 0};
    int padding = 0;

    std::string sizeText() const;
};

std::vector<Workload> workloads();

// Rows of memory, `step` bytes apart.
struct RowSpan {
    const unsigned char* first;
    int64_t rowBytes;
    int64_t step;
    int64_t rows;
};

// A workload with its frames, ready to run any number of times.
struct Operation {
    explicit Operation(const Workload& what);

    Workload workload;
    Frame source;
    Frame second;             // the other frame of a pair
    std::vector<Frame> burst; // of the best shot, which reads no other frame
    Frame output;             // what in-place operations begin with is a copy of the source
    std::vector<long> answer; // of operations that write no image
    float sharpness = 0;
    std::vector<RowSpan> touched; // empty where the bytes depend on the content
    std::function<long()> run;
};

// The parameter of a resize by 2:1, where the interpolation leaves no weight for any neighbour:
// what remains of the work can be compared with a peer that does not interpolate.
constexpr int pickingPixels = 1;

constexpr Size alignedShift = {13, -7};
constexpr int bitmapThreshold = 128; // of the bitmaps that are compared
constexpr long sharpestFrame = 7;
