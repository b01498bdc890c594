#include "analysis/motion.h"

#include "analysis/edges.h"
#include "analysis/pyramid.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr int32_t patchColumns = 8;
constexpr int32_t patchRows = 6;
constexpr int32_t patchCount = patchColumns * patchRows;

struct Place {
    int32_t left;
    int32_t top;
};

bool contains(const LumaImage& picture, Place place, int32_t side) {
    return place.left >= 0 && place.top >= 0 && place.left + side <= picture.width &&
           place.top + side <= picture.height;
}

// One patch of the second picture, and what it says for itself.
struct Patch {
    double x; // its centre, from that of the picture
    double y;
    double dx = 0;
    double dy = 0;
    double weight = 0; // the square of its correlation; 0 when its place was not found
};

// The correlations of a patch with its surroundings, which have `radius` pixels more on each side.
class PatchSearch {
public:
    PatchSearch(const LumaImage& surroundings, const LumaImage& patch, int32_t radius)
        : surroundings_(edgesOf(surroundings)), patch_(edgesOf(patch)), radius_(radius),
          values_(static_cast<size_t>(side() * side()), unknown) {}

    // Climbs from the middle to the best place, and adds it to the patch's displacement. It is not
    // found where that ends at the border.
    void find(Patch& patch) {
        int32_t x = 0, y = 0;
        while (std::max(std::abs(x), std::abs(y)) < radius_) {
            int32_t bestX = x, bestY = y;
            for (int32_t v = y - 1; v <= y + 1; ++v)
                for (int32_t u = x - 1; u <= x + 1; ++u)
                    if (at(u, v) > at(bestX, bestY))
                        bestX = u, bestY = v;
            if (bestX == x && bestY == y) {
                patch.dx += x + roofTop(at(x - 1, y), at(x, y), at(x + 1, y));
                patch.dy += y + roofTop(at(x, y - 1), at(x, y), at(x, y + 1));
                patch.weight = std::pow(std::max(0.0, at(x, y)), 2);
                return;
            }
            x = bestX, y = bestY;
        }
    }

private:
    static constexpr double unknown = -2;

    int32_t side() const { return 2 * radius_ + 1; }

    double at(int32_t x, int32_t y) {
        double& value = values_[static_cast<size_t>((y + radius_) * side() + x + radius_)];
        if (value == unknown)
            value = correlate(surroundings_, patch_, {x + radius_, y + radius_}).value();
        return value;
    }

    EdgeMap surroundings_;
    EdgeMap patch_;
    int32_t radius_;
    std::vector<double> values_;
};

// A grid of patches over what both pictures show.
std::vector<Patch> findPatches(const LumaImage& first, const LumaImage& second, const Motion& guess,
                               int32_t radius) {
    const auto dx = static_cast<int32_t>(std::lround(guess.dx));
    const auto dy = static_cast<int32_t>(std::lround(guess.dy));
    const int32_t side = std::clamp(std::min(second.width, second.height) / 3, 16, 64);
    const int32_t left = std::max(0, radius - dx), top = std::max(0, radius - dy);
    const int32_t columns = std::min(second.width, second.width - radius - dx) - left - side;
    const int32_t rows = std::min(second.height, second.height - radius - dy) - top - side;
    std::vector<Patch> patches;
    for (int32_t i = 0; i < patchCount && columns >= 0 && rows >= 0; ++i) {
        const Place place = {left + columns * (i % patchColumns) / (patchColumns - 1),
                             top + rows * (i / patchColumns) / (patchRows - 1)};
        Patch patch = {place.left + (side - second.width) / 2.0,
                       place.top + (side - second.height) / 2.0};
        const Motion::Vector expected = guess.at(patch.x, patch.y);
        patch.dx = std::round(expected.x);
        patch.dy = std::round(expected.y);
        const Place around = {place.left + static_cast<int32_t>(patch.dx) - radius,
                              place.top + static_cast<int32_t>(patch.dy) - radius};
        if (!contains(first, around, side + 2 * radius))
            continue;
        PatchSearch(cut(first, around.left, around.top, side + 2 * radius, side + 2 * radius),
                    cut(second, place.left, place.top, side, side), radius)
            .find(patch);
        if (patch.weight > 0)
            patches.push_back(patch);
    }
    return patches;
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

double distance(const Patch& patch, const Motion& motion) {
    const Motion::Vector expected = motion.at(patch.x, patch.y);
    return std::hypot(patch.dx - expected.x, patch.dy - expected.y);
}

std::vector<double> distances(const std::vector<Patch>& patches, const Motion& motion) {
    std::vector<double> result;
    for (const Patch& patch : patches)
        result.push_back(distance(patch, motion));
    return result;
}

Motion medianMotion(const std::vector<Patch>& patches) {
    std::vector<double> dx, dy;
    for (const Patch& patch : patches) {
        dx.push_back(patch.dx);
        dy.push_back(patch.dy);
    }
    return {median(dx), median(dy)};
}

// Least squares. Turn and zoom are taken when they move the patches by at least four times their
// standard error, and visibly.
Motion fit(const std::vector<Patch>& patches) {
    double sum = 0, squares = 0, x = 0, y = 0, dx = 0, dy = 0;
    for (const Patch& patch : patches) {
        sum += patch.weight;
        squares += patch.weight * patch.weight;
        x += patch.weight * patch.x;
        y += patch.weight * patch.y;
        dx += patch.weight * patch.dx;
        dy += patch.weight * patch.dy;
    }
    x /= sum, y /= sum, dx /= sum, dy /= sum;
    double zoom = 0, turn = 0, spread = 0;
    for (const Patch& patch : patches) {
        const double px = patch.x - x, py = patch.y - y;
        zoom += patch.weight * (px * patch.dx + py * patch.dy);
        turn += patch.weight * (px * patch.dy - py * patch.dx);
        spread += patch.weight * (px * px + py * py);
    }
    if (spread > 0)
        zoom /= spread, turn /= spread;
    const auto variance = [&](const Motion& motion) {
        double result = 0;
        for (const Patch& patch : patches)
            result += patch.weight * std::pow(distance(patch, motion), 2);
        return result / sum;
    };
    const double count = sum * sum / squares; // of patches that weighed the same
    Motion motion = {dx - zoom * x + turn * y, dy - turn * x - zoom * y, zoom, turn};
    const double error = std::sqrt(variance(motion) / count);
    constexpr double visible = 0.05;
    if (std::hypot(zoom, turn) * std::sqrt(spread / sum) < std::max(visible, 4 * error))
        motion = {dx, dy};
    motion.error = std::sqrt(variance(motion) / count);
    return motion;
}

} // namespace

std::optional<Motion> refineMotion(const LumaImage& first, const LumaImage& second,
                                   const Motion& guess, int32_t radius) {
    const std::vector<Patch> patches = findPatches(first, second, guess, radius);
    if (3 * std::ssize(patches) < 2 * patchCount)
        return std::nullopt;
    // Weights fall with the distance from the last fit (Beaton and Tukey 1974, who give the
    // constant), from the median on.
    constexpr int rounds = 10;
    constexpr double deviations = 4.685, deviationOfMedian = 1.4826;
    Motion motion = medianMotion(patches);
    for (int round = 0; round < rounds; ++round) {
        const double limit =
            std::max(1.0, deviations * deviationOfMedian * median(distances(patches, motion)));
        std::vector<Patch> weighted = patches;
        for (Patch& patch : weighted)
            patch.weight *=
                std::pow(1 - std::pow(std::min(1.0, distance(patch, motion) / limit), 2), 2);
        motion = fit(weighted);
    }
    return motion;
}
