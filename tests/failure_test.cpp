// What every entry point leaves behind when an allocation fails or an argument is refused.
#include "api/engine.h"
#include "support/allocation_hook.h"
#include "support/arena.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <climits>
#include <iostream>
#include <set>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

constexpr int n = 3;
constexpr int32_t width = 640;
constexpr int32_t height = 480;

unsigned char* pixels() {
    static std::vector<unsigned char> bytes;
    for (size_t i = bytes.size(); i < width * height; ++i)
        bytes.push_back(static_cast<unsigned char>(i * i / 5));
    return bytes.data();
}

// One of everything that the entry points take, and everything that they write.
struct World {
    explicit World(void* memHandle) : handle(memHandle) {
        record[1] = n;
        allocParams(handle, params, n);
        for (int i = 0; i < n; ++i) {
            images[i] = {0x601, width, height, {pixels(), pixels(), pixels()}, {width, 320, 320}};
            objects[i] = {{0, 0, 16, 16}, pixels()};
            blurs[i] = {&suppliedBlur, sizeof suppliedBlur};
            params[i].alignment->frameIndex = i;
            _tag_DRAV_FACEINFO& faces = *params[i].faces; // what lies beyond the count is at fault
            faces.count = 2;
            faces.rects[0] = {0, 0, 1, 1};
            faces.rects[1] = {0, 0, width, height};
            faces.eyes[0] = 2; // closed, which makes the first frame the best
            faces.eyes = i > 0 ? faces.eyes : nullptr;
            faces.smiles = i > 0 ? faces.smiles : nullptr;
            uint32_t* const frameRecord = &record[8 + 103 * i];
            frameRecord[2] = frameRecord[3] = frameRecord[100] = 1; // a face of one pixel
        }
        DRAV_Init(handle, &engine);
        Alignment_Init(handle, &alignment);
        roiInit(handle, width, height, 0x601, &roi);
    }
    ~World() {
        VantMemFree(handle, bitmapSet);
        ReleasePyrBit(static_cast<_tag_ZEP_ABDEBLUR*>(alignment), &pyramid);
        DRAV_Uninit(&engine);
        DRAV_Uninit(&newEngine);
        Alignment_Uninit(&alignment);
        Alignment_Uninit(&newAlignment);
        roiUninit(&roi);
        roiUninit(&newRoi);
        FreeProcessorData(handle, &readRecord);
        freeParams(handle, params, n);
        freeParams(handle, owned, n);
        imgFree(handle, &newImage);
        VantMemFree(handle, resizeBuffer);
    }
    long setObjects(int32_t count) {
        _tag_DRAV_MOVINGINFO given = movingInfo;
        given.count = count;
        const long code = SetMovingObjectInfo(engine, &given);
        moving = {engine->movingActive, engine->movingCount};
        return code;
    }

    void* handle;
    __tag_KIRO_OFFSCREEN images[n];
    __tag_rect region = {0, 0, width, height};
    _tag_DRAV_PARAM params[n] = {};
    uint32_t record[8 + 103 * n] = {};
    _tag_DRAV_DATA recordData = {record, sizeof record};
    _tag_DRAV_BLURRESULT suppliedBlur = {};
    _tag_DRAV_DATA blurs[n];
    _tag_DRAV_MOVINGOBJ objects[n];
    _tag_DRAV_MOVINGINFO movingInfo = {width, height, width, objects, n};
    _tag_DRAV_ENGINE* engine = nullptr;
    void* alignment = nullptr;
    void* roi = nullptr;

    _tag_DRAV_ENGINE* newEngine = nullptr;
    _tag_DRAV_DATA blur = {};
    std::array<int64_t, 2> moving = {};
    int64_t indices[n] = {-1, -1, -1};
    _tag_DRAV_RESULT ranking = {n, indices, -1};
    float sharpness = -1.0f;
    _tag_Preprocessor_Data* readRecord = nullptr;
    _tag_DRAV_PARAM owned[n] = {};
    __tag_KIRO_OFFSCREEN newImage = {};
    void* resizeBuffer = nullptr;
    unsigned char plane[480] = {255};
    __tag_KIRO_OFFSCREEN small = {0x601, 32, 12, {plane}, {40}};
    void* newAlignment = nullptr;
    void* newRoi = nullptr;
    unsigned char* bitmapSet = nullptr;
    _tag_BitPyramid_Struct* pyramid = nullptr;
    std::array<long, 4> displacements = {-1, -1, -1, -1};
    _tag_ROI_INFO changed = {{-1, -1, -1, -1}, -1.0f, -1, -1};
};

