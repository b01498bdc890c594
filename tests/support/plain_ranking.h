// The ranking of a burst as its rules read, kept apart from the library's records.
#pragma once

#include "support/plain_sharpness.h"

#include <cmath>

inline bool isInside(const __tag_rect& r, int64_t width, int64_t height) {
    return 0 <= r.left && r.left < r.right && r.right <= width && 0 <= r.top && r.top < r.bottom &&
           r.bottom <= height;
}

inline void plainNormalize(std::vector<int64_t>& column) {
    const int64_t largest = *std::max_element(column.begin(), column.end());
    for (int64_t& value : column) {
        const double rounded = static_cast<float>(value);
        const double scaled = rounded / (static_cast<double>(largest) + 0.0001) * 10000.0;
        value = largest < 0 ? 0 : static_cast<int64_t>(scaled);
    }
}

// With `faces` null the face terms take no part.
inline int64_t plainFaceTerm(const _tag_DRAV_FACEINFO* faces) {
    int64_t term = 0;
    for (int64_t j = 0; faces != nullptr && j < faces->count; ++j) {
        term += 400 - (faces->codes[j] >= 13 && faces->codes[j] <= 16 ? 300 : 0);
        if (faces->eyes != nullptr)
            term += faces->eyes[j] == 1 ? 600 : faces->eyes[j] == 2 ? -99900 : 0;
        if (faces->smiles != nullptr)
            term += faces->smiles[j] == 2 ? 500 : faces->smiles[j] == 3 ? 1000 : 0;
    }
    return term;
}

inline float plainPenalty(const __tag_rect& rect, int64_t width, int64_t height) {
    const auto mx = static_cast<int64_t>(static_cast<float>(width) * 0.1f);
    const auto my = static_cast<int64_t>(static_cast<float>(height) * 0.1f);
    const auto share = [](int64_t part, int64_t margin) {
        return margin == 0 ? 0.0f : static_cast<float>(part) / static_cast<float>(margin);
    };
    float p = 0.0f;
    if (rect.left < mx)
        p += share(mx - rect.left, mx);
    if (rect.right > width - mx)
        p += share(mx - (width - rect.right), mx);
    if (rect.top < my)
        p += share(my - rect.top, my);
    if (rect.bottom > height - my)
        p += share(my - (height - rect.bottom), my);
    return p * 0.25f * 10000.0f;
}

inline int64_t plainFinalScore(int64_t whole, int64_t region, int64_t faceTerm, int64_t area,
                               float penalty) {
    const int64_t sum = static_cast<int64_t>(0.8f * static_cast<float>(whole)) + faceTerm +
                        static_cast<int64_t>(1.2f * static_cast<float>(region)) + 10000 + area;
    return static_cast<int64_t>(static_cast<float>(sum) - penalty);
}

struct PlainResult {
    int64_t count = 0;
    int64_t best = -1;
    std::vector<int64_t> indices;
};

inline void plainSelect(const std::vector<int64_t>& scores, PlainResult& result) {
    const auto n = static_cast<int64_t>(scores.size());
    const int64_t kept = result.count;
    const auto isBetter = [&](int64_t a, int64_t b) {
        return scores[static_cast<size_t>(a)] > scores[static_cast<size_t>(b)];
    };
    const auto bestOf = [&](int64_t begin, int64_t end) {
        int64_t best = begin;
        for (int64_t i = begin; i < end; ++i)
            best = isBetter(i, best) ? i : best;
        return best;
    };
    result.best = bestOf(0, n);
    result.indices.clear();
    if (kept == 1) {
        result.indices = {result.best};
        return;
    }
    for (const int64_t group : {4, 3, 2}) {
        if (kept > n / group + (n % group != 0))
            continue;
        for (int64_t k = 0; k < kept; ++k)
            result.indices.push_back(bestOf(k * group, k + 1 < kept ? (k + 1) * group : n));
        return;
    }
    std::vector<int64_t> order;
    for (int64_t i = 0; i < n; ++i)
        order.push_back(i);
    for (auto p = order.begin(); p < order.begin() + kept; ++p) {
        auto q = p;
        for (auto candidate = p; candidate < order.end(); ++candidate)
            q = isBetter(*candidate, *q) ? candidate : q;
        std::swap(*p, *q);
    }
    result.indices.assign(order.begin(), order.begin() + kept);
    std::sort(result.indices.begin(), result.indices.end());
}

// What an engine remembers between calls, and what its calls make of it.
struct PlainEngine {
    std::vector<__tag_rect> rects;
    std::vector<int64_t> flags;
    std::vector<int64_t> areas;
    bool active = false;
    int64_t count = 0;
    int64_t width = 0;

    long reserve(int64_t wanted) {
        if (rects.empty() && wanted <= 0)
            return ERR_NO_MEMORY;
        const size_t size =
            std::max(rects.size(), static_cast<size_t>(std::max(wanted, int64_t{0})));
        rects.resize(size);
        flags.resize(size);
        areas.resize(size);
        return ERR_NONE;
    }

