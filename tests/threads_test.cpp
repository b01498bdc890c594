// Two threads with an engine, a context and an arena each, and the version record that they share,
// disturb each other in nothing. Meant for ThreadSanitizer; without it only results are compared.
#include "kelvane/kelvane.h"

#include <array>
#include <cstdio>
#include <thread>
#include <vector>

namespace {

constexpr int32_t side = 128;
using Outcome = std::array<int64_t, 8>;

// One best shot, one alignment and one changed region, filters and a resize among them.
Outcome work(void* memory, const std::vector<unsigned char>& pixels) {
    auto* const luma = const_cast<unsigned char*>(pixels.data());
    const auto frameAt = [&](unsigned char* start) -> __tag_KIRO_OFFSCREEN {
        return {0x601, side, side, {start, luma, luma}, {side + 3, side, side}};
    };
    __tag_KIRO_OFFSCREEN frames[2] = {frameAt(luma), frameAt(luma + 260)};
    _tag_DRAV_FACEINFO noFaces = {};
    _tag_DRAV_PARAM params[2] = {{nullptr, &noFaces}, {nullptr, &noFaces}};
    int64_t kept[2] = {};
    _tag_DRAV_RESULT result = {2, kept, -1};
    _tag_DRAV_ENGINE* engine = nullptr;
    void* roi = nullptr;
    _tag_DRAV_ALIGNMENT alignment = {};
    _tag_ROI_INFO changed = {};
    std::vector<unsigned char> small(64 * 64 * 3);
    long code = DRAV_Init(memory, &engine);
    code |= DRAV_Kelvane(engine, frames, params, 2, &result);
    code |= roiInit(memory, side, side, 0x601, &roi);
    code |= roiCalculate(roi, &frames[0], &frames[1], &alignment, &changed);
    code |= ImageResize_BL_ToBGR24(memory, &frames[0], small.data(), 64, 64, 192);
    code |= sbrOpen(memory, small.data(), 64, 64, 192, 3, small.data(), 2);
    code |= GB_GaussianBlurA(memory, small.data(), 64, 64, 192, 0x201, small.data(), 5);
    roiUninit(&roi);
    DRAV_Uninit(&engine);
    code |= Vantix_GetVersion()->numbers[3] != 4;
    return {code,       result.best, changed.rect.left,          changed.rect.bottom,
            changed.dx, changed.dy,  GetMaxAllocMemSize(memory), small[999]};
}

} // namespace

int main() {
    std::vector<unsigned char> pixels((side + 3) * (side + 2));
    for (size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = static_cast<unsigned char>(i % (side + 3) / 16 * 89 + i / (side + 3) / 16 * 57);
    Outcome outcomes[2][50];
    const auto run = [&](Outcome* results) {
        std::vector<unsigned char> pool(1 << 20);
        void* const memory = VantMemMgrCreate(pool.data(), 1 << 20);
        for (int i = 0; i < 50; ++i)
            results[i] = work(memory, pixels);
    };
    std::thread first(run, outcomes[0]), second(run, outcomes[1]);
    first.join();
    second.join();
    int different = 0;
    for (const auto& results : outcomes)
        for (const Outcome& outcome : results)
            different += outcome != outcomes[0][0] || outcome[0] != ERR_NONE;
    std::printf("2 threads, 50 rounds each, %d different\n", different);
    return different != 0;
}
