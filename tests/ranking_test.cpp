#include "api/engine.h"
#include "api/moving_objects.h"
#include "api/score.h"
#include "support/allocation_hook.h"
#include "support/arena.h"
#include "support/plain_ranking.h"
#include "support/random.h"

#include <gtest/gtest.h>

namespace {

using Bytes = std::vector<unsigned char>;

enum Route { withParams, withRecord, withRecordAndBlurs };

// A valid burst, but perhaps of an odd size, with everything that it points to.
struct Burst : PlainBurst {
    Burst(int64_t count, Random& random)
        : PlainBurst(static_cast<size_t>(count)), n(count), pixels(frames.size()),
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
            if (route == withRecordAndBlurs)
                supplied.push_back(blurs[k].score);
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

    int64_t n;
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
            random.oneOf({&info.width, &info.height, &info.pitch})[0] = random.between(-1, 0);
    }

    _tag_DRAV_MOVINGINFO info;
    std::vector<_tag_DRAV_MOVINGOBJ> objects;
    std::vector<unsigned char> mask;
};

void expectSame(const _tag_DRAV_ENGINE& engine, const PlainEngine& plain) {
    ASSERT_TRUE(engine.movingActive == plain.active && engine.movingCount == plain.count &&
                engine.movingWidth == plain.width && !engine.scoreTable.wholeSharpness);
    for (size_t i = 0; i < plain.objects.size(); ++i) {
        const auto& [rect, flag, area] = plain.objects[i];
        ASSERT_EQ(std::memcmp(&engine.movingRects[i], &rect, sizeof rect), 0);
        ASSERT_TRUE(engine.movingFlags[i] == flag && engine.movingAreas[i] == area);
    }
}

TEST(Ranking, RandomBurstsMatchTheRules) {
    Random random;
    int moving = 0;
    for (int sequence = 0; sequence < 500 && !HasFatalFailure(); ++sequence) {
        const Arena arena(1 << 15);
        _tag_DRAV_ENGINE* engine = nullptr;
        ASSERT_EQ(DRAV_Init(arena.handle(), &engine), ERR_NONE);
        PlainEngine plain;
        for (int step = 0; step < 15 && !HasFatalFailure(); ++step) {
            while (random.chance(40)) {
                const Objects objects(random.between<int32_t>(-3, 9), random);
                const bool outOfMemory = random.chance(5);
                allocationsUntilFailure = outOfMemory ? 0 : -1;
                const long code = SetMovingObjectInfo(engine, &objects.info);
                allocationsUntilFailure = -1;
                ASSERT_EQ(code, plain.setMovingObjects(objects.info, outOfMemory));
            }
            expectSame(*engine, plain);
            const bool fits = plain.active && plain.count > 0 && random.chance(90);
            const int64_t n = fits ? plain.count : random.between(1, 13);
            Burst burst(n, random);
            Column indices(static_cast<size_t>(random.between(1, n + 2)), -1);
            Column plainIndices = indices;
            _tag_DRAV_RESULT result = {std::ssize(indices), indices.data(), -1};
            _tag_DRAV_RESULT expected = {result.count, plainIndices.data(), -1};
            ASSERT_EQ(burst.rank(engine, &result), plain.rank(burst, expected));
            ASSERT_TRUE(result.count == expected.count && result.best == expected.best &&
                        indices == plainIndices);
            expectSame(*engine, plain);
            ASSERT_EQ(arena.blocksInUse(), plain.objects.empty() ? 1 : 2);
            moving += plain.active;
        }
        DRAV_Uninit(&engine);
        ASSERT_TRUE(arena.isEmpty());
    }
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