    long setMovingObjects(const _tag_DRAV_MOVINGINFO& info) {
        int usable = 0;
        for (int j = 0; j < info.count; ++j) {
            const __tag_rect& r = info.objects[j].rect;
            usable += info.objects[j].mask && (r.left || r.top || r.right || r.bottom);
        }
        const bool becomesActive = usable > info.count / 2;
        if (becomesActive && info.count > 0 &&
            (info.width <= 0 || info.height <= 0 || info.pitch < info.width))
            return ERR_INVALID_PARAM;
        count = info.count;
        if (const long code = reserve(count); code != ERR_NONE)
            return code;
        active = becomesActive;
        if (!active)
            return ERR_NONE;
        width = info.width;
        for (size_t j = 0; static_cast<int64_t>(j) < info.count; ++j) {
            const _tag_DRAV_MOVINGOBJ& object = info.objects[j];
            const __tag_rect& r = object.rect;
            const auto extent = [](int64_t low, int64_t high) {
                return static_cast<int32_t>(high - low); // wraps at 32 bits
            };
            flags[j] = object.mask && extent(r.left, r.right) > 10 && extent(r.top, r.bottom) > 10;
            if (flags[j] == 0)
                continue;
            rects[j] = r;
            areas[j] = 0;
            for (int64_t y = 0; y < info.height; ++y)
                for (int64_t x = 0; x < info.width; ++x)
                    areas[j] += y >= r.top && y < r.bottom && x >= r.left && x < r.right &&
                                object.mask[y * info.pitch + x] != 0;
        }
        return ERR_NONE;
    }

    // For arguments that are accepted. `supplied` is empty, or replaces the frames' sharpness.
    long rank(const std::vector<__tag_KIRO_OFFSCREEN>& frames,
              const std::vector<_tag_DRAV_PARAM>& params, const std::vector<int32_t>& supplied,
              PlainResult& result) {
        const size_t n = frames.size();
        const int32_t frameWidth = frames[0].width;
        const int32_t frameHeight = frames[0].height;
        result.count = std::min(result.count, static_cast<int64_t>(n));
        if (active && count != static_cast<int64_t>(n))
            return ERR_INVALID_PARAM;
        if (const long code = reserve(static_cast<int64_t>(n)); code != ERR_NONE)
            return code;
        for (size_t i = 0; active && i < n; ++i) {
            if (flags[i] != 0)
                convert(rects[i], frameWidth, frameHeight);
        }
        int64_t faces = 0;
        for (const _tag_DRAV_PARAM& param : params)
            faces += param.faces->count;
        const bool faceMode = faces >= static_cast<int64_t>(n) / 2;

        std::vector<int64_t> whole(supplied.begin(), supplied.end());
        std::vector<int64_t> region(n);
        for (size_t i = 0; i < n; ++i) {
            __tag_rect rect = rects[i];
            if (!active)
                rect = {std::max(rect.left, 0), std::max(rect.top, 0),
                        std::min(rect.right, frameWidth), std::min(rect.bottom, frameHeight)};
            const bool inside = isInside(rect, frameWidth, frameHeight);
            if (flags[i] != 0 && active && !inside)
                return ERR_INVALID_PARAM;
            if (flags[i] != 0 && inside)
                region[i] = scaled(plainSharpness(frames[i], &rect));
            if (supplied.empty())
                whole.push_back(scaled(plainSharpness(frames[i], nullptr)));
            region[i] = region[i] == 0 ? whole[i] : region[i];
        }
        plainNormalize(whole);
        plainNormalize(region);
        if (active) {
            std::vector<int64_t> ofBurst(areas.begin(), areas.begin() + count);
            plainNormalize(ofBurst);
            for (size_t i = 0; i < n; ++i)
                areas[i] = ofBurst[i] > 8000 ? 10000 : ofBurst[i] < 2000 ? 0 : ofBurst[i];
        }
        std::vector<int64_t> scores;
        for (size_t i = 0; i < n; ++i)
            scores.push_back(plainFinalScore(
                whole[i], region[i], plainFaceTerm(faceMode ? params[i].faces : nullptr), areas[i],
                active ? plainPenalty(rects[i], frameWidth, frameHeight) : 0.0f));
        plainSelect(scores, result);
        return ERR_NONE;
    }

    static int64_t scaled(float sharpness) {
        return static_cast<int64_t>(std::fma(sharpness, 10000.0f, 0.5f));
    }
    void convert(__tag_rect& rect, int32_t frameWidth, int32_t frameHeight) const {
        const float scale = static_cast<float>(frameWidth) / static_cast<float>(width);
        for (int32_t* c : {&rect.left, &rect.top, &rect.right, &rect.bottom}) {
            const double value = std::fma(static_cast<float>(*c), scale, 0.5f);
            *c = static_cast<int32_t>(std::clamp<double>(value, INT32_MIN, INT32_MAX));
        }
        rect.left = std::max(rect.left, 0);
        rect.top = std::max(rect.top, 0);
        rect.right = std::min(rect.right, frameWidth);
        rect.bottom = std::min(rect.bottom, frameHeight);
    }
};
