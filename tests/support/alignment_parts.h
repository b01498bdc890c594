// Random uses of the building blocks of the alignment.
#pragma once

#include "align/context.h"
#include "support/alignment_frames.h"
#include "support/allocation_hook.h"

#include <gtest/gtest.h>

inline PlainLevel noiseBitmap(Random& random, int64_t width, int64_t height) {
    PlainLevel level{width, height};
    random.fill(level.data.data(), height * level.rowBytes);
    return level;
}

inline void expectHalved(Random& random) {
    PlainLevel source{random.between(1, 200), random.between(1, 12)};
    source.fill([&](int64_t, int64_t) { return random.chance(50); });
    PlainLevel expected{(source.width + 1) / 2, (source.height + 1) / 2};
    PlainLevel result = noiseBitmap(random, expected.width, expected.height);
    const int64_t parity = random.between(0, 5);
    expected.halve(source, parity % 2 == 0 ? 2 : 3);
    BitImageShrink2(source.data.data(), source.height, source.width, source.rowBytes,
                    result.data.data(), expected.height, expected.width, expected.rowBytes, parity);
    ASSERT_EQ(expected.data, result.data) << source.width << " parity " << parity;
}

inline void expectCounted(Random& random) {
    const auto anyShift = [&](int64_t length) {
        const auto reach = random.oneOf<int64_t>({2, length, length + 3, 3 * length, 1 << 20});
        return random.between(-reach, reach);
    };
    const auto common = [](int64_t length, int64_t d, int64_t c) {
        return std::min(length - std::abs(d - c) - 1, length - std::abs(d));
    };
    const int64_t width = random.between(1, random.chance(20) ? 400 : 140);
    const int64_t rows = random.between(1, 12);
    PlainLevel a = noiseBitmap(random, width, rows); // also behind the last pixel
    PlainLevel b = noiseBitmap(random, width, rows);
    const Displacement d{anyShift(width), anyShift(rows)};
    const int64_t far = random.chance(20) ? 30 : 1;
    const Displacement c{random.between(-far, far), random.between(-far, far)};
    const int64_t rowsLeft = rows - std::abs(d.y);
    const int64_t commonRows = common(rows, d.y, c.y);
    const auto call = [&](auto function, auto... arguments) {
        return function(a.data.data(), b.data.data(), arguments...);
    };
    ASSERT_EQ(disagreement(a, b, d, width - std::abs(d.x), rowsLeft),
              int64_t(call(BitmapOperation2, width, rows, a.rowBytes, d.x, d.y)));
    ASSERT_EQ(disagreement(a, b, d, common(width, d.x, c.x), commonRows),
              int64_t(call(BitmapOperation2_BF, width, rows, a.rowBytes, d.x, d.y, c.x, c.y)));
    long sums[2][3];
    call(BitmapOperationline2, sums[0], width, rows, a.rowBytes, d.x, d.y);
    call(BitmapOperationline2_BF, sums[1], width, rows, a.rowBytes, d.x, d.y, 1, c.y);
    for (const int64_t move : {-1, 0, 1}) {
        ASSERT_EQ(wordDisagreement(a, b, d, move, rowsLeft), sums[0][move + 1]);
        ASSERT_EQ(wordDisagreement(a, b, d, move, commonRows), sums[1][move + 1]);
    }
}

inline void expectLevels(Random& random, int64_t widest, int64_t highest) {
    AlignmentFrame frame(random, random.between(1, widest), random.between(1, highest),
                         anyFormat(random), 3);
    __tag_KIRO_OFFSCREEN& image = frame.image;
    const long w = image.width;
    const long h = image.height;
    const int64_t levels = plainLevelCount(image);
    const int64_t k = random.between(1, 5);
    const int64_t threshold = random.oneOf<int64_t>({-2, 100, 254, 255, 256});
    SCOPED_TRACE(testing::Message() << w << " x " << h << ", k " << k);
    _tag_ZEP_ABDEBLUR context{};
    unsigned char* set = nullptr;
    Alloc_ComputeBitMaps_Video(&context, &set, w, h, levels, k, 4);
    const unsigned char* level = set;
    Creat_ComputeBitMaps_Video(set, nullptr, threshold, w, h, levels, k, 0);
    Creat_ComputeBitMaps_Video(set, &image, threshold, w, h, levels, k, 1);
    for (const PlainLevel& expected : plainSet(image, threshold, k)) {
        ASSERT_TRUE(expected.isHeldBy(level)) << expected.width;
        level += expected.data.size();
    }
    ASSERT_TRUE(set == nullptr || level == set + lastAllocationSize);
    VantMemFree(nullptr, set);

    _tag_BitPyramid_Struct* pyramid = nullptr;
    Alloc_ComputeBitPyramid_Video(&context, &pyramid, w, h, levels, k, 4);
    Creat_ComputePyramidMaps_Video(pyramid, nullptr, threshold, w, h, levels, k, 0);
    Creat_ComputePyramidMaps_Video(pyramid, &image, threshold, w, h, levels, k, 1);
    int64_t j = 0;
    for (PlainPatches& ref : plainPyramid(image, k)) {
        _tag_BitMap_Struct& patches = pyramid->levels[j];
        ref.cut(image, threshold, j);
        ASSERT_TRUE(ref.isHeldBy(patches.data));
        // Moved over the edges: patches that leave the frame keep their bits.
        PlainPatches work = ref;
        patches.xOffset = work.xOffset += random.between(-w, w) / 8;
        patches.yOffset = work.yOffset += random.between(-h, h) / 8;
        work.cut(image, 77, j);
        ASSERT_EQ(frame.pitch << j, ComputeBitmaps2Interleave(image.planes[0], w, h, frame.pitch,
                                                              &patches, 77, j, image.format));
        ASSERT_TRUE(work.isHeldBy(patches.data));
        const Displacement c{random.between(-2, 2), random.between(-1, 1)};
        ASSERT_EQ(std::abs(c.x) > 1 ? 0 : patchDisagreement(ref, work, c),
                  InterBitmapOperation2(ref.data.data(), patches.data, ref.valid.data(),
                                        patches.valid, patches.widthBits, patches.rows,
                                        patches.rowBytes, c.x, c.y));
        ++j;
    }
    ReleasePyrBit(&context, &pyramid);
    ASSERT_EQ(nullptr, pyramid);
}
