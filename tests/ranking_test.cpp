#include "api/engine.h"
#include "api/moving_objects.h"
#include "api/ranking.h"
#include "api/score.h"
#include "api/selection.h"
#include "platform/conversion.h"
#include "support/arena.h"
#include "support/plain_ranking.h"
#include "support/random.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

struct Faces {
    _tag_DRAV_FACEINFO info = {};
    std::vector<__tag_rect> rects = {};
    std::vector<uint64_t> codes = {};
    std::vector<uint64_t> eyes = {};
    std::vector<uint64_t> smiles = {};
};

// A valid burst with everything that it points to.
struct Burst {
    std::vector<__tag_KIRO_OFFSCREEN> frames;
    std::vector<_tag_DRAV_PARAM> params;
    std::vector<std::vector<unsigned char>> pixels;
    std::vector<Faces> faces;
    std::vector<_tag_DRAV_ALIGNMENT> alignments;

    int64_t count() const { return static_cast<int64_t>(frames.size()); }
};

Faces randomFaces(int64_t count, int32_t width, int32_t height, bool eyes, bool smiles,
                  Random& random) {
    Faces faces;
    for (int64_t j = 0; j < count; ++j) {
        faces.rects.push_back(random.rectInside(width, height));
        faces.codes.push_back(random.between<uint64_t>(0, 16));
        faces.eyes.push_back(random.between<uint64_t>(0, random.chance(20) ? 2 : 1));
        faces.smiles.push_back(random.between<uint64_t>(0, 3));
    }
    faces.info = {count, faces.rects.data(), faces.codes.data(), eyes ? faces.eyes.data() : nullptr,
                  smiles ? faces.smiles.data() : nullptr};
    return faces;
}

Burst randomBurst(int64_t n, Random& random) {
    Burst burst;
    const auto width = 2 * random.between<int32_t>(1, random.oneOf<int64_t>({6, 40}));
    const auto height = 2 * random.between<int32_t>(1, random.oneOf<int64_t>({6, 40}));
    const bool flat = random.chance(25);
    const int64_t facesShare = random.oneOf<int64_t>({0, 20, 60});
    const int64_t eyesFrom = random.between(0, n);
    const int64_t smilesFrom = random.between(0, n);
    const bool aligned = random.chance(30);
    for (int64_t i = 0; i < n; ++i) {
        const int32_t pitch = width + random.between<int32_t>(0, 5);
        auto& pixels = burst.pixels.emplace_back(static_cast<size_t>(pitch * height));
        if (!flat)
            random.fill(pixels.data(), pitch * height);
        burst.frames.push_back(
            {random.oneOf({0x601u, 0x603u, 0x802u}), width, height, {pixels.data()}, {pitch}});
        const int64_t faces = random.chance(facesShare) ? random.between(-2, 4) : 0;
        burst.faces.push_back(
            randomFaces(faces, width, height, i >= eyesFrom, i >= smilesFrom, random));
        burst.alignments.push_back({random.between(0, n - 1), {-1, -1}});
    }
    for (size_t i = 0; i < burst.frames.size(); ++i)
        burst.params.push_back({aligned ? &burst.alignments[i] : nullptr, &burst.faces[i].info});
    return burst;
}

// Moving objects, most of them fit for use, with masks of exactly the bytes they need.
struct Objects {
    Objects(int32_t count, Random& random) {
        info.width = random.between(1, 60);
        info.height = random.between(1, 60);
        info.pitch = info.width + random.between(0, 3);
        mask.resize(static_cast<size_t>((info.height - 1) * info.pitch + info.width));
        random.fill(mask.data(), static_cast<int64_t>(mask.size()));
        for (unsigned char& byte : mask)
            byte = byte < 128 ? 0 : byte;
        const int64_t nullMasks = random.oneOf<int64_t>({0, 10, 60});
        for (int32_t j = 0; j < count; ++j)
            objects.push_back({anyRect(random), random.chance(nullMasks) ? nullptr : mask.data()});
        objects.reserve(1); // the array must not be null
        info.objects = objects.data();
        info.count = count;
        if (random.chance(4))
            random.oneOf({&info.width, &info.height, &info.pitch})[0] = random.between(-1, 0);
    }

