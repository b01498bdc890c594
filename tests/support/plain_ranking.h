// The terms of a score and the choice between scores, as their rules read.
#pragma once

#include "kelvane/kelvane.h"

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <vector>

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
