// The ranking of a burst beside the rules of its terms, and of the choice between scores.
#include "api/engine.h"
#include "api/moving_objects.h"
#include "api/score.h"
#include "support/allocation_hook.h"
#include "support/arena.h"
#include "support/cases.h"
#include "support/guarded_memory.h"
#include "support/plain_ranking.h"

#include <cmath>
#include <cstring>

namespace {

enum Route { withParams, withRecord, withRecordAndBlurs };

// A valid burst, but perhaps of an odd size, with everything that it points to.
struct Burst {
    Burst(int64_t count, Random& random)
        : n(count), frames(static_cast<size_t>(n)), params(frames.size()), pixels(frames.size()),
          route(random.oneOf({withParams, withRecord, withRecordAndBlurs})), blurs(frames.size()),
          record(static_cast<size_t>(8 + (2 + 103) * n)) {
        allocParams(nullptr, params.data(), n);
        random.fill(reinterpret_cast<unsigned char*>(record.data()), std::ssize(record) * 4);
        record[1] = static_cast<uint32_t>(n);
        record[4] = record[5] = 1;
        const auto side = [&] {
            const int32_t half = random.between<int32_t>(1, random.oneOf<int64_t>({6, 40}));
            return 2 * half - random.chance(1);
        };
        const __tag_KIRO_OFFSCREEN frame = {0, side(), side(), {}, {}};
        const int64_t faceShare = random.oneOf<int64_t>({0, 20, 60});
        const int64_t fillShare = random.oneOf<int64_t>({0, 100, 100});
        // The first frames may lack what the later ones have.
        const int64_t eyesFrom = route == withParams ? random.between(0, n) : 0;
        const int64_t smilesFrom = route == withParams ? random.between(0, n) : 0;
        for (int64_t i = 0; i < n; ++i) {
            const auto k = static_cast<size_t>(i);
            const int32_t pitch = frame.width + random.between<int32_t>(0, 5);
            pixels[k].resize(static_cast<size_t>(pitch * frame.height));
            if (random.chance(fillShare))
                random.fill(pixels[k].data(), std::ssize(pixels[k]));
            frames[k] = frame;
            frames[k].format = random.oneOf({0x601u, 0x603u, 0x802u});
            frames[k].planes[0] = pixels[k].data();
            frames[k].pitches[0] = pitch;
            _tag_DRAV_FACEINFO& faces = *params[k].faces;
            faces.count = random.chance(faceShare) ? random.between(-2, 4) : 0;
            fillFaces(faces, &record[static_cast<size_t>(8 + 2 * n + 103 * i)], frame, random);
            faces.eyes = i < eyesFrom ? nullptr : faces.eyes;
            faces.smiles = i < smilesFrom ? nullptr : faces.smiles;
            params[k].alignment->frameIndex = random.between(0, n - 1);
            blurs[k].score = random.chance(20) ? random.oneOf({INT32_MIN, INT32_MAX, -1, 0, 1})
                                               : random.between<int32_t>(-10, 5099999);
        }
    }
    ~Burst() { freeParams(nullptr, params.data(), n); }

    // The same faces as parameters and as entries of a record.
    static void fillFaces(_tag_DRAV_FACEINFO& faces, uint32_t* frameRecord,
                          const __tag_KIRO_OFFSCREEN& frame, Random& random) {
        frameRecord[100] = static_cast<uint32_t>(faces.count);
        for (int64_t j = 0; j < faces.count; ++j) {
            const uint32_t degree = random.oneOf({0u, 30u, 80u, 50u});
            const uint32_t open = random.oneOf({0u, 1u, 1u, 1u, 7u});
            faces.rects[j] = random.rectInside(frame.width, frame.height);
            faces.codes[j] = random.between<uint64_t>(0, 16);
            faces.smiles[j] = degree == 0 ? 1 : degree == 30 ? 2 : degree == 80 ? 3 : 0;
            faces.eyes[j] = open == 0 ? 2 : open == 1 ? 1 : 0;
            uint32_t* const entry = frameRecord + 10 * j;
            std::memcpy(entry, &faces.rects[j], sizeof faces.rects[j]);
            entry[4] = static_cast<uint32_t>(faces.codes[j]);
            entry[5] = degree;
            entry[6] = open;
        }
    }