using WorldBytes = std::array<unsigned char, sizeof(World)>;

WorldBytes bytesOf(const World& w) {
    WorldBytes bytes;
    std::memcpy(&bytes, static_cast<const void*>(&w), sizeof w);
    return bytes;
}

long rank(World& w) { return DRAV_Kelvane(w.engine, w.images, w.params, n, &w.ranking); }
long rankRecord(World& w) {
    return DRAV_KelvaneWithPreProcess(w.engine, w.images, &w.recordData, n, &w.ranking);
}
long rankRecordAndBlurs(World& w) {
    return DRAV_KelvaneWithPreProcessBlur(w.engine, w.images, &w.recordData, w.blurs, n,
                                          &w.ranking);
}
long setObjects(World& w) { return w.setObjects(n); }
long detectBlur(World& w) { return DRAV_DetectBlur(w.engine, w.images, &w.blur); }
long measure(World& w) { return imgEvaluateSharpness(w.handle, w.images, &w.sharpness, &w.region); }
long read(World& w) {
    return ReadProcessorData(w.handle, &w.readRecord, w.record,
                             static_cast<int>(w.recordData.size));
}
template <long (*allocate)(void*, _tag_DRAV_PARAM*, long)>
long attach(World& w) {
    return allocate(w.handle, w.owned, n);
}
template <long (*filter)(void*, const unsigned char*, long, long, long, long, unsigned char*, long)>
long smooth(World& w) {
    return filter(w.handle, pixels(), 32, 12, 40, 1, w.plane, 3);
}
long boxBlur(World& w) {
    return GB_BoxBlurA(w.handle, pixels(), 32, 12, 40, 1, w.plane, 1, 1, 1, 1);
}
long boxBlurInPlace(World& w) {
    return GB_BoxBlurA(w.handle, w.plane, 32, 12, 40, 1, w.plane, 1, 1, 1, 1);
}
long align(World& w) {
    _tag_ZEP_NS_INPUTINFO input = {2, {&w.images[0], &w.images[1]}};
    long* results[] = {&w.displacements[0], &w.displacements[2]};
    return Image_Alignment_Video(w.alignment, &input, 0, results, 1);
}

long allocateBitmaps(World& w) {
    return Alloc_ComputeBitMaps_Video(static_cast<_tag_ZEP_ABDEBLUR*>(w.alignment), &w.bitmapSet,
                                      width, height, 4, 3, 0);
}
long allocatePyramid(World& w) {
    return Alloc_ComputeBitPyramid_Video(static_cast<_tag_ZEP_ABDEBLUR*>(w.alignment), &w.pyramid,
                                         width, height, 4, 3, 0);
}

long findRegion(World& w) {
    return roiCalculate(w.roi, &w.images[0], &w.images[1], w.params[0].alignment, &w.changed);
}
void nothing(World&) {}
void oneObject(World& w) { w.setObjects(1); }
void oneObjectAndNone(World& w) {
    w.setObjects(1);
    w.setObjects(0);
}
void allObjects(World& w) { w.setObjects(n); }
void foundRegion(World& w) {
    findRegion(w);
    w.changed.dx = -1;
}

struct EntryPoint {
    const char* name;
    int allocations;
    long (*call)(World&);
    void (*prepare)(World&) = nothing; // has its memory
    int untouched = INT_MAX;           // the first allocations, which leave no trace
    void (*trace)(World&) = nullptr;   // writes what the others leave
};

void firstIsBest(World& w) { w.ranking.best = 0; }
void countIsKnown(World& w) { w.moving[1] = n; }

