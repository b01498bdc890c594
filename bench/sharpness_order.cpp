// How often measures of sharpness put the sharp picture of a group first, when noise, exposure,
// compression or size speak against it.
//
// usage: kelvane-sharpness-order GROUP...
//
// A GROUP is a sharp picture, of which blurred ones are made: three sizes of defocus and three of
// motion. Or it is SHARP,BLURRED,... with pictures that were taken blurred.
#include "analysis/detail.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <cstdio>
#include <functional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Picture = cv::Mat; // 8-bit luma

struct Group {
    Picture sharp;
    std::vector<Picture> blurred;
};

__tag_KIRO_OFFSCREEN view(const Picture& picture) {
    return {KELVANE_FORMAT_YUV420,
            picture.cols & ~1,
            picture.rows & ~1,
            {picture.data},
            {static_cast<int32_t>(picture.step)}};
}

double blurScore(const Picture& picture) {
    __tag_KIRO_OFFSCREEN image = view(picture);
    float sharpness = 0;
    imgEvaluateSharpness(nullptr, &image, &sharpness, nullptr);
    return static_cast<double>(sharpness);
}

// Tenenbaum, 1970, as it is usually computed.
double tenengrad(const Picture& picture) {
    Picture dx, dy;
    cv::Sobel(picture, dx, CV_32F, 1, 0);
    cv::Sobel(picture, dy, CV_32F, 0, 1);
    return cv::mean(dx.mul(dx) + dy.mul(dy))[0];
}

double varianceOfLaplacian(const Picture& picture) {
    Picture laplacian;
    cv::Scalar mean, deviation;
    cv::Laplacian(picture, laplacian, CV_32F);
    cv::meanStdDev(laplacian, mean, deviation);
    return deviation[0] * deviation[0];
}

struct Measure {
    const char* name;
    std::function<double(const Picture&)> measure;
};

const std::vector<Measure> measures = {
    {"detail", [](const Picture& picture) { return measureDetail(view(picture)); }},
    {"blur score", blurScore},
    {"Tenengrad", tenengrad},
    {"Laplacian", varianceOfLaplacian}};

using Change = std::function<Picture(const Picture&)>;

Picture unchanged(const Picture& picture) { return picture; }

Change noise(double deviation) {
    return [deviation](const Picture& picture) {
        static std::mt19937 random(14);
        std::normal_distribution<double> distribution(0.0, deviation);
        Picture result = picture.clone();
        for (auto& pixel : cv::Mat_<uchar>(result))
            pixel = cv::saturate_cast<uchar>(pixel + distribution(random));
        return result;
    };
}

Change light(double gain) {
    return [gain](const Picture& picture) {
        Picture result;
        picture.convertTo(result, CV_8U, gain);
        return result;
    };
}

Change recompressed(int quality) {
    return [quality](const Picture& picture) {
        std::vector<uchar> bytes;
        cv::imencode(".jpg", picture, bytes, std::vector<int>{cv::IMWRITE_JPEG_QUALITY, quality});
        return cv::imdecode(bytes, cv::IMREAD_GRAYSCALE);
    };
}

Change resized(double factor) {
    return [factor](const Picture& picture) {
        Picture result;
        cv::resize(picture, result, {}, factor, factor,
                   factor < 1 ? cv::INTER_AREA : cv::INTER_LINEAR);
        return result;
    };
}

struct Condition {
    const char* name;
    Change ofSharp;
    Change ofBlurred;
};

const std::vector<Condition> conditions = {
    {"as they are", unchanged, unchanged},
    {"noise of 5 on the blurred", unchanged, noise(5)},
    {"noise of 10 on the blurred", unchanged, noise(10)},
    {"noise of 10 on all", noise(10), noise(10)},
    {"sharp one darker, x 0.7", light(0.7), unchanged},
    {"sharp one darker, x 0.4", light(0.4), unchanged},
    {"sharp one x 0.7, noise of 5 on the others", light(0.7), noise(5)},
    {"JPEG quality 50, all", recompressed(50), recompressed(50)},
    {"JPEG quality 50, the sharp one", recompressed(50), unchanged},
    {"JPEG quality 50, the blurred", unchanged, recompressed(50)},
    {"half the size, all", resized(0.5), resized(0.5)},
    {"half the size, the sharp one", resized(0.5), unchanged},
    {"three quarters of the size, all", resized(0.75), resized(0.75)},
    {"one and a half of the size, all", resized(1.5), resized(1.5)}};

