#include "api/selection.h"

#include "platform/allocation.h"

#include <algorithm>
#include <numeric>

namespace kelvane {

namespace {

// The first position of the largest score in [begin, end).
int64_t bestOf(const int64_t* scores, int64_t begin, int64_t end) {
    return std::max_element(scores + begin, scores + end) - scores;
}

// The largest group of neighbours that still leaves a group for each kept frame; 1 for none.
int64_t groupSize(int64_t kept, int64_t n) {
    for (int64_t size = 4; size > 1; --size) {
        if (kept <= (n + size - 1) / size)
            return size;
    }
    return 1;
}

void selectByGroup(const int64_t* scores, int64_t n, int64_t group, _tag_DRAV_RESULT* result) {
    const int64_t last = result->count - 1;
    for (int64_t k = 0; k < last; ++k)
        result->indices[k] = bestOf(scores, k * group, (k + 1) * group);
    result->indices[last] = bestOf(scores, last * group, n);
}

// Selection sort of the leading positions. What a chosen score displaces moves to where the chosen
// one stood, and so decides which of several equal scores comes first.
long selectByScore(void* memHandle, const int64_t* scores, int64_t n, _tag_DRAV_RESULT* result) {
    auto* const ordered =
        static_cast<int64_t*>(allocZeroedArray(memHandle, n, 3 * sizeof(int64_t)));
    if (ordered == nullptr)
        return ERR_NO_MEMORY;
    int64_t* const frames = ordered + n;
    int64_t* const chosen = frames + n;
    std::copy_n(scores, n, ordered);
    std::iota(frames, frames + n, int64_t{0});

    for (int64_t p = 0; p < result->count; ++p) {
        const int64_t q = bestOf(ordered, p, n);
        chosen[frames[q]] = 1;
        ordered[q] = ordered[p];
        frames[q] = frames[p];
    }
    int64_t* next = result->indices;
    for (int64_t i = 0; i < n; ++i) {
        if (chosen[i] != 0)
            *next++ = i;
    }
    VantMemFree(memHandle, ordered);
    return ERR_NONE;
}

} // namespace

long selectFrames(void* memHandle, const int64_t* scores, int64_t n, _tag_DRAV_RESULT* result) {
    result->best = bestOf(scores, 0, n);
    if (result->count <= 1) {
        result->indices[0] = result->best;
        return ERR_NONE;
    }
    const int64_t group = groupSize(result->count, n);
    if (group == 1)
        return selectByScore(memHandle, scores, n, result);
    selectByGroup(scores, n, group, result);
    return ERR_NONE;
}

} // namespace kelvane
