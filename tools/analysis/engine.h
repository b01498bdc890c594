#pragma once

#include "base/burst.h"
#include "kelvane/kelvane.h"
#include "media/luma.h"

#include <cstdint>
#include <span>
#include <vector>

// The blur score of a part of a picture, as the ranking measures a moving object.
int64_t measurePart(LumaImage& luma, __tag_rect part);

// The library's engine, on the process heap.
class Engine {
public:
    Engine();
    ~Engine() { DRAV_Uninit(&engine_); }
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    _tag_DRAV_BLURRESULT measure(const __tag_KIRO_OFFSCREEN& image);

    // For the next ranking, which then needs the frames' luma.
    void setMovingObjects(MovingObjects& objects, int32_t width, int32_t height);

    // Ranks frames that were measured before; `record` is a pre-processing record. `lumas` holds a
    // picture for each frame, or none when no moving objects were set.
    Ranking rank(std::span<_tag_DRAV_BLURRESULT> blurs, std::span<unsigned char> record,
                 int64_t keep, std::span<LumaImage> lumas = {});

private:
    _tag_DRAV_ENGINE* engine_ = nullptr;
};
