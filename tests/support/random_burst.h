// Random bursts and moving objects, and what an engine keeps of them.
#pragma once

#include "api/engine.h"
#include "support/allocation_hook.h"
#include "support/arena.h"
#include "support/plain_ranking.h"
#include "support/random.h"

#include <gtest/gtest.h>

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
            random.oneOf({&info.width, &info.height})[0] = random.between(-1, 0);
    }

    _tag_DRAV_MOVINGINFO info;
    std::vector<_tag_DRAV_MOVINGOBJ> objects;
    std::vector<unsigned char> mask;
};

inline void expectSame(const _tag_DRAV_ENGINE& engine, const PlainEngine& plain) {
    ASSERT_TRUE(engine.movingActive == plain.active && engine.movingCount == plain.count &&
                engine.movingWidth == plain.width && !engine.scoreTable.wholeSharpness);
    for (size_t i = 0; i < plain.objects.size(); ++i) {
        const auto& [rect, flag, area] = plain.objects[i];
        ASSERT_EQ(std::memcmp(&engine.movingRects[i], &rect, sizeof rect), 0);
        ASSERT_TRUE(engine.movingFlags[i] == flag && engine.movingAreas[i] == area);
    }
}

// Calls in any order on one engine. `moving` counts the rankings with moving objects.
inline void rankInSequence(Random& random, int steps, int& moving) {
    const Arena arena(1 << 15);
    _tag_DRAV_ENGINE* engine = nullptr;
    ASSERT_EQ(DRAV_Init(arena.handle(), &engine), ERR_NONE);
    PlainEngine plain;
    for (int step = 0; step < steps && !testing::Test::HasFatalFailure(); ++step) {
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
