#pragma once

#include "kelvane/kelvane.h"

#include <cstdint>
#include <span>
#include <vector>

struct Ranking {
    std::vector<int64_t> chosen; // ascending
    int64_t best;
};

// The library's engine, on the process heap.
class Engine {
public:
    Engine();
    ~Engine() { DRAV_Uninit(&engine_); }
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    _tag_DRAV_BLURRESULT measure(const __tag_KIRO_OFFSCREEN& image);

    // Ranks frames that were measured before; `record` is a pre-processing record.
    Ranking rank(std::span<_tag_DRAV_BLURRESULT> blurs, std::span<unsigned char> record,
                 int64_t keep);

private:
    _tag_DRAV_ENGINE* engine_ = nullptr;
};
