// The operations of web/test/speed.js, natively, with vectors of the processor's baseline: what
// WebAssembly has. Prints the name and the milliseconds of each, the shortest of a few runs.
#include "kelvane/kelvane.h"
#include "support/vector_hook.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

namespace {

constexpr int32_t width = 4000, height = 3000;
constexpr int runs = 7;

std::vector<unsigned char> texture(uint32_t shift) {
    std::vector<unsigned char> luma;
    luma.reserve(size_t{width} * height);
    for (uint32_t v = shift; v < height + shift; ++v)
        for (uint32_t u = shift; u < width + shift; ++u)
            luma.push_back(static_cast<unsigned char>((u * u >> 6) ^ (v * v >> 5) ^ (u * v >> 9)));
    return luma;
}

template <typename Run>
void measure(const char* name, Run run) {
    double least = 1e9;
    for (int i = 0; i < runs; ++i) {
        const auto start = std::chrono::steady_clock::now();
        const bool failed = run() != ERR_NONE;
        const std::chrono::duration<double, std::milli> taken =
            std::chrono::steady_clock::now() - start;
        least = failed ? -1.0 : std::min(least, taken.count());
    }
    std::printf("%s %.2f\n", name, least);
}

long align(__tag_KIRO_OFFSCREEN& first, __tag_KIRO_OFFSCREEN& second) {
    void* context = nullptr;
    _tag_ZEP_NS_INPUTINFO input = {2, {&first, &second}};
    long pairs[2][2], *results[] = {pairs[0], pairs[1]};
    Alignment_Init(nullptr, &context);
    const long code = Image_Alignment_Video(context, &input, 0, results, 1);
    Alignment_Uninit(&context);
    return code;
}

long findChanges(__tag_KIRO_OFFSCREEN& first, __tag_KIRO_OFFSCREEN& second) {
    void* context = nullptr;
    _tag_DRAV_ALIGNMENT alignment = {};
    _tag_ROI_INFO found = {};
    roiInit(nullptr, width, height, first.format, &context);
    const long code = roiCalculate(context, &first, &second, &alignment, &found);
    roiUninit(&context);
    return code;
}

} // namespace

int main() {
    widestVectors = Vectors::Baseline;
    std::vector<unsigned char> luma[] = {texture(0), texture(12)};
    std::vector<unsigned char> small(size_t{width / 4} * (height / 4));
    const auto view = [](unsigned char* bytes, int32_t w, int32_t h) {
        return __tag_KIRO_OFFSCREEN{KELVANE_FORMAT_YUV420, w, h, {bytes}, {w}};
    };
    __tag_KIRO_OFFSCREEN first = view(luma[0].data(), width, height);
    __tag_KIRO_OFFSCREEN second = view(luma[1].data(), width, height);
    __tag_KIRO_OFFSCREEN resized = view(small.data(), width / 4, height / 4);
    _tag_DRAV_ENGINE* engine = nullptr;
    _tag_DRAV_DATA result = {};
    DRAV_Init(nullptr, &engine);
    measure("blur", [&] { return DRAV_DetectBlur(engine, &first, &result); });
    measure("align", [&] { return align(first, second); });
    measure("changes", [&] { return findChanges(first, second); });
    measure("resize", [&] { return imgResize(nullptr, &first, &resized); });
    DRAV_Uninit(&engine);
}
