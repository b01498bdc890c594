#include "peers.h"

#include <opencv2/imgproc.hpp>
#include <opencv2/photo.hpp>

#include <algorithm>
#include <array>
#include <cmath>

namespace {

// Interpolation that puts pixel centres or first pixels over each other, on a texture of 2 x 2
// blocks: far below the 50 levels between unrelated places.
constexpr double sameContent = 20;

cv::Mat view(const Frame& frame, int plane = 0) {
    const PlaneShape shape = planeShape(frame.image.format, plane, frame.size());
    const int columns = plane == 0 ? frame.image.width : frame.image.width / 2;
    return {shape.rows, columns, CV_8UC(shape.rowBytes / columns), frame.image.planes[plane],
            static_cast<size_t>(frame.image.pitches[plane])};
}

std::function<double()> differenceFrom(const Frame& ours, const cv::Mat& theirs) {
    return [&ours, theirs] {
        return meanDifference(ours, theirs.data, static_cast<int64_t>(theirs.step[0]));
    };
}

cv::Mat greyOf(const Frame& frame) {
    const cv::Mat pixels = view(frame);
    cv::Mat grey;
    switch (frame.image.format) {
    case KELVANE_FORMAT_YUYV: cv::cvtColor(pixels, grey, cv::COLOR_YUV2GRAY_YUYV); break;
    case KELVANE_FORMAT_RGB565: cv::cvtColor(pixels, grey, cv::COLOR_BGR5652GRAY); break;
    case KELVANE_FORMAT_XRGB32: {
        cv::Mat rgb(pixels.size(), CV_8UC3);
        cv::mixChannels({pixels}, std::vector{rgb}, {1, 0, 2, 1, 3, 2});
        cv::cvtColor(rgb, grey, cv::COLOR_RGB2GRAY);
        break;
    }
    default: grey = pixels;
    }
    return grey;
}

// In 64-bit floating point as it is mostly written, or in 16-bit integers, which is faster.
struct Laplacian {
    const char* name;
    int depth;
};
constexpr std::array laplacians = {Laplacian{"cv::Laplacian CV_64F, cv::meanStdDev", CV_64F},
                                   Laplacian{"cv::Laplacian CV_16S, cv::meanStdDev", CV_16S}};

double laplacianVariance(const cv::Mat& grey, cv::Mat& laplacian, int depth) {
    cv::Laplacian(grey, laplacian, depth);
    cv::Scalar mean;
    cv::Scalar deviation;
    cv::meanStdDev(laplacian, mean, deviation);
    return deviation[0] * deviation[0];
}

// The mean gradient of a frame a quarter as large.
double coarseGradient(const cv::Mat& grey) {
    cv::Mat samples;
    cv::resize(grey, samples, {}, 0.25, 0.25, cv::INTER_AREA);
    const cv::Mat inner = samples(cv::Rect(1, 1, samples.cols - 1, samples.rows - 1));
    double sum = 0;
    for (const cv::Point& step : {cv::Point(1, 0), cv::Point(0, 1)}) {
        cv::Mat difference;
        cv::absdiff(inner, samples(cv::Rect(cv::Point(1, 1) - step, inner.size())), difference);
        sum += cv::mean(difference)[0];
    }
    return sum;
}

std::vector<Peer> laplacianPeers(const Operation& operation) {
    const cv::Mat grey = greyOf(operation.source);
    const auto error = [grey, &operation] {
        return std::abs(operation.sharpness / coarseGradient(grey) - 1.0);
    };
    std::vector<Peer> peers;
    for (const Laplacian& laplacian : laplacians)
        peers.push_back({laplacian.name,
                         [grey, depth = laplacian.depth, result = cv::Mat()]() mutable {
                             laplacianVariance(grey, result, depth);
                         },
                         error, 0.5}); // the samples are means of fewer pixels
    return peers;
}

// Covers one row more below than above.
struct Rectangle {
    cv::Point anchor;
    cv::Mat shape;

