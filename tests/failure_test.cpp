// What every entry point leaves behind when an allocation fails or an argument is refused.
#include "api/engine.h"
#include "support/allocation_hook.h"
#include "support/arena.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <iostream>
#include <utility>
#include <vector>

namespace {

constexpr int n = 3;
constexpr int32_t width = 640;
constexpr int32_t height = 480;

// Everything that a call can write, to be compared as bytes.
struct Outputs {
    _tag_DRAV_ENGINE* engine = nullptr;
    _tag_DRAV_DATA blur = {};
    _tag_DRAV_BLURRESULT lastBlur = {};
    int64_t moving[4] = {};
    int64_t indices[n] = {-1, -1, -1};
    _tag_DRAV_RESULT result = {n, indices, -1};
    float sharpness = -1.0f;
    _tag_Preprocessor_Data* record = nullptr;
    _tag_DRAV_PARAM params[n] = {};
    __tag_KIRO_OFFSCREEN image = {};
    void* resizeBuffer = nullptr;
    unsigned char plane[480] = {255};
    void* alignment = nullptr;
    void* roi = nullptr;
    std::array<long, 4> displacements = {-1, -1, -1, -1};
    _tag_ROI_INFO changed = {{-1, -1, -1, -1}, -1.0f, -1, -1};
};

// The third entries are at fault, and lie beyond the count.
struct FaceArrays {
    __tag_rect rects[3] = {{0, 0, 1, 1}, {0, 0, width, height}};
    uint64_t codes[3] = {16, 0, 17}, eyes[3] = {2, 0, 3}, smiles[3] = {3, 0, 4};
};

// One of everything that the entry points take.
struct World {
    explicit World(void* memHandle) : handle(memHandle) {
        for (size_t i = 0; i < pixels.size(); ++i)
            pixels[i] = static_cast<unsigned char>(i * i / 5);
        record[1] = n;
        for (int i = 0; i < n; ++i) {
            unsigned char* const plane = pixels.data(); // the chroma shows the same bytes
            images[i] = {0x601, width, height, {plane, plane, plane}, {width, 320, 320}};
            objects[i] = {{0, 0, 16, 16}, pixels.data()};
            blurs[i] = {&suppliedBlur, sizeof suppliedBlur};
            alignments[i].frameIndex = i;
            FaceArrays& a = arrays[i];
            faces[i] = {2, a.rects, a.codes, i > 0 ? a.eyes : nullptr, i > 0 ? a.smiles : nullptr};
            faceParams[i] = {&alignments[i], &faces[i]};
            uint32_t* const frameRecord = &record[8 + 103 * i];
            frameRecord[2] = frameRecord[3] = frameRecord[100] = 1; // a face of one pixel
        }
        DRAV_Init(handle, &engine);
        Alignment_Init(handle, &alignment);
        roiInit(handle, width, height, 0x601, &roi);
    }
    ~World() {
        for (_tag_DRAV_ENGINE** const used : {&engine, &out.engine})
            DRAV_Uninit(used);
        for (void** const used : {&alignment, &out.alignment})
            Alignment_Uninit(used);
        for (void** const used : {&roi, &out.roi})
            roiUninit(used);
        FreeProcessorData(handle, &out.record);
        freeParams(handle, out.params, n);
        imgFree(handle, &out.image);
        VantMemFree(handle, out.resizeBuffer);
    }
    // Makes what the engine holds part of the outputs.
    void observeEngine() {
        const bool stored = engine->movingRects != nullptr;
        out.lastBlur = engine->blurResult;
        out.moving[0] = engine->movingActive;
        out.moving[1] = engine->movingCount;
        out.moving[2] = stored ? engine->movingFlags[0] : 0;
        out.moving[3] = stored ? engine->movingRects[0].right : 0;
    }
    long setObjects(int32_t given) {
        movingInfo.count = given;
        return SetMovingObjectInfo(engine, info);
    }