const EntryPoint entryPoints[] = {
    {"DRAV_Init", 1, [](World& w) { return DRAV_Init(w.handle, &w.newEngine); }},
    {"imgEvaluateSharpness", 1, measure},
    {"DRAV_DetectBlur", 1, detectBlur},
    {"SetMovingObjectInfo", 1, setObjects, nothing, 0, countIsKnown},
    {"SetMovingObjectInfo, growing", 1, setObjects, oneObject, 0, countIsKnown},
    // The arrays, the table, a measurement for every frame and object, the choice by score.
    {"DRAV_Kelvane", 2 + n + 1, rank, nothing, 2 + n, firstIsBest},
    {"DRAV_Kelvane, growing", 2 + 1 + n + 1, rank, oneObjectAndNone, 2 + 1 + n, firstIsBest},
    {"DRAV_Kelvane, moving", 1 + 2 * n + 1, rank, allObjects, 1 + 2 * n, firstIsBest},
    // Four blocks of the record, two of face data, then the same.
    {"DRAV_KelvaneWithPreProcess", 6 + 2 + n + 1, rankRecord, nothing, 6 + 2 + n, firstIsBest},
    {"DRAV_KelvaneWithPreProcessBlur", 6 + 2 + 1, rankRecordAndBlurs, nothing, 6 + 2, firstIsBest},
    {"ReadProcessorData", 4, read},
    {"allocParamsFace", 1, attach<allocParamsFace>},
    {"allocParamsAlign", 1, attach<allocParamsAlign>},
    {"allocParams", 2, attach<allocParams>},
    {"imgAlloc", 1, [](World& w) { return imgAlloc(w.handle, &w.newImage, 6, 4, 0x601); }},
    {"imgResize", 1, [](World& w) { return imgResize(w.handle, w.images, &w.small); }},
    {"ImageResize_AllocMem_BL", 1,
     [](World& w) { return ImageResize_AllocMem_BL(w.handle, 9, 9, 1, 5, 5, &w.resizeBuffer); }},
    {"ImageResize_BL_ToBGR24", 1,
     [](World& w) { return ImageResize_BL_ToBGR24(w.handle, w.images, w.plane, 13, 12, 40); }},
    // Column sums and reciprocals; rows to keep when in place.
    {"GB_BoxBlurA", 2, boxBlur},
    {"GB_BoxBlurA, in place", 3, boxBlurInPlace},
    {"GB_GaussianBlurA", 2 + 3, smooth<GB_GaussianBlurA>, nothing, 2, [](World& w) { boxBlur(w); }},
    {"sbrErode", 1, smooth<sbrErode>},
    {"sbrDilate", 1, smooth<sbrDilate>},
    {"sbrOpen", 2, smooth<sbrOpen>, nothing, 1, [](World& w) { smooth<sbrErode>(w); }},
    {"sbrClose", 2, smooth<sbrClose>, nothing, 1, [](World& w) { smooth<sbrDilate>(w); }},
    {"Alloc_ComputeBitMaps_Video", 1, allocateBitmaps},
    // The record, its levels and the patches of one of them.
    {"Alloc_ComputeBitPyramid_Video", 3, allocatePyramid},
    {"Alignment_Init", 2, [](World& w) { return Alignment_Init(w.handle, &w.newAlignment); }},
    // Two bitmap sets, then two pyramids: record, levels and the patches of one level.
    {"Image_Alignment_Video", 2 + 2 * 3, align, nothing, 0, [](World& w) { w.displacements = {}; }},
    {"roiInit", 4, [](World& w) { return roiInit(w.handle, width, height, 0x601, &w.newRoi); }},
    // The alignment, three box filters in place, opening and closing.
    {"roiCalculate", 2 + 2 * 3 + 9 + 4, findRegion},
    {"roiCalculate, later", 9 + 4, findRegion, foundRegion},
};

