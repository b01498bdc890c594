// Bursts are ranked as the rules say, and a burst with one argument at fault is refused.
#include "fuzz_case.h"
#include "support/random_burst.h"

namespace {

void refuse(Random& random) {
    Burst burst(random.between(1, 6), random);
    _tag_DRAV_ENGINE* engine = nullptr;
    DRAV_Init(nullptr, &engine);
    const auto i = static_cast<size_t>(random.between(0, burst.n - 1));
    std::vector<_tag_DRAV_PARAM> params = burst.params;
    _tag_DRAV_FACEINFO faces = *params[i].faces;
    params[i].faces = &faces;
    __tag_KIRO_OFFSCREEN& frame = burst.frames[i];
    faces.count = 1;
    faces.rects[0] = random.rectInside(frame.width, frame.height);
    faces.eyes = faces.eyes != nullptr ? faces.eyes : faces.codes + 2;
    faces.smiles = faces.smiles != nullptr ? faces.smiles : faces.codes + 4;
    std::vector<int64_t> indices(static_cast<size_t>(burst.n), -1);
    _tag_DRAV_RESULT result = {burst.n, indices.data(), -1};
    long n = burst.n;
    const auto above = [&](int64_t limit) { return random.between(limit + 1, INT64_MAX); };
    switch (random.between(0, 10)) {
    case 0: frame.format = random.oneOf({0u, 0x600u, 0x602u, 0x801u, 0x501u, 0x304u}); break;
    case 1: frame.width = random.between<int32_t>(INT32_MIN, 0) | 1; break;
    case 2: params[i].faces = nullptr; break;
    case 3: faces.rects[0].right = random.between<int32_t>(INT32_MIN, faces.rects[0].left); break;
    case 4: faces.rects[0].bottom = random.between<int32_t>(frame.height + 1, INT32_MAX); break;
    case 5: faces.codes[0] = static_cast<uint64_t>(above(16)); break;
    case 6: faces.eyes[0] = static_cast<uint64_t>(above(2)); break;
    case 7: faces.smiles[0] = static_cast<uint64_t>(above(3)); break;
    case 8: params[i].alignment->frameIndex = random.oneOf({above(n - 1), -above(0)}); break;
    case 9: result.count = -above(-1); break;
    default: n = -above(-1);
    }
    const int64_t kept = result.count;
    ASSERT_EQ(DRAV_Kelvane(engine, burst.frames.data(), params.data(), n, &result),
              ERR_INVALID_PARAM);
    ASSERT_TRUE(result.count == kept && result.best == -1 &&
                indices == std::vector<int64_t>(indices.size(), -1));
    DRAV_Uninit(&engine);
}

} // namespace

void fuzzCase(FuzzedRandom& random) {
    int moving = 0;
    if (random.chance(30))
        refuse(random);
    else
        rankInSequence(random, random.between<int>(1, 6), moving);
}
