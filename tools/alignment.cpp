#include "alignment.h"

#include "library.h"

#include <algorithm>

Aligner::Aligner() { checkResult(Alignment_Init(nullptr, &context_), "Alignment_Init"); }

Aligner::~Aligner() { Alignment_Uninit(&context_); }

Shift Aligner::find(LumaImage& first, LumaImage& second) {
    __tag_KIRO_OFFSCREEN views[] = {first.view(), second.view()};
    _tag_ZEP_NS_INPUTINFO input = {.count = 2, .images = {&views[0], &views[1]}};
    long shifts[2][2] = {};
    long* results[] = {shifts[0], shifts[1]};
    checkResult(Image_Alignment_Video(context_, &input, 0, results, 1), "Image_Alignment_Video");
    return {shifts[1][0], shifts[1][1]};
}

int64_t searchReach(int32_t width, int32_t height) {
    // One step to either side at every level, the coarsest of which has 64 pixels or less; an
    // estimate doubles from one level to the next.
    int64_t reach = 1;
    for (int32_t side = std::max(width, height); side > 64; side >>= 1)
        reach = 2 * reach + 1;
    return reach;
}