    _tag_DRAV_MOVINGINFO info = {};
    std::vector<_tag_DRAV_MOVINGOBJ> objects;
    std::vector<unsigned char> mask;

private:
    __tag_rect anyRect(Random& random) const {
        const auto w = static_cast<int32_t>(info.width);
        const auto h = static_cast<int32_t>(info.height);
        const auto any = [&] { return random.between<int32_t>(-10, 70); };
        const auto extreme = [&] {
            return random.oneOf<int32_t>({INT32_MIN, INT32_MIN + 15, INT32_MAX, 0});
        };
        switch (random.between(0, 40)) {
        case 0: return {};
        case 1: return {any(), any(), any(), any()};
        case 2: return {extreme(), extreme(), extreme(), extreme()};
        case 3: return {0, 0, 10, 30};
        default: return random.rectInside(w, h);
        }
    }
};

void compareEngine(const _tag_DRAV_ENGINE& engine, const PlainEngine& plain) {
    ASSERT_TRUE(engine.movingActive == plain.active && engine.movingCount == plain.count &&
                engine.movingWidth == plain.width && !engine.scoreTable.wholeSharpness);
    for (size_t i = 0; i < plain.rects.size(); ++i) {
        ASSERT_EQ(std::memcmp(&engine.movingRects[i], &plain.rects[i], sizeof(__tag_rect)), 0);
        ASSERT_TRUE(engine.movingFlags[i] == plain.flags[i] &&
                    engine.movingAreas[i] == plain.areas[i]);
    }
}

void rankBoth(_tag_DRAV_ENGINE* engine, PlainEngine& plain, const Burst& burst, Random& random) {
    const int64_t n = burst.count();
    std::vector<int32_t> supplied;
    std::vector<_tag_DRAV_BLURRESULT> blurs(burst.frames.size());
    std::vector<_tag_DRAV_DATA> list;
    const bool supply = random.chance(30);
    for (_tag_DRAV_BLURRESULT& blur : blurs) {
        blur.score = random.chance(20) ? random.oneOf({INT32_MIN, INT32_MAX, -1, 0, 1})
                                       : random.between<int32_t>(-10, 5099999);
        list.push_back({&blur, sizeof blur});
        if (supply)
            supplied.push_back(blur.score);
    }
    PlainResult expected = {.count = random.between(1, n + 2), .indices = {}};
    std::vector<int64_t> indices(static_cast<size_t>(expected.count), -1);
    _tag_DRAV_RESULT result = {expected.count, indices.data(), -1};
    const long code =
        supply ? kelvane::rankFrames(engine, burst.frames.data(), burst.params.data(), list.data(),
                                     n, &result)
               : DRAV_Kelvane(engine, burst.frames.data(), burst.params.data(), n, &result);
    ASSERT_EQ(code, plain.rank(burst.frames, burst.params, supplied, expected));
    ASSERT_EQ(result.count, expected.count);
    ASSERT_EQ(result.best, expected.best);
    expected.indices.resize(indices.size(), -1);
    ASSERT_EQ(indices, expected.indices);
}

TEST(Ranking, RandomBurstsMatchTheRules) {
    Random random;
    int ranked = 0;
    int moving = 0;
    for (int sequence = 0; sequence < 400 && !HasFatalFailure(); ++sequence) {
        const Arena arena(1 << 14);
        _tag_DRAV_ENGINE* engine = nullptr;
        ASSERT_EQ(DRAV_Init(arena.handle(), &engine), ERR_NONE);
        PlainEngine plain;
        for (int step = 0; step < 15 && !HasFatalFailure(); ++step) {
            if (random.chance(40)) {
                Objects objects(random.between<int32_t>(-3, 9), random);
                ASSERT_EQ(SetMovingObjectInfo(engine, &objects.info),
                          plain.setMovingObjects(objects.info));
            }
            compareEngine(*engine, plain);
            const bool fits = plain.active && plain.count > 0 && random.chance(90);
            rankBoth(engine, plain, randomBurst(fits ? plain.count : random.between(1, 13), random),
                     random);
            compareEngine(*engine, plain);
            ASSERT_EQ(arena.blocksInUse(), plain.rects.empty() ? 1 : 2);
            ++ranked;
            moving += plain.active;
        }
        DRAV_Uninit(&engine);
        ASSERT_TRUE(arena.isEmpty());
    }
    EXPECT_TRUE(ranked == 6000 && moving > 1000) << moving;
}