    explicit Rectangle(int radius)
        : anchor(radius, radius), shape(cv::getStructuringElement(
                                      cv::MORPH_RECT, {2 * radius + 1, 2 * radius + 2}, anchor)) {}
};

Peer filter(const Operation& operation) {
    const cv::Mat from = view(operation.source);
    cv::Mat to = operation.output.image.planes[0] != nullptr ? from.clone() : cv::Mat();
    const int value = operation.workload.parameter;
    const Rectangle rectangle(value);
    const cv::Point anchor = rectangle.anchor;
    const cv::Mat shape = rectangle.shape;
    const auto peer = [&](const char* name, double tolerance, auto run) {
        return Peer{name, run, differenceFrom(operation.output, to), tolerance};
    };
    switch (operation.workload.kind) {
    case Kind::boxBlur:
        return peer("cv::blur", 1.5, [=] { cv::blur(from, to, {2 * value + 1, 2 * value + 1}); });
    case Kind::gaussianBlur: // repeated boxes of this size are wider than the Gaussian
        return peer("cv::GaussianBlur", sameContent, [=] {
            cv::GaussianBlur(from, to, {value, value}, 0);
        });
    case Kind::erosion: return peer("cv::erode", 0, [=] { cv::erode(to, to, shape, anchor); });
    case Kind::dilation: return peer("cv::dilate", 0, [=] { cv::dilate(to, to, shape, anchor); });
    default:
        return peer("cv::morphologyEx", 0,
                    [=] { cv::morphologyEx(from, to, cv::MORPH_OPEN, shape, anchor); });
    }
}

Peer resize(const Operation& operation) {
    const cv::Mat from = view(operation.source);
    const cv::Mat to = view(operation.output).clone();
    return {"cv::resize", [=] { cv::resize(from, to, to.size(), 0, 0, cv::INTER_LINEAR); },
            differenceFrom(operation.output, to), sameContent};
}

// Resizing the planes first is far less work than converting the larger image.
Peer resizeToBgr24(const Operation& operation) {
    const cv::Size size(operation.workload.target.width, operation.workload.target.height);
    const cv::Size chroma = size / 2;
    const cv::Mat bgr(size, CV_8UC3);
    const cv::Mat planes(size.height * 3 / 2, size.width, CV_8UC1);
    const bool planar = operation.workload.format == KELVANE_FORMAT_YUV420;
    std::vector<std::pair<cv::Mat, cv::Mat>> steps = {
        {view(operation.source), planes.rowRange(0, size.height)}};
    unsigned char* place = planes.data + size.area();
    for (int plane = 1; plane < planeCount(operation.workload.format); ++plane) {
        steps.emplace_back(view(operation.source, plane),
                           cv::Mat(chroma, planar ? CV_8UC1 : CV_8UC2, place));
        place += chroma.area();
    }
    const int code = planar ? cv::COLOR_YUV2BGR_I420 : cv::COLOR_YUV2BGR_NV21;
    return {"cv::resize, cv::cvtColor",
            [=] {
                for (const auto& [from, to] : steps)
                    cv::resize(from, to, to.size(), 0, 0, cv::INTER_LINEAR);
                cv::cvtColor(planes, bgr, code);
            },
            differenceFrom(operation.output, bgr), 1.5 * sameContent}; // expects limited range
}

int median(const cv::Mat& grey) {
    cv::Mat histogram;
    const int channel = 0;
    const int bins = 256;
    constexpr std::array range = {0.0f, 256.0f};
    const float* ranges = range.data();
    cv::calcHist(&grey, 1, &channel, cv::noArray(), histogram, 1, &bins, &ranges);
    float below = 0;
    int bin = 0;
    for (; bin < bins; ++bin) {
        below += histogram.at<float>(bin);
        if (2 * below > static_cast<float>(grey.total()))
            break;
    }
    return bin;
}

Peer bitmaps(const Operation& operation) {
    const cv::Mat grey = view(operation.source);
    std::vector<cv::Mat> levels = {grey};
    while (std::max(levels.back().cols, levels.back().rows) > 64)
        levels.emplace_back(levels.back().size() / 2, CV_8UC1);
    std::vector<cv::Mat> bitmaps;
    for (const cv::Mat& level : levels)
        bitmaps.emplace_back(level.size(), CV_8UC1);
    return {"cv::calcHist, cv::compare, cv::resize",
            [=] {
                const int threshold = median(grey);
                for (size_t i = 0; i < levels.size(); ++i) {
                    if (i > 0)
                        cv::resize(levels[i - 1], levels[i], levels[i].size(), 0, 0,
                                   cv::INTER_NEAREST);
                    cv::compare(levels[i], threshold, bitmaps[i], cv::CMP_GT);
                }
            },
            [grey, &operation] {
                return std::abs(static_cast<double>(operation.answer[0]) - median(grey));
            },
            4};
}

// The same area of two frames that are moved against each other.
struct Overlap {
    cv::Mat first;
    cv::Mat second;

