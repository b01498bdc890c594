#include "analysis/edges.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numeric>

namespace {

// Writes the central differences of the inner pixels of a row, and their lengths.
void differentiate(const unsigned char* here, int32_t width, int16_t* gradients, float* lengths) {
    for (int32_t x = 1; x + 1 < width; ++x) {
        const int dx = here[x + 1] - here[x - 1], dy = here[x + width] - here[x - width];
        gradients[2 * x] = static_cast<int16_t>(dx);
        gradients[2 * x + 1] = static_cast<int16_t>(dy);
        lengths[x] = std::sqrt(static_cast<float>(dx * dx + dy * dy));
    }
}

// The mean length of the gradients of the inner pixels, which are written.
float differentiate(const LumaImage& picture, EdgeMap& edges) {
    const int32_t width = picture.width;
    std::vector<float> lengths(static_cast<size_t>(width));
    double sum = 0;
    for (int32_t y = 1; y + 1 < picture.height; ++y) {
        const int64_t row = int64_t{width} * y;
        differentiate(picture.pixels.data() + row, width, edges.gradients.data() + 2 * row,
                      lengths.data());
        sum += std::accumulate(lengths.begin(), lengths.end(), 0.0);
    }
    const double count = double(picture.width - 2) * (picture.height - 2);
    return count > 0 ? static_cast<float>(sum / count) : 0.0f;
}

} // namespace

EdgeMap edgesOf(const LumaImage& picture) {
    EdgeMap edges = {picture.width, picture.height, {}};
    edges.gradients.resize(2 * picture.pixels.size());
    const float mean = differentiate(picture, edges);
    if (mean == 0)
        return edges;
    constexpr float largest = 128;
    const size_t count = picture.pixels.size();
    int16_t* const g = edges.gradients.data();
    for (size_t i = 0; i < count; ++i) {
        const auto dx = static_cast<float>(g[2 * i]), dy = static_cast<float>(g[2 * i + 1]);
        const float scale = largest / std::sqrt(dx * dx + dy * dy + mean * mean);
        g[2 * i] = static_cast<int16_t>(dx * scale);
        g[2 * i + 1] = static_cast<int16_t>(dy * scale);
    }
    return edges;
}

double EdgeCorrelation::value() const {
    if (firstSquares == 0 || secondSquares == 0)
        return 0;
    return static_cast<double>(products) /
           std::sqrt(static_cast<double>(firstSquares) * static_cast<double>(secondSquares));
}

EdgeCorrelation correlate(const EdgeMap& first, const EdgeMap& second, Shift shift) {
    const int64_t left = std::max<int64_t>(0, -shift.dx), top = std::max<int64_t>(0, -shift.dy);
    const int64_t right = std::min<int64_t>(second.width, first.width - shift.dx);
    const int64_t bottom = std::min<int64_t>(second.height, first.height - shift.dy);
    EdgeCorrelation sum;
    for (int64_t y = top; y < bottom; ++y) {
        const int16_t* const a =
            first.row(static_cast<int32_t>(y + shift.dy)) + 2 * (left + shift.dx);
        const int16_t* const b = second.row(static_cast<int32_t>(y)) + 2 * left;
        int32_t products = 0, firstSquares = 0, secondSquares = 0;
        for (int64_t i = 0; i < 2 * (right - left); ++i) {
            products += a[i] * b[i];
            firstSquares += a[i] * a[i];
            secondSquares += b[i] * b[i];
        }
        sum.products += products;
        sum.firstSquares += firstSquares;
        sum.secondSquares += secondSquares;
    }
    return sum;
}

double roofTop(double before, double centre, double after) {
    const double height = centre - std::min(before, after);
    return height > 0 ? std::clamp((after - before) / (2 * height), -0.5, 0.5) : 0;
}