// An engine with a table of its own for two frames, to form scores directly.
struct ScoringEngine {
    ScoringEngine() {
        engine.scoreTable = {columns[0], columns[1], columns[2], columns[3], columns[4],
                             columns[5], columns[6], columns[7], columns[8]};
        engine.movingRects = rects;
        engine.movingAreas = areas;
        engine.frameWidth = engine.frameHeight = 100;
    }
    void expectScores(int64_t first, int64_t second) {
        kelvane::formFinalScores(&engine, 2);
        EXPECT_EQ(columns[8][0], first);
        EXPECT_EQ(columns[8][1], second);
    }

    int64_t columns[9][2] = {{9999, 7999}, {9999, 7999}};
    __tag_rect rects[2] = {};
    int64_t areas[2] = {};
    _tag_DRAV_ENGINE engine = {};
};

void expectNormalized(std::vector<int64_t> column, const std::vector<int64_t>& expected) {
    kelvane::normalizeScores(column.data(), static_cast<int64_t>(column.size()));
    EXPECT_EQ(column, expected);
}

TEST(Scores, WorkedExamples) {
    expectNormalized({500, 400, 0, -500}, {9999, 7999, 0, -9999});
    expectNormalized({33554432, 16777217}, {9999, 4999}); // the second rounds to 2^24 first
    expectNormalized({-1, -5}, {0, 0});
    expectNormalized({0, INT32_MIN}, {0, -214748364800000000});

    ScoringEngine two;
    two.expectScores(29997, 25997);
    two.engine.faceMode = 1;
    for (const int attribute : {2, 4, 7}) // a face, an open eye, a broad smile
        two.columns[attribute][1] = 1;
    two.expectScores(29997, 27997);
    two.engine.movingActive = 1; // rectangles of zeros cost half of the penalty
    two.expectScores(24997, 22997);
    two.rects[0] = {0, 0, 100, 100};
    two.rects[1] = {10, 10, 90, 90};
    two.expectScores(19997, 27997);
    two.engine.frameWidth = two.engine.frameHeight = 9; // no margin: nothing to divide by
    two.rects[0] = {-5, -5, 100, 100};
    two.expectScores(29997, 27997);
    two.engine.frameWidth = two.engine.frameHeight = 100000000; // one pixel costs less than a
    two.rects[0] = {9999999, 10000000, 90000000, 90000000};     // single-precision step
    two.rects[1] = {10000000, 10000000, 90000000, 90000000};
    two.expectScores(29997, 27997);
    two.columns[7][0] = two.columns[5][1] = INT64_MAX; // more than 64 bits hold
    two.expectScores(INT64_MAX, INT64_MIN);

    const int64_t atTheBounds[][3] = {{2001, 1601, 8000}, {2004, 401, 2000}};
    for (const auto& [largest, area, kept] : atTheBounds) {
        two.areas[0] = largest;
        two.areas[1] = area;
        kelvane::normalizeMovingAreas(&two.engine, 2);
        EXPECT_TRUE(two.areas[0] == 10000 && two.areas[1] == kept) << two.areas[1];
    }
}

TEST(Scores, ConversionsAreDefinedForEveryValue) {
    EXPECT_EQ(kelvane::roundedProduct<int32_t>(0.12345f, 10000.0f), 1235);
    EXPECT_EQ(kelvane::roundedProduct<int32_t>(0.00004f, 10000.0f), 0);
    EXPECT_EQ(kelvane::roundedProduct<int32_t>(3.5f, 10000.0f), 35000);
    EXPECT_EQ(kelvane::roundedProduct<int32_t>(56.666668f, 10000.0f), 566667);
    // Volatile keeps the compiler from folding what a plain cast leaves undefined.
    volatile float value = 2147483648.0f;
    EXPECT_EQ(kelvane::truncateTo<int32_t>(float{value}), INT32_MAX);
    value = -INFINITY;
    EXPECT_EQ(kelvane::truncateTo<int64_t>(float{value}), INT64_MIN);
    value = NAN;
    EXPECT_EQ(kelvane::truncateTo<int64_t>(float{value}), 0);
    value = -1.9f;
    EXPECT_EQ(kelvane::truncateTo<int64_t>(float{value}), -1);
}

