#include "engine.h"

#include <algorithm>
#include <new>
#include <stdexcept>
#include <string>

namespace {

void check(long code, const char* function) {
    if (code == ERR_NO_MEMORY)
        throw std::bad_alloc();
    if (code != ERR_NONE)
        throw std::logic_error(std::string(function) + " returned " + std::to_string(code));
}

} // namespace

Engine::Engine() { check(DRAV_Init(nullptr, &engine_), "DRAV_Init"); }

_tag_DRAV_BLURRESULT Engine::measure(const __tag_KIRO_OFFSCREEN& image) {
    _tag_DRAV_DATA result = {};
    check(DRAV_DetectBlur(engine_, &image, &result), "DRAV_DetectBlur");
    return *static_cast<const _tag_DRAV_BLURRESULT*>(result.data);
}

Ranking Engine::rank(std::span<_tag_DRAV_BLURRESULT> blurs, std::span<unsigned char> record,
                     int64_t keep) {
    // With scores supplied no pixel is read, so the frames are sizes and formats without planes.
    std::vector<__tag_KIRO_OFFSCREEN> frames;
    std::vector<_tag_DRAV_DATA> results;
    for (_tag_DRAV_BLURRESULT& blur : blurs) {
        frames.push_back({.format = blur.format,
                          .width = blur.width,
                          .height = blur.height,
                          .planes = {},
                          .pitches = {}});
        results.push_back({.data = &blur, .size = sizeof blur});
    }
    const auto n = static_cast<int64_t>(blurs.size());
    Ranking ranking = {std::vector<int64_t>(static_cast<size_t>(std::min(keep, n))), 0};
    const _tag_DRAV_DATA data = {.data = record.data(), .size = std::ssize(record)};
    _tag_DRAV_RESULT result = {.count = keep, .indices = ranking.chosen.data(), .best = 0};
    check(DRAV_KelvaneWithPreProcessBlur(engine_, frames.data(), &data, results.data(), n, &result),
          "DRAV_KelvaneWithPreProcessBlur");
    ranking.best = result.best;
    return ranking;
}
