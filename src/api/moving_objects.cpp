#include "api/moving_objects.h"

#include "api/engine.h"
#include "api/score.h"
#include "platform/allocation.h"
#include "platform/conversion.h"

#include <algorithm>

namespace kelvane {

namespace {

constexpr int64_t entrySize = sizeof(__tag_rect) + 2 * sizeof(int64_t);

bool isUsable(const _tag_DRAV_MOVINGOBJ& object) {
    const __tag_rect& r = object.rect;
    return object.mask != nullptr && (r.left | r.top | r.right | r.bottom) != 0;
}

// The difference as 32-bit arithmetic gives it, wrapping.
int32_t extent(int32_t low, int32_t high) {
    return static_cast<int32_t>(static_cast<uint32_t>(high) - static_cast<uint32_t>(low));
}

bool isLargeEnough(const __tag_rect& rect) {
    constexpr int32_t smallest = 11;
    return extent(rect.left, rect.right) >= smallest && extent(rect.top, rect.bottom) >= smallest;
}

int32_t clampTo(int32_t value, int64_t limit) {
    return static_cast<int32_t>(
        std::clamp<int64_t>(value, 0, std::clamp<int64_t>(limit, 0, INT32_MAX)));
}

// Rectangles come unchecked from the caller: only the part inside the mask may be counted.
long areaInsideMask(const _tag_DRAV_MOVINGINFO& info, const _tag_DRAV_MOVINGOBJ& object,
                    long* area) {
    __tag_rect inside = {
        .left = clampTo(object.rect.left, info.width),
        .top = clampTo(object.rect.top, info.height),
        .right = clampTo(object.rect.right, info.width),
        .bottom = clampTo(object.rect.bottom, info.height),
    };
    return calMaskArea(object.mask, info.width, info.height, info.pitch, 0, &inside, area);
}

long storeObjects(_tag_DRAV_ENGINE* engine, const _tag_DRAV_MOVINGINFO& info) {
    for (int32_t j = 0; j < info.count; ++j) {
        const _tag_DRAV_MOVINGOBJ& object = info.objects[j];
        engine->movingFlags[j] = object.mask != nullptr && isLargeEnough(object.rect);
        if (engine->movingFlags[j] == 0)
            continue;
        engine->movingRects[j] = object.rect;
        const long code = areaInsideMask(info, object, &engine->movingAreas[j]);
        if (code != ERR_NONE)
            return code;
    }
    return ERR_NONE;
}

void convertToFrame(__tag_rect& rect, float scale, int64_t width, int64_t height) {
    rect.left = std::max(roundedProduct<int32_t>(static_cast<float>(rect.left), scale), 0);
    rect.top = std::max(roundedProduct<int32_t>(static_cast<float>(rect.top), scale), 0);
    const auto right = roundedProduct<int32_t>(static_cast<float>(rect.right), scale);
    const auto bottom = roundedProduct<int32_t>(static_cast<float>(rect.bottom), scale);
    rect.right = static_cast<int32_t>(std::min<int64_t>(right, width));
    rect.bottom = static_cast<int32_t>(std::min<int64_t>(bottom, height));
}

// Entries in each of the three arrays: the second one begins where the first ends.
int64_t movingCapacity(const _tag_DRAV_ENGINE& engine) {
    return reinterpret_cast<const __tag_rect*>(engine.movingFlags) - engine.movingRects;
}

} // namespace

// Later calls may bring more frames than the call that created the arrays.
long reserveMovingObjects(_tag_DRAV_ENGINE* engine, int64_t count) {
    if (engine->movingRects != nullptr && count <= movingCapacity(*engine))
        return ERR_NONE;
    auto* const rects =
        static_cast<__tag_rect*>(allocZeroedArray(engine->memHandle, count, entrySize));
    if (rects == nullptr)
        return ERR_NO_MEMORY;
    auto* const flags = reinterpret_cast<int64_t*>(rects + count);
    int64_t* const areas = flags + count;
    if (engine->movingRects != nullptr) {
        const int64_t kept = movingCapacity(*engine);
        std::copy_n(engine->movingRects, kept, rects);
        std::copy_n(engine->movingFlags, kept, flags);
        std::copy_n(engine->movingAreas, kept, areas);
        VantMemFree(engine->memHandle, engine->movingRects);
    }
    engine->movingRects = rects;
    engine->movingFlags = flags;
    engine->movingAreas = areas;
    return ERR_NONE;
}

long prepareMovingObjects(_tag_DRAV_ENGINE* engine, int64_t n) {
    if (engine->movingActive != 0 && engine->movingCount != n)
        return ERR_INVALID_PARAM;
    const long code = reserveMovingObjects(engine, n);
    if (code != ERR_NONE || engine->movingActive == 0)
        return code;
    const float scale =
        static_cast<float>(engine->frameWidth) / static_cast<float>(engine->movingWidth);
    for (int64_t i = 0; i < n; ++i) {
        if (engine->movingFlags[i] != 0)
            convertToFrame(engine->movingRects[i], scale, engine->frameWidth, engine->frameHeight);
    }
    return ERR_NONE;
}

void normalizeMovingAreas(_tag_DRAV_ENGINE* engine, int64_t n) {
    normalizeScores(engine->movingAreas, n);
    for (int64_t i = 0; i < n; ++i) {
        int64_t& area = engine->movingAreas[i];
        if (static_cast<float>(area) > 8000.0f)
            area = 10000;
        else if (static_cast<float>(area) < 2000.0f)
            area = 0;
    }
}

} // namespace kelvane

extern "C" long SetMovingObjectInfo(_tag_DRAV_ENGINE* engine, const _tag_DRAV_MOVINGINFO* info) {
    if (engine == nullptr || info == nullptr || info->objects == nullptr)
        return ERR_INVALID_PARAM;
    int32_t usable = 0;
    for (int32_t j = 0; j < info->count; ++j)
        usable += kelvane::isUsable(info->objects[j]);
    const bool active = usable > info->count / 2;
    // Such a width would make the scale to frame pixels meaningless.
    if (active && info->count > 0 && info->width < 1)
        return ERR_INVALID_PARAM;

    engine->movingCount = info->count;
    const long code = kelvane::reserveMovingObjects(engine, info->count);
    if (code != ERR_NONE)
        return code;
    engine->movingActive = active;
    if (!active)
        return ERR_NONE;
    engine->movingWidth = info->width;
    engine->movingHeight = info->height;
    return kelvane::storeObjects(engine, *info);
}
