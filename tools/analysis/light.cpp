#include "analysis/light.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <optional>
#include <vector>

namespace {

using Histogram = std::array<int64_t, 256>;

Histogram histogramOf(const LumaImage& picture) {
    Histogram histogram = {};
    for (const unsigned char pixel : picture.pixels)
        ++histogram[pixel];
    return histogram;
}

// For each grey value of one picture, that of the other with as many darker pixels as the middle
// of its own.
std::array<unsigned char, 256> equalRanks(const Histogram& from, const Histogram& to) {
    std::array<unsigned char, 256> ranks;
    int64_t darker = 0, counted = to[0];
    size_t value = 0;
    for (size_t i = 0; i < from.size(); ++i) {
        while (value + 1 < to.size() && counted <= darker + from[i] / 2)
            counted += to[++value];
        ranks[i] = static_cast<unsigned char>(value);
        darker += from[i];
    }
    return ranks;
}

// The mean grey values of a small square in two pictures.
struct LightSample {
    double first;
    double second;
};

// Of `side` x `side` pixels; nothing where a pixel may have been cut off to black or white.
std::optional<double> meanOf(const LumaImage& picture, int64_t left, int64_t top, int64_t side) {
    int64_t sum = 0;
    for (int64_t y = top; y < top + side; ++y) {
        const unsigned char* const row = picture.pixels.data() + y * picture.width + left;
        const auto [darkest, brightest] = std::minmax_element(row, row + side);
        if (*darkest == 0 || *brightest == 255)
            return std::nullopt;
        sum = std::accumulate(row, row + side, sum);
    }
    return static_cast<double>(sum) / static_cast<double>(side * side);
}

// A grid over what both pictures show.
std::vector<LightSample> sampleLight(const LumaImage& first, const LumaImage& second, Shift shift) {
    constexpr int64_t rows = 48;
    const int64_t width = first.width - std::abs(shift.dx);
    const int64_t height = first.height - std::abs(shift.dy);
    const int64_t left = std::max<int64_t>(0, -shift.dx), top = std::max<int64_t>(0, -shift.dy);
    const int64_t side = std::max<int64_t>(1, std::min(width, height) / rows);
    std::vector<LightSample> samples;
    for (int64_t y = top; y + side <= top + height; y += side)
        for (int64_t x = left; x + side <= left + width; x += side) {
            const auto a = meanOf(first, x + shift.dx, y + shift.dy, side);
            const auto b = meanOf(second, x, y, side);
            if (a && b)
                samples.push_back({*a, *b});
        }
    return samples;
}

// The ratios of the differences between samples far from each other.
std::vector<double> slopesOf(const std::vector<LightSample>& samples) {
    constexpr double contrast = 12;
    std::vector<double> slopes;
    const size_t n = samples.size();
    for (const size_t part : {size_t{2}, size_t{3}, size_t{5}})
        for (size_t i = 0; i < n; ++i) {
            const LightSample &a = samples[i], &b = samples[(i + n / part) % n];
            if (std::abs(a.first - b.first) >= contrast)
                slopes.push_back((a.second - b.second) / (a.first - b.first));
        }
    return slopes;
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

LumaImage mapped(const LumaImage& picture, double gain, double offset) {
    std::array<unsigned char, 256> values;
    for (size_t v = 0; v < values.size(); ++v)
        values[v] = static_cast<unsigned char>(
            std::clamp(std::lround(gain * static_cast<double>(v) + offset), 0L, 255L));
    LumaImage result = picture;
    for (unsigned char& pixel : result.pixels)
        pixel = values[pixel];
    return result;
}

} // namespace

LumaImage matchLight(const LumaImage& picture, const LumaImage& model) {
    const auto ranks = equalRanks(histogramOf(picture), histogramOf(model));
    LumaImage matched = picture;
    for (unsigned char& pixel : matched.pixels)
        pixel = ranks[pixel];
    return matched;
}

LightChange findLightChange(const LumaImage& first, const LumaImage& second, Shift shift) {
    constexpr size_t enough = 64;
    constexpr double largestGain = 16;
    const std::vector<LightSample> samples = sampleLight(first, second, shift);
    if (samples.size() < enough)
        return {};
    LightChange change;
    const std::vector<double> slopes = slopesOf(samples);
    if (slopes.size() >= enough)
        change.gain = median(slopes);
    if (change.gain * largestGain < 1 || change.gain > largestGain)
        return {};
    std::vector<double> offsets;
    for (const LightSample& sample : samples)
        offsets.push_back(sample.second - change.gain * sample.first);
    change.offset = median(offsets);
    return change;
}

LightPair undoLight(const LumaImage& first, const LumaImage& second, const LightChange& change) {
    if (change.gain > 1)
        return {mapped(first, change.gain, change.offset), second};
    return {first, mapped(second, 1 / change.gain, 0 - change.offset / change.gain)};
}
