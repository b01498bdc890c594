#include "analysis/regions.h"

#include <algorithm>
#include <numeric>

namespace {

// Some pixels of a row that changed, and the part that they belong to.
struct Run {
    int32_t left;
    int32_t right; // exclusive
    int32_t y;
    size_t part;
};

std::vector<Run> findRuns(const ChangedMask& mask) {
    std::vector<Run> runs;
    for (int32_t y = 0; y < mask.height; ++y)
        for (int32_t x = 0; x < mask.width; ++x) {
            if (!mask.at(x, y))
                continue;
            const int32_t left = x;
            while (x < mask.width && mask.at(x, y))
                ++x;
            runs.push_back({left, x, y, runs.size()});
        }
    return runs;
}

// The run that stands for the part of a run.
size_t rootOf(std::vector<Run>& runs, size_t run) {
    while (runs[run].part != run)
        run = runs[run].part = runs[runs[run].part].part;
    return run;
}

// Joins each run with those of the row above that it touches, also at a corner.
void connect(std::vector<Run>& runs) {
    size_t above = 0;
    for (size_t i = 0; i < runs.size(); ++i) {
        while (runs[above].y < runs[i].y - 1 ||
               (runs[above].y == runs[i].y - 1 && runs[above].right < runs[i].left))
            ++above;
        for (size_t j = above; runs[j].y == runs[i].y - 1 && runs[j].left <= runs[i].right; ++j)
            runs[rootOf(runs, i)].part = rootOf(runs, j);
    }
}

void join(ChangedRegion& region, const ChangedRegion& other) {
    __tag_rect& rect = region.rect;
    rect = {std::min(rect.left, other.rect.left), std::min(rect.top, other.rect.top),
            std::max(rect.right, other.rect.right), std::max(rect.bottom, other.rect.bottom)};
    region.area += other.area;
}

std::vector<ChangedRegion> findParts(const ChangedMask& mask) {
    std::vector<Run> runs = findRuns(mask);
    connect(runs);
    std::vector<ChangedRegion> parts(runs.size());
    for (size_t i = 0; i < runs.size(); ++i) {
        const Run& run = runs[i];
        const ChangedRegion pixels = {{run.left, run.y, run.right, run.y + 1},
                                      run.right - run.left};
        ChangedRegion& part = parts[rootOf(runs, i)];
        if (part.area == 0)
            part = pixels;
        else
            join(part, pixels);
    }
    std::erase_if(parts, [](const ChangedRegion& part) { return part.area == 0; });
    return parts;
}

bool isLarger(const ChangedRegion& a, const ChangedRegion& b) { return a.area > b.area; }

// Joins one part with the largest one that it is near to.
bool joinNext(std::vector<ChangedRegion>& parts) {
    for (size_t i = 0; i < parts.size(); ++i)
        for (size_t j = i + 1; j < parts.size(); ++j)
            if (4 * gapBetween(parts[i].rect, parts[j].rect) <= 3 * lengthOf(parts[i].rect)) {
                join(parts[i], parts[j]);
                parts.erase(parts.begin() + static_cast<std::ptrdiff_t>(j));
                std::ranges::stable_sort(parts, isLarger);
                return true;
            }
    return false;
}

} // namespace

int32_t gapBetween(const __tag_rect& a, const __tag_rect& b) {
    return std::max({0, std::max(a.left, b.left) - std::min(a.right, b.right),
                     std::max(a.top, b.top) - std::min(a.bottom, b.bottom)});
}

int32_t lengthOf(const __tag_rect& rect) {
    return std::max(rect.right - rect.left, rect.bottom - rect.top);
}

std::vector<ChangedRegion> findRegions(const ChangedMask& mask) {
    std::vector<ChangedRegion> parts = findParts(mask);
    std::ranges::stable_sort(parts, isLarger);
    while (joinNext(parts)) {
    }
    const int64_t pixels = int64_t{mask.width} * mask.height;
    std::erase_if(parts, [&](const ChangedRegion& part) { return 500 * part.area < pixels; });
    return parts;
}

ChangedRegion joined(const std::vector<ChangedRegion>& regions) {
    ChangedRegion all = regions.front();
    for (size_t i = 1; i < regions.size(); ++i)
        join(all, regions[i]);
    return all;
}

bool isWholeScene(const ChangedMask& mask) {
    if (50 * mask.alignment.cornerOffset > std::min(mask.width, mask.height))
        return true;
    constexpr int32_t columns = 8, rows = 6;
    std::vector<int64_t> changed(columns * rows);
    for (int32_t y = 0; y < mask.height; ++y)
        for (int32_t x = 0; x < mask.width; ++x)
            if (mask.at(x, y))
                ++changed[static_cast<size_t>(rows * int64_t{y} / mask.height * columns +
                                              columns * int64_t{x} / mask.width)];
    const int64_t cell = int64_t{mask.width} * mask.height / (columns * rows);
    const auto count =
        std::ranges::count_if(changed, [&](int64_t pixels) { return 100 * pixels > cell; });
    return 2 * count > columns * rows;
}
