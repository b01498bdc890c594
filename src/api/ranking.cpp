#include "api/ranking.h"

#include "api/engine.h"
#include "api/moving_objects.h"
#include "api/ranking_check.h"
#include "api/score.h"
#include "api/selection.h"
#include "platform/allocation.h"

#include <algorithm>

namespace kelvane {

namespace {

bool createScoreTable(_tag_DRAV_ENGINE* engine, int64_t n) {
    auto* const block = static_cast<int64_t*>(
        allocZeroedArray(engine->memHandle, n, scoreColumns * int64_t{sizeof(int64_t)}));
    if (block == nullptr)
        return false;
    engine->scoreTable = {
        .wholeSharpness = block,
        .regionSharpness = block + n,
        .faceCount = block + 2 * n,
        .codeCount = block + 3 * n,
        .openEyeCount = block + 4 * n,
        .closedEyeCount = block + 5 * n,
        .smileCount = block + 6 * n,
        .broadSmileCount = block + 7 * n,
        .finalScore = block + 8 * n,
    };
    return true;
}

void releaseScoreTable(_tag_DRAV_ENGINE* engine) {
    VantMemFree(engine->memHandle, engine->scoreTable.wholeSharpness);
    engine->scoreTable = {};
}

// Whether the burst holds enough faces for them to count: at least half as many as frames.
// Negative counts take part in the sum, which is too wide to overflow.
bool hasEnoughFaces(const _tag_DRAV_PARAM* params, int64_t n) {
    __extension__ __int128 faces = 0;
    for (int64_t i = 0; i < n; ++i)
        faces += params[i].faces->count;
    return faces >= n / 2;
}

void takeSuppliedSharpness(_tag_DRAV_ENGINE* engine, const _tag_DRAV_DATA* supplied, int64_t n) {
    engine->suppliedSharpness = supplied != nullptr;
    for (int64_t i = 0; supplied != nullptr && i < n; ++i) {
        _tag_DRAV_BLURRESULT blur;
        VantMemCpy(&blur, supplied[i].data, sizeof blur);
        engine->scoreTable.wholeSharpness[i] = blur.score;
    }
}

long rankWithTable(_tag_DRAV_ENGINE* engine, const __tag_KIRO_OFFSCREEN* frames,
                   const _tag_DRAV_PARAM* params, int64_t n, _tag_DRAV_RESULT* result) {
    engine->frameCounter = 0;
    for (int64_t i = 0; i < n; ++i) {
        const long code = scoreFrame(engine, &frames[i], params[i].faces);
        if (code != ERR_NONE)
            return code;
    }
    normalizeScores(engine->scoreTable.wholeSharpness, n);
    normalizeScores(engine->scoreTable.regionSharpness, n);
    if (engine->movingActive != 0)
        normalizeMovingAreas(engine, n);
    formFinalScores(engine, n);
    return selectFrames(engine->memHandle, engine->scoreTable.finalScore, n, result);
}

} // namespace

long rankFrames(_tag_DRAV_ENGINE* engine, const __tag_KIRO_OFFSCREEN* frames,
                const _tag_DRAV_PARAM* params, const _tag_DRAV_DATA* supplied, int64_t n,
                _tag_DRAV_RESULT* result) {
    if (!areRankingArgumentsValid(engine, frames, params, n, result))
        return ERR_INVALID_PARAM;
    result->count = std::min(result->count, n);
    engine->frameWidth = frames[0].width;
    engine->frameHeight = frames[0].height;
    long code = prepareMovingObjects(engine, n);
    if (code != ERR_NONE)
        return code;
    if (!createScoreTable(engine, n))
        return ERR_NO_MEMORY;
    engine->faceMode = hasEnoughFaces(params, n);
    takeSuppliedSharpness(engine, supplied, n);
    code = rankWithTable(engine, frames, params, n, result);
    releaseScoreTable(engine);
    return code;
}

} // namespace kelvane