Picture defocused(const Picture& picture, double radius) {
    constexpr int fine = 8; // steps of a pixel, for radii between whole ones
    const int half = static_cast<int>(std::ceil(radius)), side = 2 * half + 1;
    Picture disc = Picture::zeros(side * fine, side * fine, CV_32F), kernel, result;
    cv::circle(disc, {side * fine / 2, side * fine / 2}, static_cast<int>(radius * fine), 1,
               cv::FILLED);
    cv::resize(disc, kernel, {side, side}, 0, 0, cv::INTER_AREA);
    cv::filter2D(picture, result, CV_8U, kernel / cv::sum(kernel)[0]);
    return result;
}

Picture moved(const Picture& picture, double length, double angle) {
    const int half = static_cast<int>(std::ceil(length / 2)), side = 2 * half + 1;
    Picture kernel = Picture::zeros(side, side, CV_32F), result;
    const double dx = length / 2 * std::cos(angle), dy = length / 2 * std::sin(angle);
    const auto fixed = [&](double offset) { return static_cast<int>((half + offset) * 16 + 0.5); };
    cv::line(kernel, {fixed(-dx), fixed(-dy)}, {fixed(dx), fixed(dy)}, 1, 1, cv::LINE_AA, 4);
    cv::filter2D(picture, result, CV_8U, kernel / cv::sum(kernel)[0]);
    return result;
}

Group makeGroup(const Picture& sharp) {
    Group group = {sharp, {}};
    const double unit = std::max(1.0, std::max(sharp.cols, sharp.rows) / 1024.0);
    for (const double radius : {1.0, 1.5, 2.5}) {
        group.blurred.push_back(defocused(sharp, radius * unit));
        group.blurred.push_back(moved(sharp, 3 * radius * unit, radius));
    }
    return group;
}

Group readGroup(const std::string& argument) {
    Group group;
    std::istringstream names(argument);
    for (std::string name; std::getline(names, name, ',');) {
        const Picture picture = cv::imread(name, cv::IMREAD_GRAYSCALE);
        if (picture.cols < 64 || picture.rows < 64) {
            std::fprintf(stderr, "%s: no picture of a useful size\n", name.c_str());
            std::exit(2);
        }
        (group.sharp.empty() ? group.sharp : group.blurred.emplace_back()) = picture;
    }
    return group.blurred.empty() ? makeGroup(group.sharp) : group;
}

// For each measure, in how many groups the sharp picture comes before all others.
std::vector<int> countFirst(const std::vector<Group>& groups, const Condition& condition) {
    std::vector<int> first(measures.size());
    for (const Group& group : groups) {
        const Picture sharp = condition.ofSharp(group.sharp);
        std::vector<Picture> blurred;
        for (const Picture& picture : group.blurred)
            blurred.push_back(condition.ofBlurred(picture));
        for (size_t m = 0; m < measures.size(); ++m) {
            const double best = measures[m].measure(sharp);
            first[m] += std::ranges::all_of(blurred, [&](const Picture& picture) {
                return measures[m].measure(picture) < best;
            });
        }
    }
    return first;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: kelvane-sharpness-order GROUP...\n");
        return 2;
    }
    cv::setNumThreads(1);
    std::vector<Group> groups;
    for (int i = 1; i < argc; ++i)
        groups.push_back(readGroup(argv[i]));
    std::printf("| the sharp one first of %zu groups |", groups.size());
    for (const Measure& measure : measures)
        std::printf(" %s |", measure.name);
    std::puts("\n|---|---:|---:|---:|---:|");
    for (const Condition& condition : conditions) {
        std::printf("| %s |", condition.name);
        for (const int first : countFirst(groups, condition))
            std::printf(" %d |", first);
        std::puts("");
    }
    return 0;
}