    long rank(_tag_DRAV_ENGINE* engine, _tag_DRAV_RESULT* result) {
        const _tag_DRAV_DATA data = {record.data(), std::ssize(record) * 4};
        std::vector<_tag_DRAV_DATA> list;
        for (_tag_DRAV_BLURRESULT& blur : blurs)
            list.push_back({&blur, sizeof blur});
        switch (route) {
        case withParams: return DRAV_Kelvane(engine, frames.data(), params.data(), n, result);
        case withRecord: return DRAV_KelvaneWithPreProcess(engine, frames.data(), &data, n, result);
        default:
            return DRAV_KelvaneWithPreProcessBlur(engine, frames.data(), &data, list.data(), n,
                                                  result);
        }
    }

    // The sharpness of a frame, or of a part of it, as a score is made of it.
    int64_t sharpnessOf(size_t i, __tag_rect* part) {
        if (route == withRecordAndBlurs && part == nullptr)
            return blurs[i].score;
        float sharpness = 0;
        imgEvaluateSharpness(nullptr, &frames[i], &sharpness, part);
        return static_cast<int64_t>(std::fma(sharpness, 10000.0f, 0.5f));
    }

    int64_t n;
    std::vector<__tag_KIRO_OFFSCREEN> frames;
    std::vector<_tag_DRAV_PARAM> params;
    std::vector<Bytes> pixels;
    Route route;
    std::vector<_tag_DRAV_BLURRESULT> blurs;
    std::vector<uint32_t> record;
};

// Moving objects, most of them fit for use, with masks of exactly the bytes they need.
struct Objects {
    Objects(int32_t count, Random& random) {
        const auto width = random.between<int32_t>(1, 60);
        const auto height = random.between<int32_t>(1, 60);
        const int32_t pitch = width + random.between<int32_t>(0, 3);
        mask.resize(static_cast<size_t>((height - 1) * pitch + width));
        random.fill(mask.data(), std::ssize(mask));
        for (unsigned char& byte : mask)
            byte = byte < 128 ? 0 : byte;
        const int64_t maskless = random.oneOf<int64_t>({0, 10, 60});
        const auto any = [&] {
            return random.chance(60)
                       ? random.between<int32_t>(-20, 70)
                       : random.oneOf({INT32_MIN, INT32_MIN + 15, INT32_MAX, 9999999, 10});
        };
        for (int32_t j = 0; j < count; ++j) {
            __tag_rect rect = random.rectInside(width, height);
            if (random.chance(15))
                rect = random.chance(20) ? __tag_rect{} : __tag_rect{any(), any(), any(), any()};
            objects.push_back({rect, random.chance(maskless) ? nullptr : mask.data()});
        }
        objects.reserve(1); // the array must not be null
        info = {width, height, pitch, objects.data(), count};
        if (random.chance(4))
            random.oneOf({&info.width, &info.height})[0] = random.between(-1, 0);
    }

