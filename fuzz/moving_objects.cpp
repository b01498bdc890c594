// Moving-object information with masks, in an arena of any size, is kept as the rules say.
#include "fuzz_case.h"
#include "support/random_burst.h"

namespace {

void countArea(Random& random) {
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
}

} // namespace

void fuzzCase(FuzzedRandom& random) {
    countArea(random);
    const Arena arena(random.between(40, 300) * 8);
    _tag_DRAV_ENGINE* engine = nullptr;
    if (DRAV_Init(arena.handle(), &engine) != ERR_NONE)
        return;
    PlainEngine plain;
    for (auto calls = random.between(1, 8); calls > 0; --calls) {
        const Objects objects(random.between<int32_t>(-2, 20), random);
        const long room = GetMaxAllocMemSize(arena.handle());
        const long code = SetMovingObjectInfo(engine, &objects.info);
        ASSERT_TRUE(code != ERR_NO_MEMORY || objects.info.count <= 0 || lastAllocationSize > room);
        ASSERT_EQ(code, plain.setMovingObjects(objects.info, code == ERR_NO_MEMORY));
        expectSame(*engine, plain);
    }
    DRAV_Uninit(&engine);
    ASSERT_TRUE(arena.isEmpty());
}