    void* handle;
    std::vector<unsigned char> pixels = std::vector<unsigned char>(width * height);
    __tag_KIRO_OFFSCREEN images[n];
    FaceArrays arrays[n];
    _tag_DRAV_FACEINFO faces[n];
    _tag_DRAV_ALIGNMENT alignments[n] = {};
    _tag_DRAV_PARAM faceParams[n];
    uint32_t record[8 + 103 * n] = {};
    _tag_DRAV_DATA recordData = {record, sizeof record};
    _tag_DRAV_BLURRESULT suppliedBlur = {};
    _tag_DRAV_DATA blurs[n];
    _tag_DRAV_MOVINGOBJ objects[n];
    _tag_DRAV_MOVINGINFO movingInfo = {width, height, width, objects, n};
    __tag_rect region = {0, 0, width, height};
    Outputs out;
    __tag_KIRO_OFFSCREEN small = {0x601, 32, 12, {out.plane}, {40}};
    _tag_DRAV_ENGINE* engine = nullptr;
    void* alignment = nullptr;
    void* roi = nullptr;

    // Arguments, to be replaced by faulty ones.
    int64_t count = n;
    const __tag_KIRO_OFFSCREEN* frames = images;
    const _tag_DRAV_PARAM* params = faceParams;
    const _tag_DRAV_DATA* recordArgument = &recordData;
    const _tag_DRAV_DATA* blurList = blurs;
    const _tag_DRAV_MOVINGINFO* info = &movingInfo;
    _tag_DRAV_RESULT* result = &out.result;
    _tag_DRAV_DATA* blur = &out.blur;
    _tag_DRAV_PARAM* owned = out.params;
};

long rank(World& w) { return DRAV_Kelvane(w.engine, w.frames, w.params, w.count, w.result); }
long rankRecord(World& w) {
    return DRAV_KelvaneWithPreProcess(w.engine, w.frames, w.recordArgument, w.count, w.result);
}
long rankRecordAndBlurs(World& w) {
    return DRAV_KelvaneWithPreProcessBlur(w.engine, w.frames, w.recordArgument, w.blurList, w.count,
                                          w.result);
}
long setObjects(World& w) { return w.setObjects(n); }
long detectBlur(World& w) { return DRAV_DetectBlur(w.engine, w.frames, w.blur); }
long measure(World& w) {
    return imgEvaluateSharpness(w.handle, w.images, &w.out.sharpness, &w.region);
}
long read(World& w) {
    return ReadProcessorData(w.handle, &w.out.record, w.recordData.data,
                             static_cast<int>(w.recordData.size));
}
template <long (*allocate)(void*, _tag_DRAV_PARAM*, long)>
long attach(World& w) {
    return allocate(w.handle, w.owned, w.count);
}
template <long (*filter)(void*, const unsigned char*, long, long, long, long, unsigned char*, long)>
long smooth(World& w) {
    return filter(w.handle, w.pixels.data(), 32, 12, 40, 1, w.out.plane, 3);
}
long boxBlur(World& w) {
    return GB_BoxBlurA(w.handle, w.pixels.data(), 32, 12, 40, 1, w.out.plane, 1, 1, 1, 1);
}
long boxBlurInPlace(World& w) {
    return GB_BoxBlurA(w.handle, w.out.plane, 32, 12, 40, 1, w.out.plane, 1, 1, 1, 1);
}
long align(World& w) {
    _tag_ZEP_NS_INPUTINFO input = {2, {&w.images[0], &w.images[1]}};
    long* results[] = {&w.out.displacements[0], &w.out.displacements[2]};
    return Image_Alignment_Video(w.alignment, &input, 0, results, 1);
}

struct EntryPoint {
    const char* name;
    int allocations;
    long (*call)(World&);
    std::vector<int32_t> objectCounts = {}; // given to the engine beforehand
    int untouched = INT_MAX;                // the first allocations, which leave no trace
    void (*trace)(World&) = nullptr;        // writes what the others leave
};

void firstIsBest(World& w) { w.out.result.best = 0; }
void countIsKnown(World& w) { w.out.moving[1] = n; }

const EntryPoint entryPoints[] = {
    {"DRAV_Init", 1, [](World& w) { return DRAV_Init(w.handle, &w.out.engine); }},
    {"imgEvaluateSharpness", 1, measure},
    {"DRAV_DetectBlur", 1, detectBlur},
    {"SetMovingObjectInfo", 1, setObjects, {}, 0, countIsKnown},
    {"SetMovingObjectInfo, growing", 1, setObjects, {1}, 0, countIsKnown},
    // The arrays, the table, a measurement for every frame and object, the choice by score.
    {"DRAV_Kelvane", 2 + n + 1, rank, {}, 2 + n, firstIsBest},
    {"DRAV_Kelvane, growing", 2 + 1 + n + 1, rank, {1, 0}, 2 + 1 + n, firstIsBest},
    {"DRAV_Kelvane, moving", 1 + 2 * n + 1, rank, {n}, 1 + 2 * n, firstIsBest},
    // Four blocks of the record, two of face data, then the same.
    {"DRAV_KelvaneWithPreProcess", 6 + 2 + n + 1, rankRecord, {}, 6 + 2 + n, firstIsBest},
    {"DRAV_KelvaneWithPreProcessBlur", 6 + 2 + 1, rankRecordAndBlurs, {}, 6 + 2, firstIsBest},
    {"ReadProcessorData", 4, read},
    {"allocParamsFace", 1, attach<allocParamsFace>},
    {"allocParamsAlign", 1, attach<allocParamsAlign>},
    {"allocParams", 2, attach<allocParams>},
    {"imgAlloc", 1, [](World& w) { return imgAlloc(w.handle, &w.out.image, 6, 4, 0x601); }},
    {"imgResize", 1, [](World& w) { return imgResize(w.handle, w.images, &w.small); }},
    {"ImageResize_AllocMem_BL", 1,
     [](World& w) {
         return ImageResize_AllocMem_BL(w.handle, 9, 9, 1, 5, 5, &w.out.resizeBuffer);
     }},
    {"ImageResize_BL_ToBGR24", 1,
     [](World& w) { return ImageResize_BL_ToBGR24(w.handle, w.images, w.out.plane, 13, 12, 40); }},
    // Column sums and reciprocals; rows to keep when in place.
    {"GB_BoxBlurA", 2, boxBlur},
    {"GB_BoxBlurA, in place", 3, boxBlurInPlace},
    {"GB_GaussianBlurA", 2 + 3, smooth<GB_GaussianBlurA>, {}, 2, [](World& w) { boxBlur(w); }},
    {"sbrErode", 1, smooth<sbrErode>},
    {"sbrOpen", 2, smooth<sbrOpen>, {}, 1, [](World& w) { smooth<sbrErode>(w); }},
    {"Alignment_Init", 2, [](World& w) { return Alignment_Init(w.handle, &w.out.alignment); }},
    // Two bitmap sets, then two pyramids: record, levels and the patches of one level.
    {"Image_Alignment_Video", 2 + 2 * 3, align, {}, 0, [](World& w) { w.out.displacements = {}; }},
    {"roiInit", 4, [](World& w) { return roiInit(w.handle, width, height, 0x601, &w.out.roi); }},
    // The alignment, three box filters in place, opening and closing.
    {"roiCalculate", 2 + 2 * 3 + 9 + 4,
     [](World& w) {
         return roiCalculate(w.roi, &w.images[0], &w.images[1], w.alignments, &w.out.changed);
     }},
};

// Fails the given allocation, and then does without failure what failed. False when the call has
// no such allocation.
bool failsAt(const EntryPoint& entry, int64_t allocation, void* handle) {
    World w(handle);
    for (const int32_t count : entry.objectCounts)
        w.setObjects(count);
    w.observeEngine();
    Outputs before, after;
    std::memcpy(&before, &w.out, sizeof before);
    allocationsUntilFailure = allocation;
    const long code = entry.call(w);
    const bool failed = std::exchange(allocationsUntilFailure, -1) < 0;
    EXPECT_EQ(code, failed ? ERR_NO_MEMORY : ERR_NONE);
    w.observeEngine();
    if (failed) {
        std::memcpy(&after, &w.out, sizeof after);
        std::memcpy(&w.out, &before, sizeof before);
        if (allocation >= entry.untouched)
            entry.trace(w);
        EXPECT_EQ(std::memcmp(&after, &w.out, sizeof after), 0) << allocation;
        EXPECT_EQ(entry.call(w), ERR_NONE);
        w.observeEngine();
    }
    EXPECT_NE(std::memcmp(&before, &w.out, sizeof before), 0);
    return failed;
}

TEST(Failure, EveryAllocationOfEveryEntryPoint) {
    int64_t exercised = 0;
    for (const EntryPoint& entry : entryPoints) {
        for (const bool inArena : {true, false}) {
            SCOPED_TRACE(entry.name);
            const Arena arena(1 << 22);
            int64_t failures = 0;
            while (failsAt(entry, failures, inArena ? arena.handle() : nullptr) && failures < 50) {
                EXPECT_TRUE(arena.isEmpty()) << failures;
                ++failures;
            }
            EXPECT_EQ(failures, entry.allocations);
            exercised += failures;
        }
    }
    std::cout << exercised << " failing allocations\n";
}

// A block that the records already refer to is released when there is no room for another.
TEST(Failure, EarlierFaceStorageIsReleased) {
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

// Expects a refusal that leaves no trace, and asks for no memory where that can be told.
void expectRefusal(World& w, long (*call)(World&), int64_t value, void* field, size_t size) {
    Outputs before;
    w.observeEngine();
    std::memcpy(&before, &w.out, sizeof before);
    unsigned char valid[sizeof value];
    std::memcpy(valid, field, size);
    std::memcpy(field, &value, size);
    allocationsUntilFailure = call == rankRecord || call == rankRecordAndBlurs ? -1 : 0;
    EXPECT_EQ(call(w), ERR_INVALID_PARAM) << value << " at " << field;
    allocationsUntilFailure = -1;
    std::memcpy(field, valid, size);
    w.observeEngine();
    EXPECT_EQ(std::memcmp(&before, &w.out, sizeof before), 0) << value;
}

// One field after the other is set to the value, or to null.
template <typename... Fields>
void refuses(World& w, long (*call)(World&), int64_t value, Fields&... fields) {
    (expectRefusal(w, call, value, &fields, sizeof fields), ...);
}

void refuseFaults(World&& w) {
    FaceArrays& a = w.arrays[n - 1];
    __tag_rect& face = a.rects[1];
    _tag_DRAV_FACEINFO& faces = w.faces[n - 1];
    _tag_DRAV_PARAM& param = w.faceParams[n - 1];
    __tag_KIRO_OFFSCREEN& image = w.images[n - 1];
    refuses(w, rank, 0, w.engine, w.frames, w.params, w.result, w.count, w.out.result.count,
            w.out.result.indices, param.alignment, param.faces, w.faceParams[0].faces, faces.rects,
            faces.codes, faces.eyes, faces.smiles, face.right, face.bottom, image.format);
    refuses(w, rank, -1, w.count, w.out.result.count, w.alignments[0].frameIndex, face.left,
            face.top, a.codes[1], a.eyes[1], a.smiles[1]);
    refuses(w, rank, INT64_MIN, w.count, w.out.result.count);
    refuses(w, rank, INT64_MAX, faces.count);
    refuses(w, rank, n, w.alignments[n - 1].frameIndex);
    refuses(w, rank, 3, a.eyes[1]);
    refuses(w, rank, 4, a.smiles[1]);
    refuses(w, rank, 17, a.codes[1]);
    refuses(w, rank, width, face.left, image.height);
    refuses(w, rank, height, face.top, image.width);
    refuses(w, rank, width + 1, face.right);
    refuses(w, rank, height + 1, face.bottom);
    refuses(w, rank, 0x801, image.format);

    uint32_t* const frameRecord = &w.record[8 + 103 * (n - 1)];
    refuses(w, rankRecord, 0, w.engine, w.frames, w.recordArgument, w.recordData.data, w.result,
            w.count, w.record[1], image.planes[0]);
    refuses(w, rankRecord, n - 1, w.count, w.record[1]);
    refuses(w, rankRecord, sizeof w.record + 1, w.recordData.size);
    refuses(w, rankRecord, 11, frameRecord[100]);
    refuses(w, rankRecord, INT32_MAX, frameRecord[100]);
    refuses(w, rankRecord, 17, frameRecord[4]);
    refuses(w, rankRecordAndBlurs, 0, w.blurList, w.blurs[n - 1].data, w.blurs[n - 1].size);
    for (const int64_t size : {12, 17, -16})
        refuses(w, rankRecordAndBlurs, size, w.blurs[n - 1].size);
    refuses(w, read, 0, w.recordData.data);
    for (const int64_t size : {0, 31, -1})
        refuses(w, read, size, w.recordData.size);
    for (const auto allocate :
         {attach<allocParams>, attach<allocParamsFace>, attach<allocParamsAlign>}) {
        refuses(w, allocate, 0, w.owned, w.count);
        refuses(w, allocate, -1, w.count);
    }

    refuses(w, setObjects, 0, w.engine, w.info, w.movingInfo.objects, w.movingInfo.width,
            w.movingInfo.height);
    refuses(w, setObjects, width - 1, w.movingInfo.pitch);
    refuses(w, detectBlur, 0, w.engine, w.frames, w.blur, w.images[0].planes[0]);
    for (const int64_t format : {0x801, 0x201, 0x600, 0x101, 0x803, 0})
        refuses(w, detectBlur, format, w.images[0].format);
    for (const int64_t format : {0x503, 0x201, 0x600, 0x602, 0x800, 0x100, 0, -1})
        refuses(w, measure, format, w.images[0].format);
    refuses(w, measure, 0, w.region.right, w.region.bottom, w.images[0].planes[0]);
    refuses(w, measure, -1, w.region.left, w.region.top);
    refuses(w, measure, width, w.region.left);
    refuses(w, measure, height, w.region.top);
    refuses(w, measure, width + 1, w.region.right);
    refuses(w, measure, height + 1, w.region.bottom);
}

TEST(Failure, EveryFaultOfTheArgumentsIsRefused) {
    const Arena arena(1 << 22);
    refuseFaults(World(arena.handle()));
    EXPECT_TRUE(arena.isEmpty());

    _tag_Preprocessor_Data* record = nullptr;
    unsigned char bytes[32] = {};
    long area = -1;
    EXPECT_EQ(DRAV_Init(nullptr, nullptr), ERR_INVALID_PARAM);
    EXPECT_EQ(DRAV_GetDefaultParam(nullptr), ERR_INVALID_PARAM);
    EXPECT_EQ(ReadProcessorData(nullptr, nullptr, bytes, 32), ERR_INVALID_PARAM);
    EXPECT_EQ(FreeProcessorData(nullptr, nullptr), ERR_INVALID_PARAM);
    EXPECT_EQ(FreeProcessorData(nullptr, &record), ERR_INVALID_PARAM);
    EXPECT_EQ(calMaskArea(nullptr, 4, 4, 4, 0, nullptr, &area), ERR_INVALID_PARAM);
    EXPECT_EQ(area, -1);
}

} // namespace
