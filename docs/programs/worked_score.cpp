// Prints the worked example of docs/scoring.md: four frames, each term of their scores, and what
// the library chooses. Fails when the terms lead to another choice.
#include "support/plain_ranking.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>

namespace {

constexpr int32_t width = 320;
constexpr int32_t height = 240;

struct Example {
    int background; // contrast of the stripes
    int object;     // contrast inside the object
    __tag_rect rect;
    uint64_t eyes;
    uint64_t smile;
};

// The second frame is the sharpest, but eyes are closed; in the third the object leaves the frame.
const std::vector<Example> examples = {
    {40, 40, {100, 80, 180, 160}, 1, 2},
    {50, 40, {120, 80, 200, 160}, 2, 2},
    {46, 50, {236, 80, 316, 160}, 1, 1},
    {44, 50, {150, 80, 230, 160}, 1, 3},
};

struct Drawn {
    std::vector<unsigned char> luma = std::vector<unsigned char>(width * height);
    std::vector<unsigned char> mask = std::vector<unsigned char>(width * height);
    __tag_KIRO_OFFSCREEN image = {KELVANE_FORMAT_YUV420, width, height, {luma.data()}, {width}};

    explicit Drawn(const Example& example) {
        const __tag_rect& r = example.rect;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const bool inside = x >= r.left && x < r.right && y >= r.top && y < r.bottom;
                const int contrast = inside ? example.object : example.background;
                const auto i = static_cast<size_t>(y * width + x);
                luma[i] = static_cast<unsigned char>(100 + (x / 8 % 2 != 0 ? contrast : 0));
                mask[i] = inside && (x + y) % 3 != 0 ? 1 : 0;
            }
        }
    }
};

int64_t sharpness(Drawn& frame, const __tag_rect* rect) {
    float value = 0;
    __tag_rect part = rect != nullptr ? *rect : __tag_rect{};
    imgEvaluateSharpness(nullptr, &frame.image, &value, rect != nullptr ? &part : nullptr);
    return static_cast<int64_t>(std::fma(value, 10000.0f, 0.5f));
}

void printRow(const char* name, const std::function<int64_t(size_t)>& value) {
    std::printf("| %s |", name);
    for (size_t i = 0; i < examples.size(); ++i)
        std::printf(" %ld |", static_cast<long>(value(i)));
    std::puts("");
}

int64_t share(float weight, int64_t value) {
    return static_cast<int64_t>(weight * static_cast<float>(value));
}

void check(bool holds, const char* what) {
    if (holds)
        return;
    std::fprintf(stderr, "worked_score: %s\n", what);
    std::exit(1);
}

} // namespace

int main() {
    const size_t n = examples.size();
    std::vector<Drawn> frames(examples.begin(), examples.end());
    std::vector<__tag_KIRO_OFFSCREEN> images;
    std::vector<_tag_DRAV_MOVINGOBJ> objects;
    std::vector<__tag_rect> faceRects(n, {20, 20, 60, 60});
    std::vector<uint64_t> codes(n), eyes, smiles;
    Column whole, region, counted;
    for (size_t i = 0; i < n; ++i) {
        frames[i].image.planes[0] = frames[i].luma.data();
        images.push_back(frames[i].image);
        objects.push_back({examples[i].rect, frames[i].mask.data()});
        eyes.push_back(examples[i].eyes);
        smiles.push_back(examples[i].smile);
        whole.push_back(sharpness(frames[i], nullptr));
        region.push_back(sharpness(frames[i], &examples[i].rect));
        counted.push_back(std::count(frames[i].mask.begin(), frames[i].mask.end(), 1));
    }
    const Column w = plainNormalized(whole), r = plainNormalized(region);
    const Column areas = plainAreas(counted);
    std::vector<_tag_DRAV_FACEINFO> faces;
    for (size_t i = 0; i < n; ++i)
        faces.push_back({1, &faceRects[i], &codes[i], &eyes[i], &smiles[i]});
    Column scores;
    for (size_t i = 0; i < n; ++i)
        scores.push_back(plainScore(w[i], r[i], plainFaceTerm(faces[i]) + areas[i],
                                    plainPenalty(examples[i].rect, width, height)));

    std::puts("| | frame 0 | frame 1 | frame 2 | frame 3 |\n|---|---|---|---|---|");
    printRow("blur score of the frame", [&](size_t i) { return whole[i]; });
    printRow("blur score inside the object", [&](size_t i) { return region[i]; });
    printRow("area of the object, pixels", [&](size_t i) { return counted[i]; });
    printRow("W: the frame's share of the largest", [&](size_t i) { return w[i]; });
    printRow("R: the object's share of the largest", [&](size_t i) { return r[i]; });
    printRow("0.8 W", [&](size_t i) { return share(0.8f, w[i]); });
    printRow("1.2 R", [&](size_t i) { return share(1.2f, r[i]); });
    printRow("face", [](size_t) { return 400; });
    printRow("eyes", [&](size_t i) { return eyes[i] == 1 ? 600 : -99900; });
    printRow("smile", [&](size_t i) { return smiles[i] == 3 ? 1000 : smiles[i] == 2 ? 500 : 0; });
    printRow("constant", [](size_t) { return 10000; });
    printRow("area", [&](size_t i) { return areas[i]; });
    printRow("border", [&](size_t i) {
        return -static_cast<int64_t>(plainPenalty(examples[i].rect, width, height));
    });
    printRow("**score**", [&](size_t i) { return scores[i]; });

    std::vector<_tag_DRAV_PARAM> params;
    for (_tag_DRAV_FACEINFO& info : faces)
        params.push_back({nullptr, &info});
    const _tag_DRAV_MOVINGINFO moving = {width, height, width, objects.data(),
                                         static_cast<int32_t>(n)};
    for (size_t keep = 1; keep <= n; ++keep) {
        _tag_DRAV_ENGINE* engine = nullptr;
        Column kept(n);
        _tag_DRAV_RESULT result = {static_cast<int64_t>(keep), kept.data(), -1};
        check(DRAV_Init(nullptr, &engine) == ERR_NONE &&
                  SetMovingObjectInfo(engine, &moving) == ERR_NONE &&
                  DRAV_Kelvane(engine, images.data(), params.data(), static_cast<long>(n),
                               &result) == ERR_NONE,
              "the library refused the burst");
        DRAV_Uninit(&engine);
        kept.resize(keep);
        check(result.best == firstBest(scores, 0, static_cast<int64_t>(n)), "another best frame");
        check(kept == plainKept(scores, static_cast<int64_t>(keep)), "other frames are kept");
    }
    return 0;
}
