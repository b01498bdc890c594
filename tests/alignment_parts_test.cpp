#include "alignment_frames.h"
#include "support/arena.h"

namespace {

// A context of which only the memory handle matters.
struct BareContext {
    alignas(8) unsigned char storage[256] = {};

    explicit BareContext(void* handle) { std::memcpy(storage, &handle, sizeof handle); }
    _tag_ZEP_ABDEBLUR* get() { return reinterpret_cast<_tag_ZEP_ABDEBLUR*>(storage); }
};

// Memory of exactly these bytes, or of random ones.
struct Block : GuardedMemory {
    explicit Block(const Bytes& bytes) : GuardedMemory(bytes.size()) {
        std::copy(bytes.begin(), bytes.end(), data());
    }
    Block(Random& random, int64_t size) : GuardedMemory(static_cast<size_t>(size)) {
        random.fill(data(), size);
    }
};

TEST(AlignmentThreshold, CutsNextToTheMedian) {
    const auto cut = [](Bytes pixels) {
        AlignmentFrame frame(static_cast<int64_t>(pixels.size()), 1, 0x601, 0);
        std::copy(pixels.begin(), pixels.end(), frame.image.planes[0]);
        long threshold = 99;
        long counts[256];
        TorInterThreshold(nullptr, &frame.image, nullptr, &threshold, frame.image.width, 1, 0,
                          counts);
        return threshold;
    };
    EXPECT_EQ(0, cut({0, 0, 0, 0, 200, 200, 200, 200}));
    EXPECT_EQ(0, cut({0, 0}));
    EXPECT_EQ(-1, cut({0, 0, 0}));
    EXPECT_EQ(-1, cut({77}));
    EXPECT_EQ(6, cut({3, 3, 3, 7, 7, 7, 7, 7}));
    EXPECT_EQ(7, cut({3, 3, 7, 7, 7, 7, 9, 9})); // both cuts are 2 off: the upper one

    Random random;
    for (int i = 0; i < 700; ++i) {
        const int64_t side = random.oneOf<int64_t>({511, 512, 513, 1024, 1025, 1100});
        AlignmentFrame frame(i % 20 == 0 ? side : random.between(1, 40),
                             i % 20 == 1 ? side : random.between(1, 40),
                             random.chance(95) ? anyFormat(random) : 0x503, random.between(0, 9));
        __tag_KIRO_OFFSCREEN& image = frame.image;
        frame.fillWithNoise(random);
        const int64_t low = random.between(0, 252);
        if (random.chance(60))
            frame.paint([&](int64_t, int64_t) { return random.between(low, low + 3); });
        long threshold = 99;
        std::array<long, 256> counts;
        std::array<long, 256> expected;
        counts.fill(9);
        ASSERT_EQ(ERR_NONE, TorInterThreshold(nullptr, &image, nullptr, &threshold, image.width,
                                              image.height, image.pitches[0], counts.data()));
        ASSERT_EQ(plainThreshold(image, expected), threshold)
            << image.width << " x " << image.height;
        ASSERT_EQ(expected, counts);
    }
}

TEST(AlignmentBitmapSet, HalvesByMajority) {
    Random random;
    for (int i = 0; i < 3000; ++i) {
        PlainLevel source(random.between(1, 200), random.between(1, 12), false);
        const auto density = random.between<int>(20, 80);
        for (int64_t x = 0; x < source.width * source.height; ++x)
            if (random.chance(density))
                source.set(x % source.width, x / source.width);
        PlainLevel expected((source.width + 1) / 2, (source.height + 1) / 2, false);
        const int64_t parity = random.between(0, 5);
        expected.halve(source, parity % 2 == 0 ? 2 : 3);
        const Block from(source.data);
        const Block to(random, static_cast<int64_t>(expected.data.size()));
        BitImageShrink2(from.data(), source.height, source.width, source.rowBytes, to.data(),
                        expected.height, expected.width, expected.rowBytes, parity);
        ASSERT_TRUE(holds(to.data(), {expected})) << source.width << " parity " << parity;
    }
}

TEST(AlignmentBitmapSet, HoldsTheLevelsOfTheFrame) {
    Random random;
    for (int i = 0; i < 2000; ++i) {
        const int64_t longest = i % 50 == 0 ? 2200 : i % 3 == 0 ? 300 : 80;
        const int64_t width = random.between(1, longest);
        const int64_t height = random.between(1, random.chance(50) ? 40 : longest);
        const int64_t k = random.chance(80) ? 3 : random.between(1, 5);
        AlignmentFrame frame(width, height, anyFormat(random), random.between(0, 5));
        frame.fillWithNoise(random);
        const int64_t threshold =
            random.oneOf<int64_t>({-2, -1, 0, 127, 128, 254, 255, 256, random.between(0, 255)});
        const PlainSet expected = plainSet(frame.image, threshold, k);
        const Block set(random, sizeOf(expected));
        const Bytes before(set.data(), set.data() + sizeOf(expected));
        for (const long enable : {0, 1}) {
            ASSERT_TRUE(std::equal(before.begin(), before.end(), set.data()));
            ASSERT_EQ(ERR_NONE,
                      Creat_ComputeBitMaps_Video(set.data(), &frame.image, threshold, width, height,
                                                 plainLevelCount(width, height), k, enable));
        }
        ASSERT_TRUE(holds(set.data(), expected)) << width << " x " << height << " k " << k;
    }
}

TEST(AlignmentAllocation, TakesExactlyTheLevelsOfASet) {
    Random random;
    for (int i = 0; i < 300; ++i) {
        __tag_KIRO_OFFSCREEN frame{};
        frame.width = random.between<int32_t>(1, i % 2 == 0 ? 5000 : 90);
        frame.height = random.between<int32_t>(1, i % 3 == 0 ? 5000 : 30);
        const int64_t size = (sizeOf(plainSet(frame, 0)) + 7) / 8 * 8;
        for (const int64_t payload : {size - 8, size}) {
            const Arena arena(std::max<int64_t>(payload, 8));
            BareContext context(arena.handle());
            unsigned char untouched = 0;
            unsigned char* set = &untouched;
            const long code =
                Alloc_ComputeBitMaps_Video(context.get(), &set, frame.width, frame.height,
                                           plainLevelCount(frame.width, frame.height), 3, 4);
            const bool fits = payload == size || size <= 8;
            ASSERT_EQ(fits ? ERR_NONE : ERR_NO_MEMORY, code);
            ASSERT_EQ(!fits, set == &untouched);
            ASSERT_EQ(fits && size > 0 ? 1 : 0, arena.blocksInUse());
        }
    }
}

TEST(AlignmentAllocation, LeavesNothingHalfDone) {
    _tag_BitPyramid_Struct record;
    _tag_BitPyramid_Struct* pyramid = &record;
    BareContext heap(nullptr);
    EXPECT_EQ(ERR_NONE, Alloc_ComputeBitPyramid_Video(heap.get(), &pyramid, 512, 9, 3, 3, 4));
    EXPECT_EQ(nullptr, pyramid);
    int64_t payload = 8;
    for (long code = ERR_NO_MEMORY; code != ERR_NONE; payload += 8) {
        const Arena arena(payload);
        BareContext context(arena.handle());
        pyramid = &record;
        code = Alloc_ComputeBitPyramid_Video(context.get(), &pyramid, 1300, 40, 5, 3, 4);
        ASSERT_EQ(code == ERR_NONE ? 4 : 0, arena.blocksInUse());
        ASSERT_EQ(code == ERR_NO_MEMORY, pyramid == &record);
    }
    struct Case {
        long width, height, levels, k;
    };
    for (const Case& c :
         {Case{0, 9, 0, 3}, Case{9, -1, 0, 3}, Case{640, 480, -1, 3}, Case{640, 480, 5, 3},
          Case{640, 480, 4, -1}, Case{INT64_MAX, 480, 4, 3}, Case{640, INT64_MAX / 2, 40, 3}}) {
        unsigned char byte = 0;
        unsigned char* set = &byte;
        pyramid = &record;
        EXPECT_EQ(ERR_INVALID_PARAM, Alloc_ComputeBitMaps_Video(heap.get(), &set, c.width, c.height,
                                                                c.levels, c.k, 4));
        EXPECT_EQ(ERR_INVALID_PARAM, Alloc_ComputeBitPyramid_Video(heap.get(), &pyramid, c.width,
                                                                   c.height, c.levels, c.k, 4));
        EXPECT_TRUE(set == &byte && pyramid == &record);
    }
}

testing::AssertionResult holdsPatches(const PlainPatches& p, const _tag_BitMap_Struct& level) {
    if (p.widthBits == level.widthBits && p.rows == level.rows && p.rowBytes == level.rowBytes &&
        p.xOffset == level.xOffset && p.yOffset == level.yOffset &&
        std::equal(p.valid.begin(), p.valid.end(), level.valid) &&
        std::equal(p.data.begin(), p.data.end(), level.data))
        return testing::AssertionSuccess();
    return testing::AssertionFailure()
           << p.widthBits << " x " << p.rows << " at " << p.xOffset << ", " << p.yOffset;
}

TEST(AlignmentPyramid, HoldsPatchesAroundTheCellCentres) {
    Random random;
    for (int i = 0; i < 400; ++i) {
        const int64_t longer = random.between(520, i % 10 == 0 ? 5000 : 1100);
        const int64_t shorter = random.between(1, i % 10 == 1 ? 500 : 50);
        const bool tall = random.chance(40);
        const int64_t width = tall ? shorter : longer;
        const int64_t height = tall ? longer : shorter;
        const int64_t levels = plainLevelCount(width, height);
        AlignmentFrame frame(width, height, anyFormat(random), random.between(0, 5));
        frame.fillWithNoise(random);
        const __tag_KIRO_OFFSCREEN& image = frame.image;
        const int64_t threshold = random.between(-1, 255);
        auto expected = plainPyramid(width, height);

        BareContext context(nullptr);
        _tag_BitPyramid_Struct* pyramid = nullptr;
        ASSERT_EQ(ERR_NONE, Alloc_ComputeBitPyramid_Video(context.get(), &pyramid, width, height,
                                                          levels, 3, 4));
        ASSERT_TRUE(pyramid->maxLevel == levels && pyramid->minLevel == 3);
        for (size_t j = 0; j < expected.size(); ++j)
            ASSERT_TRUE(holdsPatches(expected[j], pyramid->levels[j]));
        const long enable = random.chance(80);
        Creat_ComputePyramidMaps_Video(pyramid, &frame.image, threshold, width, height, levels, 3,
                                       enable);
        for (size_t j = 0; j < expected.size(); ++j) {
            _tag_BitMap_Struct& level = pyramid->levels[j];
            const auto index = static_cast<int64_t>(j);
            if (enable != 0)
                expected[j].fill(image, threshold, index);
            ASSERT_TRUE(holdsPatches(expected[j], level)) << width << " x " << height;
            // Moved over the edges: patches that leave the frame keep their bits.
            level.xOffset = expected[j].xOffset += random.between(-longer, longer) / 8;
            level.yOffset = expected[j].yOffset += random.between(-longer, longer) / 8;
            expected[j].fill(image, threshold, index);
            ASSERT_EQ(int64_t{image.pitches[0]} << j,
                      ComputeBitmaps2Interleave(image.planes[0], width, height, image.pitches[0],
                                                &level, threshold, index, image.format));
            ASSERT_TRUE(holdsPatches(expected[j], level)) << width << " x " << height;
        }
        ReleasePyrBit(context.get(), &pyramid);
        ASSERT_EQ(nullptr, pyramid);
        ReleasePyrBit(context.get(), &pyramid);
    }
}

TEST(AlignmentCounts, MatchThePlainDisagreement) {
    Random random;
    const auto anyShift = [&](int64_t length) {
        const auto reach = random.oneOf<int64_t>({2, length, length + 3, 3 * length, 1 << 20});
        return random.between(-reach, reach);
    };
    for (int i = 0; i < 6000; ++i) {
        const int64_t width = random.between(1, random.chance(20) ? 400 : 140);
        const int64_t rows = random.between(1, 12);
        const int64_t rowBytes = PlainLevel(width, 0, false).rowBytes;
        // Ones behind the last pixel must not count.
        const Block first(random, rows * rowBytes);
        const Block second(random, rows * rowBytes);
        unsigned char* const a = first.data();
        unsigned char* const b = second.data();
        const PlainBitmaps plain{a, b, width, rows, rowBytes};
        const Displacement d{anyShift(width), anyShift(rows)};
        const int64_t far = random.chance(20) ? 30 : 1;
        const Displacement c{random.between(-far, far), random.between(-far, far)};
        SCOPED_TRACE(testing::Message() << width << " x " << rows << " by " << d.x << ", " << d.y
                                        << " from " << c.x << ", " << c.y);
        ASSERT_EQ(plain.area(d, width - std::abs(d.x), rows - std::abs(d.y)),
                  static_cast<int64_t>(BitmapOperation2(a, b, width, rows, rowBytes, d.x, d.y)));
        ASSERT_EQ(plain.fixedArea(d, c), static_cast<int64_t>(BitmapOperation2_BF(
                                             a, b, width, rows, rowBytes, d.x, d.y, c.x, c.y)));
        long sums[3];
        long fixedSums[3];
        BitmapOperationline2(a, b, sums, width, rows, rowBytes, d.x, d.y);
        BitmapOperationline2_BF(a, b, fixedSums, width, rows, rowBytes, d.x, d.y, 1, c.y);
        for (const int64_t move : {-1, 0, 1}) {
            ASSERT_EQ(plain.words(d, move, rows - std::abs(d.y)), sums[move + 1]);
            ASSERT_EQ(plain.words(d, move, commonLength(rows, d.y, c.y)), fixedSums[move + 1]);
        }
    }
}

TEST(AlignmentCounts, CoverTheAreasOfTheirDefinitions) {
    // All ones against all zeros: every position that is looked at counts.
    unsigned char ones[5 * 12];
    unsigned char zeros[5 * 12] = {};
    std::memset(ones, 0xFF, sizeof ones);
    const auto overlap = [&](long dx, long dy) {
        return BitmapOperation2(ones, zeros, 64, 5, 12, dx, dy);
    };
    EXPECT_EQ(64u * 5, overlap(0, 0));
    EXPECT_EQ(31u * 5, overlap(-33, 0));
    EXPECT_EQ(60u * 2, overlap(4, -3));
    EXPECT_EQ(0u, overlap(0, 5));
    for (long cx = -1; cx <= 1; ++cx)
        for (long cy = -1; cy <= 1; ++cy)
            EXPECT_EQ(63u * 4, BitmapOperation2_BF(ones, zeros, 64, 5, 12, cx, cy, cx, cy));
    long sums[3];
    BitmapOperationline2_BF(ones, zeros, sums, 64, 5, 12, 1, 1, 0, 1);
    for (const long sum : sums)
        EXPECT_EQ(30 * 4, sum);
}

TEST(AlignmentCounts, OfPatchesMatchThePlainDisagreement) {
    Random random;
    for (int i = 0; i < 2000; ++i) {
        const int64_t widthBits = 32 * random.between(0, random.chance(20) ? 20 : 4);
        const int64_t rows = 4 * random.between(0, 6);
        const int64_t rowBytes = widthBits / 8 + 4;
        const Block ref(random, rows * rowBytes);
        const Block work(random, rows * rowBytes);
        unsigned char refValid[16];
        unsigned char workValid[16];
        for (unsigned char* valid : {refValid, workValid})
            for (int patch = 0; patch < 16; ++patch)
                valid[patch] = random.chance(70);
        const PlainPatchPair plain{ref.data(), work.data(), refValid, workValid};
        for (long cx = -2; cx <= 2; ++cx)
            for (long cy = -1; cy <= 1; ++cy)
                ASSERT_EQ(std::abs(cx) > 1 ? 0 : plain.count(widthBits, rows, rowBytes, {cx, cy}),
                          InterBitmapOperation2(ref.data(), work.data(), refValid, workValid,
                                                widthBits, rows, rowBytes, cx, cy))
                    << widthBits << " x " << rows << " by " << cx << ", " << cy;
    }
}

} // namespace
