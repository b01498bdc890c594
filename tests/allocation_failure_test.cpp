// Every allocation of every entry point fails once, in an arena and on the process heap.
#include "api/engine.h"
#include "support/allocation_hook.h"
#include "support/arena.h"

#include <gtest/gtest.h>

#include <iostream>
#include <vector>

namespace {

constexpr int n = 3;

// One of everything that the entry points take.
struct World {
    explicit World(void* memHandle) : handle(memHandle), record(32 + n * 412) {
        record[4] = n;
        for (size_t i = 0; i < pixels.size(); i += 5)
            pixels[i] = 255;
        for (__tag_KIRO_OFFSCREEN& frame : frames)
            frame = {0x601, 32, 32, {pixels.data()}, {32}};
        for (_tag_DRAV_MOVINGOBJ& object : objects)
            object = {{0, 0, 16, 16}, pixels.data()};
        for (_tag_DRAV_DATA& entry : blurs)
            entry = {&blur, sizeof blur};
        for (_tag_DRAV_PARAM& param : params)
            param = {nullptr, &noFaces};
    }
    void makeEngine() { DRAV_Init(handle, &engine); }
    long setObjects(int32_t count) {
        const _tag_DRAV_MOVINGINFO info = {32, 32, 32, objects, count};
        return SetMovingObjectInfo(engine, &info);
    }
    long rank(long frameCount) { return DRAV_Kelvane(engine, frames, params, frameCount, &result); }

    void* handle;
    std::vector<unsigned char> pixels = std::vector<unsigned char>(32 * 32);
    std::vector<unsigned char> record;
    __tag_KIRO_OFFSCREEN frames[n];
    _tag_DRAV_MOVINGOBJ objects[n];
    _tag_DRAV_BLURRESULT blur = {};
    _tag_DRAV_DATA blurs[n];
    _tag_DRAV_DATA recordData = {record.data(), static_cast<int64_t>(record.size())};
    _tag_DRAV_FACEINFO noFaces = {};
    _tag_DRAV_PARAM params[n];
    std::vector<int64_t> indices = std::vector<int64_t>(n, -1);
    _tag_DRAV_RESULT result = {n, indices.data(), -1};

