// The ranking of a burst as its rules read, kept apart from the library's records.
#pragma once

#include "support/plain_sharpness.h"

#include <cmath>
#include <numeric>

using Column = std::vector<int64_t>;

inline Column plainNormalized(Column column) {
    const auto largest = static_cast<double>(*std::max_element(column.begin(), column.end()));
    for (int64_t& value : column) {
        const double share = static_cast<float>(value) / (largest + 0.0001);
        value = largest < 0 ? 0 : static_cast<int64_t>(share * 10000.0);
    }
    return column;
}

inline Column plainAreas(const Column& areas) {
    Column column = plainNormalized(areas);
    for (int64_t& area : column)
        area = area > 8000 ? 10000 : area < 2000 ? 0 : area;
    return column;
}

inline int64_t plainFaceTerm(const _tag_DRAV_FACEINFO& faces) {
    int64_t term = 0;
    for (int64_t j = 0; j < faces.count; ++j) {
        term += faces.codes[j] >= 13 && faces.codes[j] <= 16 ? 400 - 300 : 400;
        if (faces.eyes != nullptr)
            term += faces.eyes[j] == 1 ? 600 : faces.eyes[j] == 2 ? -99900 : 0;
        if (faces.smiles != nullptr)
            term += faces.smiles[j] == 2 ? 500 : faces.smiles[j] == 3 ? 1000 : 0;
    }
    return term;
}

inline float plainPenalty(const __tag_rect& rect, int64_t width, int64_t height) {
    const int64_t distances[][2] = {{rect.left, width},
                                    {width - rect.right, width},
                                    {rect.top, height},
                                    {height - rect.bottom, height}};
    float penalty = 0.0f;
    for (const auto& [distance, side] : distances) {
        const auto margin = static_cast<int64_t>(static_cast<float>(side) * 0.1f);
        if (margin > 0 && distance < margin)
            penalty += static_cast<float>(margin - distance) / static_cast<float>(margin);
    }
    return penalty * 0.25f * 10000.0f;
}

inline int64_t plainScore(int64_t whole, int64_t region, int64_t bonus, float penalty) {
    const int64_t sum = static_cast<int64_t>(0.8f * static_cast<float>(whole)) +
                        static_cast<int64_t>(1.2f * static_cast<float>(region)) + 10000 + bonus;
    return static_cast<int64_t>(static_cast<float>(sum) - penalty);
}

inline int64_t firstBest(const Column& scores, int64_t begin, int64_t end) {
    return std::max_element(scores.begin() + begin, scores.begin() + end) - scores.begin();
}

inline Column plainKept(Column scores, int64_t kept) {
    const auto n = static_cast<int64_t>(scores.size());
    Column indices;
    for (const int64_t group : {4, 3, 2}) {
        if (kept > (n + group - 1) / group)
            continue;
        for (int64_t k = 0; k < kept; ++k)
            indices.push_back(firstBest(scores, k * group, k + 1 < kept ? (k + 1) * group : n));
        return indices;
    }
    Column frames(scores.size());
    std::iota(frames.begin(), frames.end(), 0);
    for (int64_t p = 0; p < kept; ++p) {
        const int64_t q = firstBest(scores, p, n);
        std::swap(*(scores.begin() + p), *(scores.begin() + q));
        std::swap(*(frames.begin() + p), *(frames.begin() + q));
    }
    indices.assign(frames.begin(), frames.begin() + kept);
    std::sort(indices.begin(), indices.end());
    return indices;
}

struct PlainBurst {
    explicit PlainBurst(size_t n) : frames(n), params(n) {}

    std::vector<__tag_KIRO_OFFSCREEN> frames;
    std::vector<_tag_DRAV_PARAM> params;
    Column supplied; // sharpness scores that replace the measurement, or empty
};

// What an engine remembers between calls, and what its calls make of it.
struct PlainEngine {
    struct Object {
        __tag_rect rect;
        int64_t flag;
        int64_t area;
    };
    std::vector<Object> objects; // by frame
    bool active = false;
    int64_t count = 0;
    int64_t width = 0;

    // Makes room; false when that takes memory that there is not.
    bool reserve(int64_t wanted, bool outOfMemory) {
        if (!objects.empty() && wanted <= static_cast<int64_t>(objects.size()))
            return true;
        if (wanted <= 0 || outOfMemory)
            return false;
        objects.resize(static_cast<size_t>(wanted));
        return true;
    }