std::vector<int64_t> selected(const std::vector<int64_t>& scores, int64_t kept) {
    std::vector<int64_t> indices(static_cast<size_t>(kept), -1);
    _tag_DRAV_RESULT result = {kept, indices.data(), -1};
    const Arena arena(1024);
    EXPECT_EQ(kelvane::selectFrames(arena.handle(), scores.data(),
                                    static_cast<int64_t>(scores.size()), &result),
              ERR_NONE);
    EXPECT_TRUE(arena.isEmpty());
    indices.push_back(result.best);
    return indices;
}

TEST(Selection, GroupsAndTopScores) {
    const std::vector<int64_t> ascending = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    using Indices = std::vector<int64_t>; // the kept frames, then the best
    EXPECT_EQ(selected(ascending, 2), (Indices{3, 9, 9}));
    EXPECT_EQ(selected(ascending, 3), (Indices{3, 7, 9, 9}));
    EXPECT_EQ(selected(ascending, 4), (Indices{2, 5, 8, 9, 9}));
    EXPECT_EQ(selected(ascending, 5), (Indices{1, 3, 5, 7, 9, 9}));
    EXPECT_EQ(selected(ascending, 6), (Indices{4, 5, 6, 7, 8, 9, 9}));
    EXPECT_EQ(selected({5, 9, 5, 9}, 3), (Indices{1, 2, 3, 1}));
}

// Everything that a best-shot call is given, to be spoilt one thing at a time.
struct Call {
    Burst burst;
    _tag_DRAV_ENGINE* engine;
    const __tag_KIRO_OFFSCREEN* frames;
    const _tag_DRAV_PARAM* params;
    int64_t n;
    _tag_DRAV_RESULT* result;

    _tag_DRAV_FACEINFO& faces(size_t i) { return burst.faces[i].info; }
};

TEST(Ranking, RefusesEveryFaultOfItsArguments) {
    const std::vector<std::function<void(Call&)>> faults = {
        [](Call& c) { c.engine = nullptr; },
        [](Call& c) { c.frames = nullptr; },
        [](Call& c) { c.params = nullptr; },
        [](Call& c) { c.result = nullptr; },
        [](Call& c) { c.n = 0; },
        [](Call& c) { c.n = INT64_MIN; },
        [](Call& c) { c.result->count = 0; },
        [](Call& c) { c.result->indices = nullptr; },
        [](Call& c) {
            c.burst.frames.assign(4, {0x601, 81, 80, {}, {}});
        },
        [](Call& c) {
            c.burst.frames.assign(4, {0x601, 80, 81, {}, {}});
        },
        [](Call& c) { c.burst.frames[3].format = 0x801; },
        [](Call& c) { c.burst.frames[3].width += 2; },
        [](Call& c) { c.burst.frames[3].height -= 2; },
        [](Call& c) { c.burst.params[3].alignment = nullptr; },
        [](Call& c) { c.burst.alignments[3].frameIndex = 4; },
        [](Call& c) { c.burst.alignments[0].frameIndex = -1; },
        [](Call& c) { c.burst.params[0].faces = nullptr; },
        [](Call& c) { c.burst.params[3].faces = nullptr; },
        [](Call& c) { c.faces(3).rects = nullptr; },
        [](Call& c) { c.faces(3).codes = nullptr; },
        [](Call& c) { c.faces(3).eyes = nullptr; },
        [](Call& c) { c.faces(3).smiles = nullptr; },
        [](Call& c) { c.faces(3).rects[1].left = c.faces(3).rects[1].right; },
        [](Call& c) { c.faces(3).rects[1].top = c.faces(3).rects[1].bottom; },
        [](Call& c) { c.faces(3).rects[1].left = -1; },
        [](Call& c) { c.faces(3).rects[1].top = -1; },
        [](Call& c) { c.faces(3).rects[1].right = c.frames[0].width + 1; },
        [](Call& c) { c.faces(3).rects[1].bottom = c.frames[0].height + 1; },
        [](Call& c) { c.faces(3).codes[1] = 17; },
        [](Call& c) { c.faces(3).eyes[1] = 3; },
        [](Call& c) { c.faces(3).smiles[1] = 4; },
        [](Call& c) { c.faces(3).codes[1] = static_cast<uint64_t>(-1); },
        [](Call& c) { c.faces(3).count = int64_t{1} << 60, c.faces(3).codes[0] = 17; },
        [](Call& c) { c.faces(3).count = INT64_MAX, c.faces(3).rects[1].left = -1; },
    };
    Random random;
    const Arena arena(1 << 12);
    _tag_DRAV_ENGINE* engine = nullptr;
    ASSERT_EQ(DRAV_Init(arena.handle(), &engine), ERR_NONE);
    for (size_t fault = 0; fault <= faults.size(); ++fault) {
        std::vector<int64_t> indices(6, -1);
        _tag_DRAV_RESULT result = {6, indices.data(), -1};
        Call call = {randomBurst(4, random), engine, nullptr, nullptr, 4, &result};
        for (size_t i = 0; i < 4; ++i) {
            const __tag_KIRO_OFFSCREEN& frame = call.burst.frames[i];
            // The first frame has no eyes and no smiles, which the later ones may have.
            call.burst.faces[i] = randomFaces(2, frame.width, frame.height, i > 0, i > 1, random);
            call.burst.params[i] = {&call.burst.alignments[i], &call.burst.faces[i].info};
        }
        call.frames = call.burst.frames.data();
        call.params = call.burst.params.data();
        if (fault < faults.size())
            faults[fault](call);
        const _tag_DRAV_RESULT given = result;
        const _tag_DRAV_ENGINE before = *engine;
        const long code = DRAV_Kelvane(call.engine, call.frames, call.params, call.n, call.result);
        ASSERT_EQ(code, fault < faults.size() ? ERR_INVALID_PARAM : ERR_NONE) << fault;
        if (fault == faults.size())
            break;
        EXPECT_EQ(std::memcmp(&before, engine, sizeof before), 0) << fault;
        EXPECT_EQ(std::memcmp(&given, &result, sizeof given), 0) << fault;
        EXPECT_EQ(indices, std::vector<int64_t>(6, -1)) << fault;
    }
    DRAV_Uninit(&engine);
}

