#include "api/score.h"

#include "api/engine.h"
#include "platform/conversion.h"

#include <algorithm>

namespace kelvane {

namespace {

// Wide enough for any sum of products of 64-bit counts with the weights below, so that the score
// of a supplied value or a face count of any size is defined; the sum then saturates at 64 bits.
__extension__ typedef __int128 WideScore;

int64_t saturate(WideScore value) {
    if (value > INT64_MAX)
        return INT64_MAX;
    return value < INT64_MIN ? INT64_MIN : static_cast<int64_t>(value);
}

int64_t countBetween(const uint64_t* values, int64_t n, uint64_t lowest, uint64_t highest) {
    return std::count_if(values, values + n,
                         [=](uint64_t value) { return value >= lowest && value <= highest; });
}

int64_t countEqual(const uint64_t* values, int64_t n, uint64_t wanted) {
    return countBetween(values, n, wanted, wanted);
}

void countFaces(ScoreTable& table, int64_t frame, const _tag_DRAV_FACEINFO& faces) {
    const int64_t count = faces.count;
    table.faceCount[frame] = count;
    table.codeCount[frame] = countBetween(faces.codes, count, 13, 16);
    if (faces.eyes != nullptr) {
        table.openEyeCount[frame] = countEqual(faces.eyes, count, 1);
        table.closedEyeCount[frame] = countEqual(faces.eyes, count, 2);
    }
    if (faces.smiles != nullptr) {
        table.smileCount[frame] = countEqual(faces.smiles, count, 2);
        table.broadSmileCount[frame] = countEqual(faces.smiles, count, 3);
    }
}

long measure(void* memHandle, const __tag_KIRO_OFFSCREEN& frame, __tag_rect* region,
             int64_t* score) {
    __tag_KIRO_OFFSCREEN image = frame;
    float sharpness = 0.0f;
    const long code = imgEvaluateSharpness(memHandle, &image, &sharpness, region);
    if (code == ERR_NONE)
        *score = roundedProduct<int64_t>(sharpness, sharpnessScale);
    return code;
}

bool isEmpty(const __tag_rect& rect) { return rect.left >= rect.right || rect.top >= rect.bottom; }

// Measures the frame inside its moving object's rectangle. Information in force was converted to
// this burst's pixels. A flag that outlived its information belongs to rectangles of other frames:
// they are clipped to this frame, and without anything left there is no region to measure.
long measureMovingObject(_tag_DRAV_ENGINE* engine, int64_t i, const __tag_KIRO_OFFSCREEN& frame) {
    __tag_rect region = engine->movingRects[i];
    if (engine->movingActive == 0) {
        region.left = std::max(region.left, 0);
        region.top = std::max(region.top, 0);
        region.right = std::min(region.right, frame.width);
        region.bottom = std::min(region.bottom, frame.height);
        if (isEmpty(region))
            return ERR_NONE;
    }
    return measure(engine->memHandle, frame, &region, &engine->scoreTable.regionSharpness[i]);
}

// How far an object reaches into a margin, as a share of it. Frames under 10 pixels have no margin
// to reach into.
float marginShare(int64_t distance, int64_t margin) {
    if (margin == 0 || distance >= margin)
        return 0.0f;
    return static_cast<float>(margin - distance) / static_cast<float>(margin);
}

int64_t borderMargin(int64_t side) { return truncateTo<int64_t>(static_cast<float>(side) * 0.1f); }

float borderPenalty(const _tag_DRAV_ENGINE* engine, const __tag_rect& rect) {
    const int64_t marginX = borderMargin(engine->frameWidth);
    const int64_t marginY = borderMargin(engine->frameHeight);
    float penalty = 0.0f;
    penalty += marginShare(rect.left, marginX);
    penalty += marginShare(engine->frameWidth - rect.right, marginX);
    penalty += marginShare(rect.top, marginY);
    penalty += marginShare(engine->frameHeight - rect.bottom, marginY);
    return penalty * 0.25f * 10000.0f;
}

WideScore faceTerm(const ScoreTable& table, int64_t i) {
    return WideScore{600} * table.openEyeCount[i] - WideScore{99900} * table.closedEyeCount[i] +
           WideScore{400} * table.faceCount[i] + WideScore{500} * table.smileCount[i] +
           WideScore{1000} * table.broadSmileCount[i] - WideScore{300} * table.codeCount[i];
}

int64_t weighted(float weight, int64_t sharpness) {
    return truncateTo<int64_t>(weight * static_cast<float>(sharpness));
}

int64_t finalScore(const _tag_DRAV_ENGINE* engine, int64_t i) {
    const ScoreTable& table = engine->scoreTable;
    WideScore sum = weighted(0.8f, table.wholeSharpness[i]);
    if (engine->faceMode != 0)
        sum += faceTerm(table, i);
    sum += weighted(1.2f, table.regionSharpness[i]);
    sum += 10000;
    sum += engine->movingAreas[i];
    const float penalty =
        engine->movingActive != 0 ? borderPenalty(engine, engine->movingRects[i]) : 0.0f;
    return truncateTo<int64_t>(static_cast<float>(saturate(sum)) - penalty);
}

} // namespace

long scoreFrame(_tag_DRAV_ENGINE* engine, const __tag_KIRO_OFFSCREEN* frame,
                const _tag_DRAV_FACEINFO* faces) {
    ScoreTable& table = engine->scoreTable;
    const int64_t i = engine->frameCounter;
    if (engine->movingFlags[i] != 0) {
        const long code = measureMovingObject(engine, i, *frame);
        if (code != ERR_NONE)
            return code;
    }
    if (engine->suppliedSharpness == 0) {
        const long code = measure(engine->memHandle, *frame, nullptr, &table.wholeSharpness[i]);
        if (code != ERR_NONE)
            return code;
    }
    if (table.regionSharpness[i] == 0)
        table.regionSharpness[i] = table.wholeSharpness[i];
    if (engine->faceMode != 0 && faces->count > 0)
        countFaces(table, i, *faces);
    ++engine->frameCounter;
    return ERR_NONE;
}

void normalizeScores(int64_t* column, int64_t n) {
    const int64_t largest = *std::max_element(column, column + n);
    for (int64_t i = 0; i < n; ++i) {
        if (largest < 0) {
            column[i] = 0;
            continue;
        }
        const double share = static_cast<double>(static_cast<float>(column[i])) /
                             (static_cast<double>(largest) + 0.0001);
        column[i] = truncateTo<int64_t>(share * 10000.0);
    }
}

void formFinalScores(_tag_DRAV_ENGINE* engine, int64_t n) {
    for (int64_t i = 0; i < n; ++i)
        engine->scoreTable.finalScore[i] = finalScore(engine, i);
}

} // namespace kelvane
