#include "align/search.h"

#include "align/difference.h"
#include "align/levels.h"
#include "platform/conversion.h"

namespace kelvane {

namespace {

struct Displacement {
    int64_t x;
    int64_t y;
};

// The best candidate so far; the first of equal costs stays.
struct Best {
    int64_t cost;
    Displacement offset = {0, 0};

    void offer(int64_t candidateCost, Displacement candidate) {
        if (candidateCost < cost)
            accept(candidateCost, candidate);
    }
    void accept(int64_t acceptedCost, Displacement accepted) {
        cost = acceptedCost;
        offset = accepted;
    }
};

// A centre whose cost is this low is taken at once, even after a cheaper candidate.
constexpr int64_t acceptedCentreCost = 14;

// Offers the 3 x 3 candidates around an estimate, columns first; `costOf` gives the cost of an
// offset. The bonus favours staying at the estimate.
template <typename Cost>
void offerNeighbours(Best& best, int64_t centreBonus, bool acceptCheapCentre, Cost costOf) {
    for (int64_t cx = -1; cx <= 1; ++cx) {
        for (int64_t cy = -1; cy <= 1; ++cy) {
            const bool centre = cx == 0 && cy == 0;
            const int64_t cost = costOf(cx, cy) - (centre ? centreBonus : 0);
            best.offer(cost, {cx, cy});
            if (centre && acceptCheapCentre && cost <= acceptedCentreCost)
                return best.accept(cost, {cx, cy});
        }
    }
}

Best worstOf(const SearchLevel& level) { return {.cost = (level.width * level.height) << 8}; }

Best refineGrey(const SearchLevel& level, Displacement e) {
    Best best = worstOf(level);
    const int64_t stride = greyRowBytes(level.width);
    offerNeighbours(best, 2 * (level.width + level.height), false, [&](int64_t cx, int64_t cy) {
        return greyDifference(level.refData, level.movingData, level.width, level.height, stride,
                              e.x + cx, e.y + cy, cx, cy);
    });
    return best;
}

Best refineBitmap(const SearchLevel& level, Displacement e) {
    Best best = worstOf(level);
    const int64_t rowBytes = bitmapRowBytes(level.width);
    offerNeighbours(best, (level.width + level.height) >> 5, true, [&](int64_t cx, int64_t cy) {
        return static_cast<int64_t>(BitmapOperation2_BF(level.refData, level.movingData,
                                                        level.width, level.height, rowBytes,
                                                        e.x + cx, e.y + cy, cx, cy));
    });
    return best;
}

// The same for wide levels, three horizontal candidates at a time, rows first.
Best refineWideBitmap(const SearchLevel& level, Displacement e, int64_t globalLevel) {
    Best best = worstOf(level);
    for (int64_t cy = -1; cy <= 1; ++cy) {
        long costs[3];
        BitmapOperationline2_BF(level.refData, level.movingData, costs, level.width, level.height,
                                bitmapRowBytes(level.width), e.x, e.y + cy, globalLevel, cy);
        if (cy == 0) {
            --costs[1];
            if (costs[1] <= acceptedCentreCost) {
                best.accept(costs[1], {0, 0});
                break;
            }
        }
        best.offer(costs[1], {0, cy});
        best.offer(costs[0], {-1, cy});
        best.offer(costs[2], {1, cy});
    }
    return best;
}

// How badly the frames agree, as if the level had 480 x 270 pixels.
int64_t residual(int64_t cost, const SearchLevel& level) {
    const float area = static_cast<float>(level.width * level.height);
    return truncateTo<int64_t>(static_cast<float>(cost) / area * 480.0f * 270.0f);
}

// Moves the patches of the moving frame by the estimate, cuts them out, and compares. Not inlined,
// like refineStored, so that its locals take no stack at every level of the recursion.
[[gnu::noinline]] Best refinePatches(const Search& search, int64_t globalLevel, Displacement e) {
    const _tag_BitMap_Struct& ref = search.refPyramid->levels[globalLevel];
    _tag_BitMap_Struct work = search.workPyramid->levels[globalLevel];
    work.xOffset -= e.x;
    work.yOffset -= e.y;
    VantMemSet(work.data, 0, work.rows * work.rowBytes);
    ComputeBitmaps2Interleave(search.movingLuma, search.width, search.height, search.pitch, &work,
                              search.movingThreshold, globalLevel, search.format);
    Best best = {.cost = ref.widthBits * ref.rows};
    offerNeighbours(best, 1, false, [&](int64_t cx, int64_t cy) {
        auto* const refValid = const_cast<unsigned char*>(ref.valid);
        return InterBitmapOperation2(ref.data, work.data, refValid, work.valid, ref.widthBits,
                                     ref.rows, ref.rowBytes, cx, cy);
    });
    return best;
}

// The level at which the whole search stands in the frame's own numbering.
int64_t globalLevelOf(const Search& search, const SearchLevel& level) {
    int64_t levels = coarsestLevel(search.width, search.height);
    if (search.directLevels)
        levels = std::min<int64_t>(3, coarsestLevel(level.width, level.height));
    else if (search.refPyramid != nullptr)
        levels = search.refPyramid->maxLevel;
    return levels - level.levelsLeft;
}

bool hasPatches(const Search& search, int64_t globalLevel) {
    const _tag_BitPyramid_Struct* const ref = search.refPyramid;
    return ref != nullptr && search.workPyramid != nullptr && search.movingLuma != nullptr &&
           globalLevel < ref->maxLevel - ref->minLevel;
}

long searchPatchLevel(const Search& search, const SearchLevel& level, long result[2]) {
    const int64_t globalLevel = globalLevelOf(search, level);
    if (globalLevel < 0 || (search.usePatches && !hasPatches(search, globalLevel)))
        return ERR_INVALID_PARAM;
    SearchLevel coarser = level;
    coarser.levelsLeft = level.levelsLeft - 1;
    coarser.width = (level.width + 1) / 2;
    coarser.height = (level.height + 1) / 2;
    if (coarser.levelsLeft == search.k) {
        // The finest stored level rounds down: its own size must be used, as what an odd frame has
        // beyond it is not stored.
        coarser.width = search.width >> (globalLevel + 1);
        coarser.height = search.height >> (globalLevel + 1);
    }
    const long code = searchLevel(search, coarser, result);
    if (code != ERR_NONE)
        return code;
    const Displacement e = {2 * result[0], 2 * result[1]};
    Displacement offset = {0, 0};
    if (search.usePatches)
        offset = refinePatches(search, globalLevel, e).offset;
    result[0] = e.x + offset.x;
    result[1] = e.y + offset.y;
    return ERR_NONE;
}

[[gnu::noinline]] Best refineStored(const Search& search, const SearchLevel& level,
                                    Displacement e) {
    if (level.levelsLeft <= 1)
        return refineGrey(level, e);
    if (level.width <= 159)
        return refineBitmap(level, e);
    const int64_t globalLevel = globalLevelOf(search, level);
    const Best best = refineWideBitmap(level, e, globalLevel);
    if (globalLevel == 2)
        *search.score = residual(best.cost, level);
    return best;
}

long searchStoredLevel(const Search& search, const SearchLevel& level, long result[2]) {
    Displacement e = {0, 0};
    if (level.levelsLeft > 0) {
        const StoredLevel stored = {level.width, level.height, level.levelsLeft};
        const StoredLevel next = stored.coarser();
        const SearchLevel coarser = {
            .refData = level.refData + stored.size(),
            .movingData = level.movingData + stored.size(),
            .width = next.width,
            .height = next.height,
            .levelsLeft = next.coarserLevels,
        };
        const long code = searchLevel(search, coarser, result);
        if (code != ERR_NONE)
            return code;
        e = {2 * result[0], 2 * result[1]};
    }
    const Displacement offset = refineStored(search, level, e).offset;
    result[0] = e.x + offset.x;
    result[1] = e.y + offset.y;
    return ERR_NONE;
}

} // namespace

long searchLevel(const Search& search, const SearchLevel& level, long result[2]) {
    if (level.levelsLeft > search.k && !search.directLevels)
        return searchPatchLevel(search, level, result);
    return searchStoredLevel(search, level, result);
}

} // namespace kelvane

using namespace kelvane;

long Alignment2Image2_Video(_tag_ZEP_ABDEBLUR*, unsigned char* refSet, unsigned char* movSet,
                            unsigned char* movLuma, long width, long height, long pitch,
                            long levelWidth, long levelHeight, long, long levelsLeft, long k,
                            long* result, _tag_BitPyramid_Struct* refPyramid,
                            _tag_BitPyramid_Struct* workPyramid, long, long movThreshold,
                            long usePatches, long, long directLevels, long format, long* score) {
    constexpr long mostLevels = 62;
    if (usePatches > 3 || refSet == nullptr || movSet == nullptr || result == nullptr ||
        score == nullptr || levelsLeft < 0 || levelsLeft > mostLevels || k < 0)
        return ERR_INVALID_PARAM;
    const Search search = {
        .movingLuma = movLuma,
        .width = width,
        .height = height,
        .pitch = pitch,
        .k = k,
        .refPyramid = refPyramid,
        .workPyramid = workPyramid,
        .movingThreshold = movThreshold,
        .usePatches = usePatches == 1,
        .directLevels = directLevels != 0,
        .format = format,
        .score = score,
    };
    return searchLevel(search, {refSet, movSet, levelWidth, levelHeight, levelsLeft}, result);
}