// What a call has given, without the addresses of it.
std::vector<int64_t> resultOf(const World& w) {
    std::vector<int64_t> result = {w.newEngine != nullptr,
                                   w.blur.size,
                                   w.ranking.count,
                                   w.ranking.best,
                                   std::bit_cast<int32_t>(w.sharpness),
                                   w.readRecord != nullptr ? w.readRecord->frameCount : -1,
                                   w.owned[n - 1].faces != nullptr,
                                   w.owned[n - 1].alignment != nullptr,
                                   w.newImage.pitches[1],
                                   w.resizeBuffer != nullptr,
                                   w.newAlignment != nullptr,
                                   w.newRoi != nullptr,
                                   w.changed.rect.right,
                                   w.changed.rect.bottom,
                                   w.changed.dx,
                                   w.changed.dy,
                                   w.bitmapSet != nullptr,
                                   w.pyramid != nullptr};
    if (w.blur.data != nullptr)
        result.push_back(static_cast<const _tag_DRAV_BLURRESULT*>(w.blur.data)->score);
    result.insert(result.end(), w.moving.begin(), w.moving.end());
    result.insert(result.end(), std::begin(w.indices), std::end(w.indices));
    result.insert(result.end(), w.displacements.begin(), w.displacements.end());
    result.insert(result.end(), std::begin(w.plane), std::end(w.plane));
    return result;
}

// Calls with too little memory, and then again with enough. False when there was enough at once.
template <typename Restrict, typename Release>
bool failsWithin(const EntryPoint& entry, void* handle, Restrict restrict, Release release,
                 std::vector<int64_t>& expected) {
    World w(handle);
    entry.prepare(w);
    const WorldBytes before = bytesOf(w);
    allocationCount = 0;
    restrict();
    const long code = entry.call(w);
    release();
    const int64_t failedAllocation = allocationCount - 1;
    if (code != ERR_NONE) {
        EXPECT_EQ(code, ERR_NO_MEMORY);
        const WorldBytes after = bytesOf(w);
        std::memcpy(static_cast<void*>(&w), &before, sizeof w);
        if (failedAllocation >= entry.untouched)
            entry.trace(w);
        EXPECT_TRUE(after == bytesOf(w)) << failedAllocation;
        EXPECT_EQ(entry.call(w), ERR_NONE);
    }
    EXPECT_TRUE(before != bytesOf(w));
    if (expected.empty())
        expected = resultOf(w);
    EXPECT_EQ(resultOf(w), expected);
    return code != ERR_NONE;
}

// One allocation after the other fails. Without a failure, `expected` receives the result.
int failEveryMalloc(const EntryPoint& entry, std::vector<int64_t>& expected) {
    const int64_t blocks = heapBlocks;
    const auto release = [] { mallocsUntilFailure = -1; };
    failsWithin(entry, nullptr, release, release, expected);
    int failures = 0;
    const auto restrict = [&] { mallocsUntilFailure = failures; };
    while (failsWithin(entry, nullptr, restrict, release, expected) && failures < 50)
        ++failures;
    EXPECT_EQ(heapBlocks, blocks);
    return failures;
}

// An arena is given what the allocation that failed before lacked. Counts the allocations that
// failed in some arena; room that was needed by others may serve again.
int failInGrowingRoom(const EntryPoint& entry, std::vector<int64_t>& expected) {
    const Arena arena(1 << 22);
    std::set<int64_t> failed;
    long room = 0;
    int64_t last = 0;
    void* rest = nullptr;
    const auto restrict = [&] {
        rest = VantMemAlloc(arena.handle(), GetMaxAllocMemSize(arena.handle()) - room - 16);
        allocationCount = 0;
    };
    const auto release = [&] {
        last = allocationCount;
        room = std::max(32L, room + (lastShortage + 7) / 8 * 8);
        VantMemFree(arena.handle(), rest);
    };
    while (failsWithin(entry, arena.handle(), restrict, release, expected) && last < 50) {
        EXPECT_TRUE(arena.isEmpty()) << last;
        failed.insert(last);
    }
    EXPECT_TRUE(arena.isEmpty());
    return static_cast<int>(failed.size());
}

TEST(Failure, EveryAllocationOfEveryEntryPoint) {
    int exercised = 0;
    for (const EntryPoint& entry : entryPoints) {
        SCOPED_TRACE(entry.name);
        std::vector<int64_t> expected;
        EXPECT_EQ(failEveryMalloc(entry, expected), entry.allocations);
        const int inArena = failInGrowingRoom(entry, expected);
        EXPECT_TRUE(inArena > 0 && inArena <= entry.allocations) << inArena;
        exercised += entry.allocations + inArena;
    }
    std::cout << exercised << " failing allocations\n";
    RecordProperty("failing_allocations", exercised);
}

