// What every entry point leaves to its caller when an allocation fails.
#include "support/cases.h"
#include "support/world.h"

#include <climits>
#include <iostream>
#include <set>

namespace {

void nothing(World&) {}
void oneObject(World& w) { w.setObjects(1); }
void oneObjectAndNone(World& w) {
    w.setObjects(1);
    w.setObjects(0);
}
void allObjects(World& w) { w.setObjects(n); }
void inPlace(World& w) { w.filter.from = w.filter.to; }
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
    {"ReadProcessorData", 4, readBlock},
    {"allocParamsFace", 1, attach<allocParamsFace>},
    {"allocParamsAlign", 1, attach<allocParamsAlign>},
    {"allocParams", 2, attach<allocParams>},
    {"imgAlloc", 1, makeImage},
    {"imgResize", 1, resizeImage},
    {"ImageResize_AllocMem_BL", 1,
     [](World& w) { return ImageResize_AllocMem_BL(w.handle, 9, 9, 1, 5, 5, &w.resizeBuffer); }},
    {"ImageResize_BL_ToBGR24", 1, convert},
    // Column sums and reciprocals; rows to keep when in place.
    {"GB_BoxBlurA", 2, boxBlur},
    {"GB_BoxBlurA, in place", 3, boxBlur, inPlace},
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
    {"roiInit", 4, makeRoi},
    // The alignment, three box filters in place, opening and closing.
    {"roiCalculate", 2 + 2 * 3 + 9 + 4, findRegion},
    {"roiCalculate, later", 9 + 4, findRegion, foundRegion},
};

// The digest of what a call has given, without the addresses of it.
uint64_t resultOf(const World& w) {
    noted = 0;
    note(w.blur.size, w.ranking.count, w.ranking.best, w.sharpness, w.newImage.pitches[1],
         w.changed.rect, w.changed.dx, w.changed.dy, w.moving, w.indices, w.displacements, w.plane);
    if (w.blur.data != nullptr)
        note(static_cast<const _tag_DRAV_BLURRESULT*>(w.blur.data)->score);
    const std::initializer_list<const void*> made = {
        w.newEngine, w.readRecord, w.resizeBuffer,       w.newAlignment,          w.newRoi,
        w.bitmapSet, w.pyramid,    w.owned[n - 1].faces, w.owned[n - 1].alignment};
    for (const void* const block : made)
        note(block != nullptr);
    return noted;
}

// Calls with too little memory, and then again with enough. False when there was enough at once.
template <typename Restrict, typename Release>
bool failsWithin(const EntryPoint& entry, void* handle, Restrict restrict, Release release,
                 uint64_t& expected) {
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
    if (expected == 0)
        expected = resultOf(w);
    EXPECT_EQ(resultOf(w), expected);
    return code != ERR_NONE;
}

// One allocation after the other fails. Without a failure, `expected` receives the result.
int failEveryMalloc(const EntryPoint& entry, uint64_t& expected) {
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
int failInGrowingRoom(const EntryPoint& entry, uint64_t& expected) {
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
        room = std::max<long>(32, room + (lastShortage + 7) / 8 * 8);
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
        uint64_t expected = 0;
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

} // namespace