    _tag_DRAV_ENGINE* engine = nullptr;
    _tag_Preprocessor_Data* read = nullptr;
    _tag_DRAV_PARAM owned[n] = {};
    float sharpness = -1.0f;
    _tag_DRAV_DATA blurOut = {};
};

struct EntryPoint {
    const char* name;
    int allocations;
    void (*prepare)(World&);
    long (*call)(World&);
    // Whether the outputs are as documented after a failure.
    bool (*isUntouched)(const World&);
};

void engineAlone(World& w) { w.makeEngine(); }
void nothing(World&) {}
bool indicesUntouched(const World& w) { return w.indices == std::vector<int64_t>(n, -1); }

const EntryPoint entryPoints[] = {
    {"DRAV_Init", 1, nothing, [](World& w) { return DRAV_Init(w.handle, &w.engine); },
     [](const World& w) { return w.engine == nullptr; }},
    {"imgEvaluateSharpness", 1, nothing,
     [](World& w) { return imgEvaluateSharpness(w.handle, w.frames, &w.sharpness, nullptr); },
     [](const World& w) { return w.sharpness == -1.0f; }},
    {"DRAV_DetectBlur", 1, engineAlone,
     [](World& w) { return DRAV_DetectBlur(w.engine, w.frames, &w.blurOut); },
     [](const World& w) { return w.blurOut.data == nullptr && w.engine->blurResult.width == 0; }},
    {"SetMovingObjectInfo", 1, engineAlone, [](World& w) { return w.setObjects(n); },
     [](const World& w) { return w.engine->movingActive == 0 && w.engine->movingCount == n; }},
    {"SetMovingObjectInfo, growing", 1, [](World& w) { w.makeEngine(), w.setObjects(1); },
     [](World& w) { return w.setObjects(n); },
     [](const World& w) {
         return w.engine->movingActive == 1 && w.engine->movingCount == n &&
                w.engine->movingRects[0].right == 16 && w.engine->movingFlags[0] == 1;
     }},
    // The arrays, the table, a measurement for every frame and object, the choice by score.
    {"DRAV_Kelvane", 2 + n + 1, engineAlone, [](World& w) { return w.rank(n); }, indicesUntouched},
    {"DRAV_Kelvane, growing", 2 + 1 + n + 1,
     [](World& w) { w.makeEngine(), w.setObjects(1), w.setObjects(0); },
     [](World& w) { return w.rank(n); }, indicesUntouched},
    {"DRAV_Kelvane, moving", 1 + 2 * n + 1, [](World& w) { w.makeEngine(), w.setObjects(n); },
     [](World& w) { return w.rank(n); }, indicesUntouched},
    // Four blocks of the record, two of face data, the arrays, the table, the choice.
    {"DRAV_KelvaneWithPreProcessBlur", 6 + 2 + 1, engineAlone,
     [](World& w) {
         return DRAV_KelvaneWithPreProcessBlur(w.engine, w.frames, &w.recordData, w.blurs, n,
                                               &w.result);
     },
     indicesUntouched},
    {"DRAV_KelvaneWithPreProcess", 6 + 2 + n + 1, engineAlone,
     [](World& w) {
         return DRAV_KelvaneWithPreProcess(w.engine, w.frames, &w.recordData, n, &w.result);
     },
     indicesUntouched},
    {"ReadProcessorData", 4, nothing,
     [](World& w) {
         return ReadProcessorData(w.handle, &w.read, w.record.data(),
                                  static_cast<int>(w.record.size()));
     },
     [](const World& w) { return w.read == nullptr; }},
    {"allocParamsFace", 1, nothing, [](World& w) { return allocParamsFace(w.handle, w.owned, n); },
     [](const World& w) { return w.owned[0].faces == nullptr; }},
    {"allocParamsAlign", 1, nothing,
     [](World& w) { return allocParamsAlign(w.handle, w.owned, n); },
     [](const World& w) { return w.owned[0].alignment == nullptr; }},
    {"allocParams", 2, nothing, [](World& w) { return allocParams(w.handle, w.owned, n); },
     [](const World& w) { return !w.owned[n - 1].faces && !w.owned[n - 1].alignment; }},
};

// Fails the given allocation, and then does without failure what failed. False when the call has
// no such allocation.
bool failsAt(const EntryPoint& entry, int64_t allocation, const Arena* arena) {
    World w(arena != nullptr ? arena->handle() : nullptr);
    entry.prepare(w);
    const auto engineBlocks = [&] {
        return w.engine != nullptr ? 1 + (w.engine->movingRects != nullptr) : 0;
    };
    allocationsUntilFailure = allocation;
    const long code = entry.call(w);
    const bool failed = allocationsUntilFailure < 0;
    allocationsUntilFailure = -1;
    if (failed) {
        EXPECT_EQ(code, ERR_NO_MEMORY);
        EXPECT_TRUE(entry.isUntouched(w));
        EXPECT_TRUE(w.result.best == -1 || allocation == entry.allocations - 1);
        EXPECT_TRUE(arena == nullptr || arena->blocksInUse() == engineBlocks());
        EXPECT_EQ(entry.call(w), ERR_NONE);
    } else {
        EXPECT_EQ(code, ERR_NONE);
    }
    DRAV_Uninit(&w.engine);
    FreeProcessorData(w.handle, &w.read);
    freeParams(w.handle, w.owned, n);
    return failed;
}

TEST(AllocationFailure, EveryAllocationOfEveryEntryPoint) {
    int exercised = 0;
    for (const EntryPoint& entry : entryPoints) {
        for (const bool inArena : {true, false}) {
            const Arena arena(1 << 14);
            int failures = 0;
            while (failsAt(entry, failures, inArena ? &arena : nullptr) && failures < 20)
                ++failures;
            EXPECT_EQ(failures, entry.allocations) << entry.name;
            EXPECT_TRUE(arena.isEmpty()) << entry.name;
            exercised += failures;
        }
    }
    std::cout << exercised << " failing allocations\n";
}

// A block that the records already refer to is released when there is no room for another.
TEST(AllocationFailure, EarlierFaceStorageIsReleased) {
    const Arena arena(4096);
    _tag_DRAV_PARAM params[n] = {};
    for (const int64_t failing : {0, 1}) {
        ASSERT_EQ(allocParams(arena.handle(), params, n), ERR_NONE);
        void* const faces = params[0].faces;
        allocationsUntilFailure = failing;
        EXPECT_EQ(allocParams(arena.handle(), params, n), ERR_NO_MEMORY);
        EXPECT_TRUE(params[n - 1].faces == nullptr && params[n - 1].alignment == nullptr);
        if (failing == 1) // the new face block was attached, so the earlier one is the caller's
            VantMemFree(arena.handle(), faces);
        EXPECT_TRUE(arena.isEmpty());
    }
}

} // namespace