TEST(Failure, TheHeapItself) {
    const int64_t blocks = heapBlocks;
    void* const block = VantMemAlloc(nullptr, 8);
    VantMemSet(block, 7, 8);
    mallocsUntilFailure = 0;
    EXPECT_EQ(VantMemAlloc(nullptr, 8), nullptr);
    mallocsUntilFailure = 0;
    EXPECT_EQ(VantMemRealloc(nullptr, block, 1 << 20), nullptr);
    EXPECT_EQ(VantMemCmp(block, "\7\7\7\7\7\7\7\7", 8), 0);
    VantMemFree(nullptr, block);
    EXPECT_EQ(heapBlocks, blocks);
}

// Expects a refusal that leaves no trace, and asks for no memory where that can be told.
void expectRefusal(World& w, long (*call)(World&), int64_t value, void* field, size_t size) {
    unsigned char valid[sizeof value];
    std::memcpy(valid, field, size);
    const WorldBytes before = bytesOf(w);
    std::memcpy(field, &value, size);
    allocationsUntilFailure = call == rankRecord || call == rankRecordAndBlurs ? -1 : 0;
    EXPECT_EQ(call(w), ERR_INVALID_PARAM) << value << " in a field of " << size << " bytes";
    allocationsUntilFailure = -1;
    std::memcpy(field, valid, size);
    EXPECT_EQ(before, bytesOf(w)) << value;
}

// One field after the other is set to the value, or to null.
template <typename... Fields>
void refuses(World& w, long (*call)(World&), int64_t value, Fields&... fields) {
    (expectRefusal(w, call, value, &fields, sizeof fields), ...);
}

// One argument after the other is null or zero, from the given one on.
template <size_t first, typename... Parameters>
void refusesNull(long (*function)(Parameters...), std::type_identity_t<Parameters>... arguments) {
    [&]<size_t... i>(std::index_sequence<i...>) {
        for (size_t k = first; k < sizeof...(i); ++k)
            EXPECT_EQ(function((i == k ? Parameters{} : arguments)...), ERR_INVALID_PARAM) << k;
    }
    (std::index_sequence_for<Parameters...>{});
}