TEST(MovingObjects, MaskArea) {
    unsigned char mask[16] = {};
    mask[5] = 1;
    mask[15] = 255;
    const auto areaOf = [&](int value, __tag_rect* rect) {
        long area = -1;
        EXPECT_EQ(calMaskArea(mask, 4, 4, 4, value, rect, &area), ERR_NONE);
        return area;
    };
    EXPECT_EQ(areaOf(0, nullptr), 2);
    EXPECT_EQ(areaOf(255, nullptr), 15);
    for (const int noByte : {256, 300, -1, -256})
        EXPECT_EQ(areaOf(noByte, nullptr), 16);
    __tag_rect rects[] = {{1, 1, 3, 2}, {0, 2, 4, 2}, {3, 0, 1, 4}};
    EXPECT_EQ(areaOf(0, &rects[0]), 1);
    EXPECT_EQ(areaOf(0, &rects[1]), 0);
    EXPECT_EQ(areaOf(0, &rects[2]), 0);
    long area = -1;
    EXPECT_EQ(calMaskArea(nullptr, 4, 4, 4, 0, nullptr, &area), ERR_INVALID_PARAM);
    EXPECT_EQ(area, -1);
    std::vector<unsigned char> wide(3000, 1); // more than a byte can count
    calMaskArea(wide.data(), 1000, 3, 1000, 0, nullptr, &area);
    EXPECT_EQ(area, 3000);
}

TEST(MovingObjects, RefusedInformationChangesNothing) {
    _tag_DRAV_ENGINE* engine = nullptr;
    ASSERT_EQ(DRAV_Init(nullptr, &engine), ERR_NONE);
    const _tag_DRAV_ENGINE before = *engine;
    unsigned char mask[16] = {};
    _tag_DRAV_MOVINGOBJ object = {{0, 0, 11, 11}, mask};
    const _tag_DRAV_MOVINGINFO faults[] = {
        {4, 4, 4, nullptr, 1}, {4, 4, 3, &object, 1}, {0, 4, 4, &object, 1}, {4, 0, 4, &object, 1}};
    for (const _tag_DRAV_MOVINGINFO& info : faults)
        EXPECT_EQ(SetMovingObjectInfo(engine, &info), ERR_INVALID_PARAM);
    EXPECT_EQ(SetMovingObjectInfo(nullptr, &faults[1]), ERR_INVALID_PARAM);
    EXPECT_EQ(SetMovingObjectInfo(engine, nullptr), ERR_INVALID_PARAM);
    EXPECT_EQ(std::memcmp(&before, engine, sizeof before), 0);
    DRAV_Uninit(&engine);
}

} // namespace