    long setMovingObjects(const _tag_DRAV_MOVINGINFO& info, bool outOfMemory) {
        int usable = 0;
        for (int j = 0; j < info.count; ++j) {
            const __tag_rect& r = info.objects[j].rect;
            usable += info.objects[j].mask && (r.left || r.top || r.right || r.bottom);
        }
        const bool becomesActive = usable > info.count / 2;
        if (becomesActive && info.count > 0 && info.width <= 0)
            return ERR_INVALID_PARAM;
        count = info.count;
        if (!reserve(count, outOfMemory))
            return ERR_NO_MEMORY;
        active = becomesActive;
        width = active ? info.width : width;
        for (size_t j = 0; active && static_cast<int64_t>(j) < info.count; ++j) {
            const auto& [r, mask] = info.objects[j];
            const auto extent = [](int64_t low, int64_t high) {
                return static_cast<int32_t>(high - low); // wraps at 32 bits
            };
            objects[j].flag = mask && extent(r.left, r.right) > 10 && extent(r.top, r.bottom) > 10;
            if (objects[j].flag == 0)
                continue;
            objects[j] = {r, 1, 0};
            for (int64_t y = 0; y < info.height; ++y)
                for (int64_t x = 0; x < info.width; ++x)
                    objects[j].area += y >= r.top && y < r.bottom && x >= r.left && x < r.right &&
                                       mask[y * info.pitch + x] != 0;
        }
        return ERR_NONE;
    }

    // For arguments that are accepted, but for an odd size.
    long rank(const PlainBurst& burst, _tag_DRAV_RESULT& result) {
        const size_t n = burst.frames.size();
        const int32_t frameWidth = burst.frames[0].width;
        const int32_t frameHeight = burst.frames[0].height;
        if (frameWidth % 2 != 0 || frameHeight % 2 != 0)
            return ERR_INVALID_PARAM;
        result.count = std::min(result.count, static_cast<int64_t>(n));
        if (active && count != static_cast<int64_t>(n))
            return ERR_INVALID_PARAM;
        reserve(static_cast<int64_t>(n), false);
        const auto toFrame = [&](int32_t c) {
            const double scaled =
                std::fma(static_cast<float>(c),
                         static_cast<float>(frameWidth) / static_cast<float>(width), 0.5f);
            return std::isnan(scaled) // 0 of a mask without width, which no objects came with
                       ? 0
                       : static_cast<int32_t>(std::clamp<double>(scaled, INT32_MIN, INT32_MAX));
        };
        const auto clip = [&](__tag_rect r) -> __tag_rect {
            return {std::max(r.left, 0), std::max(r.top, 0), std::min(r.right, frameWidth),
                    std::min(r.bottom, frameHeight)};
        };
        for (size_t i = 0; active && i < n; ++i) {
            __tag_rect& r = objects[i].rect;
            for (int32_t* const c : {&r.left, &r.top, &r.right, &r.bottom})
                *c = objects[i].flag != 0 ? toFrame(*c) : *c;
            r = objects[i].flag != 0 ? clip(r) : r;
        }
        const int64_t faces = std::accumulate(
            burst.params.begin(), burst.params.end(), int64_t{0},
            [](int64_t sum, const _tag_DRAV_PARAM& param) { return sum + param.faces->count; });

        const auto scaled = [&](size_t i, const __tag_rect* rect) {
            return static_cast<int64_t>(
                std::fma(plainSharpness(burst.frames[i], rect), 10000.0f, 0.5f));
        };
        Column whole = burst.supplied;
        Column region(n), areas;
        for (size_t i = 0; i < n; ++i) {
            const __tag_rect rect = clip(objects[i].rect);
            const bool isEmpty = rect.left >= rect.right || rect.top >= rect.bottom;
            if (objects[i].flag != 0 && active && isEmpty)
                return ERR_INVALID_PARAM;
            if (burst.supplied.empty())
                whole.push_back(scaled(i, nullptr));
            if (objects[i].flag != 0 && !isEmpty)
                region[i] = scaled(i, &rect);
            region[i] = region[i] == 0 ? whole[i] : region[i];
            areas.push_back(objects[i].area);
        }
        whole = plainNormalized(whole);
        region = plainNormalized(region);
        areas = plainAreas(areas);
        Column scores;
        for (size_t i = 0; i < n; ++i) {
            auto& [rect, flag, area] = objects[i];
            if (active)
                area = areas[i];
            const int64_t faceTerm =
                faces >= static_cast<int64_t>(n) / 2 ? plainFaceTerm(*burst.params[i].faces) : 0;
            scores.push_back(plainScore(whole[i], region[i], faceTerm + area,
                                        active ? plainPenalty(rect, frameWidth, frameHeight) : 0));
        }
        result.best = firstBest(scores, 0, static_cast<int64_t>(n));
        const Column kept = plainKept(scores, result.count);
        std::copy(kept.begin(), kept.end(), result.indices);
        return ERR_NONE;
    }
};
