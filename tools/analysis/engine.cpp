#include "analysis/engine.h"

#include "base/error.h"

#include <algorithm>
#include <cmath>

int64_t measurePart(LumaImage& luma, __tag_rect part) {
    __tag_KIRO_OFFSCREEN image = luma.view();
    float sharpness = 0;
    checkResult(imgEvaluateSharpness(nullptr, &image, &sharpness, &part), "imgEvaluateSharpness");
    return static_cast<int64_t>(std::fma(sharpness, 10000.0f, 0.5f));
}

Engine::Engine() { checkResult(DRAV_Init(nullptr, &engine_), "DRAV_Init"); }

_tag_DRAV_BLURRESULT Engine::measure(const __tag_KIRO_OFFSCREEN& image) {
    _tag_DRAV_DATA result = {};
    checkResult(DRAV_DetectBlur(engine_, &image, &result), "DRAV_DetectBlur");
    return *static_cast<const _tag_DRAV_BLURRESULT*>(result.data);
}

void Engine::setMovingObjects(MovingObjects& objects, int32_t width, int32_t height) {
    std::vector<_tag_DRAV_MOVINGOBJ> entries;
    for (MovingObject& object : objects.ofFrames)
        entries.push_back({object.rect, object.found ? object.mask.data() : nullptr});
    const _tag_DRAV_MOVINGINFO info = {.width = width,
                                       .height = height,
                                       .pitch = width,
                                       .objects = entries.data(),
                                       .count = static_cast<int32_t>(entries.size())};
    checkResult(SetMovingObjectInfo(engine_, &info), "SetMovingObjectInfo");
}

Ranking Engine::rank(std::span<_tag_DRAV_BLURRESULT> blurs, std::span<unsigned char> record,
                     int64_t keep, std::span<LumaImage> lumas) {
    // With supplied scores only moving objects are measured. Without any, the frames are just sizes
    // and formats, without planes.
    std::vector<__tag_KIRO_OFFSCREEN> frames;
    std::vector<_tag_DRAV_DATA> results;
    for (_tag_DRAV_BLURRESULT& blur : blurs) {
        frames.push_back({.format = blur.format,
                          .width = blur.width,
                          .height = blur.height,
                          .planes = {},
                          .pitches = {}});
        if (!lumas.empty())
            frames.back() = lumas[frames.size() - 1].view();
        results.push_back({.data = &blur, .size = sizeof blur});
    }
    const auto n = static_cast<int64_t>(blurs.size());
    Ranking ranking = {std::vector<int64_t>(static_cast<size_t>(std::min(keep, n))), 0};
    const _tag_DRAV_DATA data = {.data = record.data(), .size = std::ssize(record)};
    _tag_DRAV_RESULT result = {.count = keep, .indices = ranking.chosen.data(), .best = 0};
    checkResult(
        DRAV_KelvaneWithPreProcessBlur(engine_, frames.data(), &data, results.data(), n, &result),
        "DRAV_KelvaneWithPreProcessBlur");
    ranking.best = result.best;
    return ranking;
}