    Overlap(const cv::Mat& a, const cv::Mat& b, cv::Point d) {
        const cv::Rect whole(0, 0, a.cols, a.rows);
        first = a(whole & (whole + d));
        second = b(whole & (whole - d));
    }
};

std::vector<Overlap> overlaps(const Operation& operation, const cv::Mat& a, const cv::Mat& b) {
    const cv::Point d(alignedShift.width, alignedShift.height);
    if (operation.workload.kind == Kind::displacement)
        return {{a, b, d}};
    std::vector<Overlap> all;
    if (operation.workload.kind == Kind::nineDisplacements) {
        for (int i = 0; i < 9; ++i)
            all.emplace_back(a, b, d + cv::Point(i % 3 - 1, i / 3 - 1));
        return all;
    }
    // The patches, all but their outermost pixels.
    const cv::Size patch = a.size() / 4;
    for (int i = 0; i < 16; ++i) {
        const cv::Rect inner(i % 4 * patch.width + 1, i / 4 * patch.height + 1, patch.width - 2,
                             patch.height - 2);
        all.emplace_back(a(inner), b(inner - cv::Point(1, -1)), cv::Point(0, 0));
    }
    return all;
}

// Of masks of a byte for each pixel, as cv::AlignMTB compares them.
Peer disagreement(const Operation& operation) {
    const cv::Mat a = view(operation.source) > bitmapThreshold;
    const cv::Mat b = view(operation.second) > bitmapThreshold;
    const auto count = std::make_shared<double>();
    const bool isNine = operation.workload.kind == Kind::nineDisplacements;
    return {"cv::bitwise_xor, cv::countNonZero",
            [=, pairs = overlaps(operation, a, b), differs = cv::Mat()]() mutable {
                *count = 0;
                for (const Overlap& pair : pairs) {
                    cv::bitwise_xor(pair.first, pair.second, differs);
                    *count += cv::countNonZero(differs);
                }
            },
            [count, isNine, &operation] { // ours leaves out the ends of each word of 32 columns
                const auto ours = static_cast<double>(operation.answer[0]);
                return std::abs(ours / *count - (isNine ? 30.0 / 32 : 1));
            },
            isNine ? 0.03 : 0};
}

Peer alignment(const Operation& operation) {
    const auto shift = std::make_shared<cv::Point>();
    const cv::Mat reference = view(operation.source);
    const cv::Mat moving = view(operation.second);
    return {"cv::AlignMTB::calculateShift",
            [=, peer = cv::createAlignMTB(6, 4, false)] {
                *shift = peer->calculateShift(reference, moving);
            },
            [shift, &operation] {
                const cv::Point ours(static_cast<int>(operation.answer[0]),
                                     static_cast<int>(operation.answer[1]));
                const cv::Point truth(alignedShift.width, alignedShift.height);
                return std::max(cv::norm(ours - truth), cv::norm(*shift - truth));
            },
            0};
}

Peer changedRegion(const Operation& operation) {
    const cv::Mat first = view(operation.source);
    const cv::Mat second = view(operation.second);
    const cv::Mat mask(first.size(), CV_8UC1);
    const auto box = std::make_shared<cv::Rect>();
    const int shorter = std::min(first.cols, first.rows);
    const int kernel = shorter >> 7 | 1;
    const Rectangle rectangle(shorter / 100);
    return {"cv::absdiff ... cv::boundingRect, no alignment",
            [=] {
                constexpr double changed = 50;
                cv::absdiff(first, second, mask);
                cv::GaussianBlur(mask, mask, {kernel, kernel}, 0);
                cv::threshold(mask, mask, changed, 255, cv::THRESH_BINARY);
                for (const int step : {cv::MORPH_OPEN, cv::MORPH_CLOSE})
                    cv::morphologyEx(mask, mask, step, rectangle.shape, rectangle.anchor);
                *box = cv::boundingRect(mask);
            },
            [box, &operation] {
                const auto apart = [&](size_t i, int theirs) {
                    return std::abs(static_cast<double>(operation.answer[i]) - theirs);
                };
                return std::max({apart(0, box->x), apart(1, box->y), apart(2, box->br().x),
                                 apart(3, box->br().y)});
            },
            64};
}

Peer bestShot(const Operation& operation, const Laplacian& laplacian) {
    const auto best = std::make_shared<long>();
    std::vector<cv::Mat> frames;
    for (const Frame& frame : operation.burst)
        frames.push_back(view(frame));
    return {laplacian.name,
            [=, result = cv::Mat()]() mutable {
                double highest = -1;
                for (size_t i = 0; i < frames.size(); ++i) {
                    const double variance = laplacianVariance(frames[i], result, laplacian.depth);
                    if (variance > highest)
                        *best = static_cast<long>(i);
                    highest = std::max(highest, variance);
                }
            },
            [best, &operation] {
                return std::abs(static_cast<double>(operation.answer[0] - sharpestFrame)) +
                       std::abs(static_cast<double>(*best - sharpestFrame));
            },
            0};
}

} // namespace

std::vector<Peer> opencvPeers(const Operation& operation) {
    cv::setNumThreads(1);
    switch (operation.workload.kind) {
    case Kind::sharpness: return laplacianPeers(operation);
    case Kind::resize: return {resize(operation)};
    case Kind::resizeToBgr24: return {resizeToBgr24(operation)};
    case Kind::bitmaps: return {bitmaps(operation)};
    case Kind::displacement:
    case Kind::nineDisplacements:
    case Kind::patches: return {disagreement(operation)};
    case Kind::alignment: return {alignment(operation)};
    case Kind::changedRegion: return {changedRegion(operation)};
    case Kind::bestShot:
        return {bestShot(operation, laplacians[0]), bestShot(operation, laplacians[1])};
    default: return {filter(operation)};
    }
}
