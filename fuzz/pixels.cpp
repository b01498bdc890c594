// Each pixel function gives what its definition gives, within the bytes that it was given.
#include "fuzz_case.h"
#include "support/alignment_parts.h"
#include "support/copy_case.h"
#include "support/filter_cases.h"
#include "support/resize_cases.h"
#include "support/sharpness_check.h"

namespace {

// Any size, mostly refused; what is given holds every byte that it should.
void allocate(Random& random) {
    const auto any = [&] {
        return random.between(random.oneOf<int64_t>({1, 1, 1, INT64_MIN}),
                              random.oneOf<int64_t>({9, 40, 40, INT64_MAX}));
    };
    const long width = any(), height = any();
    const Arena arena(random.between(1, 1000) * 8);
    __tag_KIRO_OFFSCREEN image = {};
    const long format = random.oneOf<long>({0x601, 0x603, 0x802, 0x802, any()});
    if (imgAlloc(arena.handle(), &image, width, height, format) == ERR_NONE)
        VantMemSet(image.planes[0], 1,
                   image.pitches[0] * (format == 0x603 ? 2 * height : height + height / 2));
    ASSERT_GE(arena.blocksInUse(), 0); // the list of blocks is intact
    imgFree(arena.handle(), &image);

    void *buffer = nullptr, *roi = nullptr;
    const long channels = any(), outWidth = any(), outHeight = any();
    if (ImageResize_AllocMem_BL(arena.handle(), width, height, channels, outWidth, outHeight,
                                &buffer) == ERR_NONE)
        VantMemSet(buffer, 1, 8 + 16 * outWidth * channels + 4 * (outWidth + outHeight));
    ASSERT_GE(arena.blocksInUse(), 0);
    VantMemFree(arena.handle(), buffer);
    roiInit(arena.handle(), width, height, format, &roi);
    roiUninit(&roi);

    _tag_ZEP_ABDEBLUR context{};
    context.memHandle = arena.handle();
    unsigned char* set = nullptr;
    _tag_BitPyramid_Struct* pyramid = nullptr;
    const long levels = any(), k = any();
    Alloc_ComputeBitMaps_Video(&context, &set, width, height, levels, k, 4);
    VantMemFree(arena.handle(), set);
    Alloc_ComputeBitPyramid_Video(&context, &pyramid, width, height, levels, k, 4);
    ReleasePyrBit(&context, &pyramid);
    ASSERT_TRUE(arena.isEmpty());
}

void resize(Random& random) {
    const long most = random.oneOf({12, 12, 90, 300});
    const auto side = [&] { return random.between(1, most); };
    const Axis columns = {side(), side()}, rows = {side(), side()};
    (random.chance(50) ? expectResized : expectConverted)(random, columns, rows);
}

void measure(Random& random) { SharpnessCheck(random).measureAny(); }
void makeLevels(Random& random) { expectLevels(random, random.oneOf({40, 700}), 80); }

} // namespace

void fuzzCase(FuzzedRandom& random) {
    constexpr void (*cases[])(Random&) = {
        measure,      expectBoxBlur, expectGaussianBlur, expectMorphology, resize,
        expectCopied, allocate,      expectHalved,       expectCounted,    makeLevels};
    cases[random.between(0, std::ssize(cases) - 1)](random);
}