    _tag_DRAV_MOVINGINFO info;
    std::vector<_tag_DRAV_MOVINGOBJ> objects;
    std::vector<unsigned char> mask;
};

// The final scores of a burst, with what the engine keeps of its moving objects afterwards.
Column scoresOf(Burst& burst, const _tag_DRAV_ENGINE& engine) {
    const auto& [format, width, height, planes, pitches] = burst.frames[0];
    Column whole, region, scores;
    int64_t faces = 0;
    for (size_t i = 0; i < burst.frames.size(); ++i) {
        const __tag_rect& r = engine.movingRects[i];
        __tag_rect part = {std::max(r.left, 0), std::max(r.top, 0), std::min(r.right, width),
                           std::min(r.bottom, height)};
        const bool isMeasured =
            engine.movingFlags[i] != 0 && part.left < part.right && part.top < part.bottom;
        whole.push_back(burst.sharpnessOf(i, nullptr));
        region.push_back(isMeasured ? burst.sharpnessOf(i, &part) : 0);
        region[i] = region[i] == 0 ? whole[i] : region[i];
        faces += burst.params[i].faces->count;
    }
    whole = plainNormalized(whole);
    region = plainNormalized(region);
    for (size_t i = 0; i < whole.size(); ++i) {
        const int64_t term = faces >= burst.n / 2 ? plainFaceTerm(*burst.params[i].faces) : 0;
        const bool moves = engine.movingActive != 0;
        scores.push_back(
            plainScore(whole[i], region[i], term + engine.movingAreas[i],
                       moves ? plainPenalty(engine.movingRects[i], width, height) : 0));
    }
    return scores;
}

void noteObjects(const _tag_DRAV_ENGINE& engine, int64_t capacity) {
    note(engine.movingActive, engine.movingCount, engine.movingWidth);
    noteBytes(engine.movingRects, capacity * 16);
    noteBytes(engine.movingFlags, capacity * 8);
    noteBytes(engine.movingAreas, capacity * 8);
}

// Calls in any order on one engine.
void expectRanked(Random& random) {
    const Arena arena(1 << 15);
    _tag_DRAV_ENGINE* engine = nullptr;
    ASSERT_EQ(DRAV_Init(arena.handle(), &engine), ERR_NONE);
    int64_t capacity = 0;
    for (int step = 0; step < 10; ++step) {
        while (random.chance(40)) {
            const Objects objects(random.between<int32_t>(-3, 9), random);
            allocationsUntilFailure = random.chance(5) ? 0 : -1;
            const long code = SetMovingObjectInfo(engine, &objects.info);
            allocationsUntilFailure = -1;
            int usable = 0;
            for (int j = 0; j < objects.info.count; ++j) {
                const auto& [r, mask] = objects.objects[size_t(j)];
                usable += mask != nullptr && (r.left || r.top || r.right || r.bottom);
            }
            if (code == ERR_NONE) {
                capacity = std::max<int64_t>(capacity, objects.info.count);
                ASSERT_EQ(engine->movingActive, usable > objects.info.count / 2);
            }
            note(code);
            noteObjects(*engine, capacity);
        }
        const bool fits = engine->movingActive != 0 && engine->movingCount > 0 && random.chance(90);
        Burst burst(fits ? engine->movingCount : random.between(1, 13), random);
        Column indices(static_cast<size_t>(random.between(1, burst.n + 2)), -1);
        _tag_DRAV_RESULT result = {std::ssize(indices), indices.data(), -1};
        const long code = burst.rank(engine, &result);
        if (code == ERR_NONE) {
            capacity = std::max(capacity, burst.n);
            const Column scores = scoresOf(burst, *engine);
            Column kept = plainKept(scores, std::min<int64_t>(std::ssize(indices), burst.n));
            ASSERT_EQ(result.best, firstBest(scores, 0, burst.n));
            ASSERT_EQ(result.count, std::ssize(kept));
            kept.resize(indices.size(), -1);
            ASSERT_EQ(indices, kept);
        } else {
            const bool isOdd = burst.frames[0].width % 2 != 0 || burst.frames[0].height % 2 != 0;
            ASSERT_TRUE(code == ERR_INVALID_PARAM && (isOdd || engine->movingActive != 0));
            ASSERT_EQ(indices, Column(indices.size(), -1));
        }
        ASSERT_EQ(engine->scoreTable.wholeSharpness, nullptr);
        ASSERT_EQ(arena.blocksInUse(), engine->movingRects == nullptr ? 1 : 2);
        note(code, result.count, result.best, engine->movingActive);
    }
    DRAV_Uninit(&engine);
    ASSERT_TRUE(arena.isEmpty());
}

// Records that are at fault in a few words, or in their length.
void expectDamaged(Random& random) {
    const Arena arena(1 << 18);
    _tag_DRAV_ENGINE* engine = nullptr;
    ASSERT_EQ(DRAV_Init(arena.handle(), &engine), ERR_NONE);
    Burst burst(random.between(1, 6), random);
    burst.route = random.oneOf({withRecord, withRecordAndBlurs});
    for (auto times = random.between(0, 3); times > 0; --times) {
        const auto field = random.oneOf<int64_t>(
            {1, 4, 5,
             8 + 2 * burst.n + 103 * random.between(0, burst.n - 1) + random.between(0, 102)});
        burst.record[size_t(field)] =
            random.oneOf({0u, 1u, 2u, 11u, 0x10000u, random.between<uint32_t>(0, UINT32_MAX)});
    }
    if (random.chance(10))
        burst.record.resize(static_cast<size_t>(random.between(1, std::ssize(burst.record))));
    const std::vector<uint32_t> before = burst.record;
    Column indices(size_t(burst.n), -1);
    _tag_DRAV_RESULT result = {burst.n, indices.data(), -1};
    const long code = burst.rank(engine, &result);
    if (code == ERR_NONE)
        ASSERT_TRUE(result.best >= 0 && result.best < burst.n);
    else
        ASSERT_TRUE(indices == Column(indices.size(), -1) && arena.blocksInUse() <= 2);
    ASSERT_EQ(burst.record, before);
    DRAV_Uninit(&engine);
    ASSERT_TRUE(arena.isEmpty());
    note(code, result.best);
}

// What a ranking shows of the scores is only their order.
void expectScores(Random& random) {
    Column whole(2), region(2), areas(2), none(2), scores(2);
    __tag_rect rects[2];
    const int64_t most = random.oneOf<int64_t>({10, 60000, INT32_MAX});
    for (size_t k = 0; k < 2; ++k) {
        whole[k] = random.between(-most, random.oneOf<int64_t>({10, most}));
        region[k] = random.between(-most, random.oneOf<int64_t>({10, most}));
        areas[k] = random.between(0, 2100);
        rects[k] = random.rectInside(120, 120);
    }
    _tag_DRAV_ENGINE engine = {};
    engine.frameWidth = engine.frameHeight = random.oneOf({random.between(1, 120), most});
    engine.movingRects = rects;
    engine.movingAreas = areas.data();
    engine.movingActive = random.between(0, 1);
    int64_t* const unused = none.data();
    engine.scoreTable = {whole.data(), region.data(), unused, unused,       unused,
                         unused,       unused,        unused, scores.data()};
    const Column plain[] = {plainNormalized(whole), plainNormalized(region), plainAreas(areas)};
    kelvane::normalizeScores(whole.data(), 2);
    kelvane::normalizeScores(region.data(), 2);
    kelvane::normalizeMovingAreas(&engine, 2);
    ASSERT_TRUE(whole == plain[0] && region == plain[1] && areas == plain[2]);
    kelvane::formFinalScores(&engine, 2);
    for (size_t k = 0; k < 2; ++k) {
        const float penalty = plainPenalty(rects[k], engine.frameWidth, engine.frameHeight);
        ASSERT_EQ(scores[k], plainScore(whole[k], region[k], areas[k],
                                        engine.movingActive != 0 ? penalty : 0.0f));
    }
    note(whole[0], region[1], areas[0], scores[0], scores[1]);
}

void expectMaskArea(Random& random) {
    const auto width = random.between<int32_t>(1, random.oneOf({20, 20, 600}));
    const auto height = random.between<int32_t>(1, 20);
    const long pitch = width + random.between(0, 5);
    const GuardedMemory mask(random.image((height - 1) * pitch + width));
    __tag_rect rect = random.rectInside(width, height);
    const bool whole = random.chance(30);
    rect = whole ? __tag_rect{0, 0, width, height} : rect;
    const auto value =
        random.chance(80) ? random.oneOf({0, 128, 255}) : random.between<int>(INT32_MIN, INT32_MAX);
    long area = -1, expected = 0;
    ASSERT_EQ(calMaskArea(mask.data(), width, height, pitch, value, whole ? nullptr : &rect, &area),
              ERR_NONE);
    for (int64_t y = rect.top; y < rect.bottom; ++y)
        for (int64_t x = rect.left; x < rect.right; ++x)
            expected += mask.data()[y * pitch + x] != value;
    ASSERT_EQ(area, expected);
    note(area);
}

const Register registered{{
    {"Ranking", 400, 0xE41C5AF102B840CC, expectRanked},
    {"RankingOfDamagedRecords", 1000, 0xD4196701B572DC4A, expectDamaged},
    {"Scores", 20000, 0x64660F586948DF5A, expectScores},
    {"MaskArea", 600, 0x768FAA2EAB6965DB, expectMaskArea},
}};

TEST(Ranking, ScoresEndAt64Bits) {
    for (const int64_t end : {INT64_MIN, INT64_MAX}) {
        int64_t most = end, area = end, none = 0, score = 0;
        _tag_DRAV_ENGINE engine = {};
        engine.movingAreas = &area;
        engine.scoreTable = {&most, &most, &none, &none, &none, &none, &none, &none, &score};
        kelvane::formFinalScores(&engine, 1);
        EXPECT_EQ(score, end);
    }
}

TEST(Ranking, WorkedExamples) {
    EXPECT_EQ(plainNormalized({500, 400, 0, -500}), (Column{9999, 7999, 0, -9999}));
    EXPECT_EQ(plainNormalized({-1, -5}), (Column{0, 0}));
    EXPECT_EQ(plainAreas({2001, 1601, 400}), (Column{10000, 8000, 0}));
    uint64_t code = 12, open = 1, broad = 3;
    EXPECT_EQ(plainFaceTerm({1, nullptr, &code, &open, &broad}), 2000);
    EXPECT_EQ(plainScore(9999, 9999, 0, plainPenalty({0, 0, 100, 100}, 100, 100)), 19997);
    EXPECT_EQ(plainScore(7999, 7999, 2000, plainPenalty({}, 100, 100)), 22997);
    const Column ascending = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    EXPECT_EQ(plainKept(ascending, 3), (Column{3, 7, 9}));
    EXPECT_EQ(plainKept(ascending, 5), (Column{1, 3, 5, 7, 9}));
    EXPECT_EQ(plainKept(ascending, 6), (Column{4, 5, 6, 7, 8, 9}));
    EXPECT_EQ(plainKept({5, 9, 5, 9}, 3), (Column{1, 2, 3}));
}

// Information without objects may come without a width, and a later one that finds no memory leaves
// it in force: the stored rectangles are then scaled by infinity.
TEST(MovingObjects, ScaleOfAMaskWithoutWidthIsDefined) {
    Random random(7);
    Bytes mask(20 * 20, 1);
    std::vector<_tag_DRAV_MOVINGOBJ> objects(3, {{0, 2, 15, 20}, mask.data()});
    _tag_DRAV_ENGINE* engine = nullptr;
    ASSERT_EQ(DRAV_Init(nullptr, &engine), ERR_NONE);
    const auto inform = [&](int64_t width, int32_t count, long code) {
        const _tag_DRAV_MOVINGINFO info = {width, 20, 20, objects.data(), count};
        allocationsUntilFailure = code == ERR_NO_MEMORY ? 0 : -1;
        EXPECT_EQ(SetMovingObjectInfo(engine, &info), code);
        allocationsUntilFailure = -1;
    };
    inform(20, 2, ERR_NONE);
    inform(0, -2, ERR_NONE);
    inform(20, 3, ERR_NO_MEMORY);
    Burst burst(3, random);
    int64_t indices[3] = {};
    _tag_DRAV_RESULT result = {3, indices, -1};
    EXPECT_EQ(burst.rank(engine, &result), ERR_INVALID_PARAM); // no row is left
    EXPECT_EQ(engine->movingRects[0].left, 0);
    EXPECT_EQ(engine->movingRects[0].right, burst.frames[0].width);
    DRAV_Uninit(&engine);
}

} // namespace