void refuseFaults(World&& w) {
    const WorldBytes before = bytesOf(w);
    refusesNull<0>(DRAV_Kelvane, w.engine, w.images, w.params, n, &w.ranking);
    refusesNull<0>(DRAV_KelvaneWithPreProcess, w.engine, w.images, &w.recordData, n, &w.ranking);
    refusesNull<0>(DRAV_KelvaneWithPreProcessBlur, w.engine, w.images, &w.recordData, w.blurs, n,
                   &w.ranking);
    refusesNull<0>(SetMovingObjectInfo, w.engine, &w.movingInfo);
    refusesNull<0>(DRAV_DetectBlur, w.engine, w.images, &w.blur);
    refusesNull<0>(DRAV_GetDefaultParam, w.owned);
    refusesNull<1>(DRAV_Init, w.handle, &w.newEngine);
    refusesNull<1>(ReadProcessorData, w.handle, &w.readRecord, w.record, sizeof w.record);
    refusesNull<1>(FreeProcessorData, w.handle, &w.readRecord);
    for (const auto allocate : {allocParams, allocParamsFace, allocParamsAlign})
        refusesNull<1>(allocate, w.handle, w.owned, n);
    EXPECT_EQ(FreeProcessorData(w.handle, &w.readRecord), ERR_INVALID_PARAM);
    for (const int size : {31, -1})
        EXPECT_EQ(ReadProcessorData(w.handle, &w.readRecord, w.record, size), ERR_INVALID_PARAM);
    auto* const context = static_cast<_tag_ZEP_ABDEBLUR*>(w.alignment);
    __tag_KIRO_OFFSCREEN noPlane = w.images[0];
    noPlane.planes[0] = nullptr;
    for (const long code :
         {Alloc_ComputeBitMaps_Video(nullptr, &w.bitmapSet, width, height, 4, 3, 0),
          Alloc_ComputeBitMaps_Video(context, nullptr, width, height, 4, 3, 0),
          Alloc_ComputeBitPyramid_Video(nullptr, &w.pyramid, width, height, 4, 3, 0),
          Alloc_ComputeBitPyramid_Video(context, nullptr, width, height, 4, 3, 0),
          roiInit(w.handle, width, height, 0x601, nullptr),
          roiInit(w.handle, width, height, -1, &w.newRoi),
          roiInit(w.handle, width, height, 0x100000601, &w.newRoi),
          calMaskArea(nullptr, 4, 4, 4, 0, nullptr, &w.displacements[0]),
          calMaskArea(pixels(), 4, 4, 4, 0, nullptr, nullptr),
          ImageResize_BL(pixels(), 2, 2, 2, 1, w.plane, 3, 3, 3, nullptr),
          imgResize(w.handle, &noPlane, &w.small)})
        EXPECT_EQ(code, ERR_INVALID_PARAM);
    for (const long beyond : {-2, 2}) // candidates that no bitmap has counts for
        EXPECT_EQ(
            0, InterBitmapOperation2(nullptr, nullptr, nullptr, nullptr, 32, 12, 4, beyond, 0) +
                   InterBitmapOperation2(nullptr, nullptr, nullptr, nullptr, 32, 12, 4, 0, beyond));
    ReleasePyrBit(nullptr, &w.pyramid);
    ReleasePyrBit(context, nullptr);
    roiUninit(nullptr);
    DRAV_GetVersion(nullptr);
    EXPECT_EQ(before, bytesOf(w));

    _tag_DRAV_PARAM& last = w.params[n - 1];
    _tag_DRAV_FACEINFO& faces = *last.faces;
    __tag_rect& face = faces.rects[1];
    __tag_KIRO_OFFSCREEN& image = w.images[n - 1];
    refuses(w, rank, 0, w.ranking.count, w.ranking.indices, last.alignment, last.faces,
            w.params[0].faces, faces.rects, faces.codes, faces.eyes, faces.smiles, face.right,
            face.bottom, image.format);
    refuses(w, rank, -1, w.ranking.count, w.params[0].alignment->frameIndex, face.left, face.top,
            faces.codes[1], faces.eyes[1], faces.smiles[1]);
    refuses(w, rank, INT64_MAX, faces.count);
    refuses(w, rank, n, last.alignment->frameIndex, faces.eyes[1]);
    refuses(w, rank, 4, faces.smiles[1]);
    refuses(w, rank, 17, faces.codes[1]);
    refuses(w, rank, width, face.left, image.height);
    refuses(w, rank, height, face.top, image.width);
    refuses(w, rank, width + 1, face.right);
    refuses(w, rank, height + 1, face.bottom);
    refuses(w, rank, 0x801, image.format);

    uint32_t* const frameRecord = &w.record[8 + 103 * (n - 1)];
    refuses(w, rankRecord, 0, w.recordData.data, w.record[1], image.planes[0]);
    refuses(w, rankRecord, n + 1, w.record[1]);
    refuses(w, rankRecord, sizeof w.record + 1, w.recordData.size);
    refuses(w, rankRecord, 11, frameRecord[100]);
    refuses(w, rankRecord, 17, frameRecord[4]);
    refuses(w, rankRecordAndBlurs, 0, w.blurs[n - 1].data);
    for (const int64_t size : {0, 12, 17, -16})
        refuses(w, rankRecordAndBlurs, size, w.blurs[n - 1].size);

    w.record[1] = n - 1; // a record for fewer frames
    refuses(w, rankRecord, sizeof w.record - 412, w.recordData.size);
    w.record[1] = n;

    refuses(w, setObjects, 0, w.movingInfo.objects, w.movingInfo.width);
    refuses(w, detectBlur, 0, w.images[0].planes[0]);
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
    _tag_DRAV_ENGINE* none = nullptr;
    EXPECT_EQ(DRAV_Uninit(nullptr), ERR_NONE);
    EXPECT_EQ(DRAV_Uninit(&none), ERR_NONE);
}

} // namespace
