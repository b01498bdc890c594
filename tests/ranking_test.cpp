#include "api/moving_objects.h"
#include "api/score.h"
#include "support/random_burst.h"

namespace {

TEST(Ranking, RandomBurstsMatchTheRules) {
    Random random;
    int moving = 0;
    for (int sequence = 0; sequence < 500 && !HasFatalFailure(); ++sequence)
        rankInSequence(random, 15, moving);
    EXPECT_GT(moving, 1000);
}

// What a ranking shows of the scores is their order alone.
TEST(Ranking, RandomScoresMatchTheRules) {
    Random random;
    for (int i = 0; i < 100000; ++i) {
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
    }
}

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
    PlainEngine plain;
    const auto inform = [&](int64_t width, int32_t count, long code) {
        const _tag_DRAV_MOVINGINFO info = {width, 20, 20, objects.data(), count};
        allocationsUntilFailure = code == ERR_NO_MEMORY ? 0 : -1;
        EXPECT_EQ(SetMovingObjectInfo(engine, &info), code);
        allocationsUntilFailure = -1;
        EXPECT_EQ(plain.setMovingObjects(info, code == ERR_NO_MEMORY), code);
    };
    inform(20, 2, ERR_NONE);
    inform(0, -2, ERR_NONE);
    inform(20, 3, ERR_NO_MEMORY);
    expectSame(*engine, plain);
    Burst burst(3, random);
    int64_t indices[2][3] = {};
    _tag_DRAV_RESULT result = {3, indices[0], -1}, expected = {3, indices[1], -1};
    EXPECT_EQ(burst.rank(engine, &result), plain.rank(burst, expected));
    expectSame(*engine, plain);
    EXPECT_EQ(engine->movingRects[0].left, 0);
    EXPECT_EQ(engine->movingRects[0].right, burst.frames[0].width);
    DRAV_Uninit(&engine);
}

TEST(MovingObjects, MaskArea) {
    unsigned char mask[4000] = {};
    mask[5] = 1;
    mask[15] = 255;
    const auto areaOf = [&](long width, int value, __tag_rect rect, bool whole) {
        long area = -1;
        EXPECT_EQ(calMaskArea(mask, width, 4, width, value, whole ? nullptr : &rect, &area),
                  ERR_NONE);
        return area;
    };
    EXPECT_EQ(areaOf(4, 0, {}, true), 2);
    EXPECT_EQ(areaOf(4, 255, {}, true), 15);
    EXPECT_EQ(areaOf(1000, 1, {}, true), 3999); // more than a byte can count
    EXPECT_EQ(areaOf(4, 300, {0, 2, 4, 2}, false) + areaOf(4, 300, {3, 0, 1, 4}, false), 0);
    for (const int noByte : {256, 300, -1, -256})
        EXPECT_EQ(areaOf(4, noByte, {}, true), 16);
}

} // namespace
