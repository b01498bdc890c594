// The parts of the alignment beside their rules, one pixel and one bit at a time; and what holds
// for the shifts that it finds.
#include "support/alignment_frames.h"
#include "support/allocation_hook.h"
#include "support/arena.h"

namespace {

int64_t plainHalvings(int64_t size, int64_t limit) {
    return size > limit ? 1 + plainHalvings(size / 2, limit) : 0;
}
int64_t plainLevelCount(const __tag_KIRO_OFFSCREEN& image) {
    return plainHalvings(std::max(image.width, image.height), 64);
}

int64_t plainThreshold(const __tag_KIRO_OFFSCREEN& image) {
    const auto countable = {0x501u, 0x601u, 0x603u, 0x801u, 0x802u, 0x803u};
    const int64_t step = int64_t{1} << plainHalvings(std::max(image.width, image.height), 512);
    std::vector<int> values;
    for (int64_t y = 0; y < image.height / step; ++y)
        for (int64_t x = 0; x < image.width / step; ++x)
            values.push_back(lumaAt(image, x * step, y * step));
    if (std::count(countable.begin(), countable.end(), image.format) == 0 || values.size() < 2)
        return -1;
    std::sort(values.begin(), values.end());
    const auto half = static_cast<int64_t>(values.size() / 2);
    const int median = values[static_cast<size_t>(half - 1)];
    const auto equal = std::equal_range(values.begin(), values.end(), median);
    const int64_t excess = equal.second - values.begin() - half;
    return median - (excess > (equal.second - equal.first) / 2 ? 1 : 0);
}

// A threshold bitmap or a grey map, as it is stored.
struct PlainLevel {
    int64_t width, height;
    bool grey = false;
    int64_t rowBytes = grey ? (width + 3) / 4 * 4 : (width + 31) / 32 * 4 + 4;
    int64_t meant = grey ? width : rowBytes; // bytes of a row that have a meaning
    Bytes data = Bytes(static_cast<size_t>(rowBytes * height));

    int at(int64_t x, int64_t y) const {
        const unsigned char* const row = data.data() + y * rowBytes;
        return grey ? row[x] : row[x / 8] >> x % 8 & 1;
    }
    void set(int64_t x, int64_t y, int value) {
        unsigned char& byte = data[static_cast<size_t>(y * rowBytes + (grey ? x : x / 8))];
        const int others = grey ? 0 : byte & ~(1 << x % 8);
        byte = static_cast<unsigned char>(others | value << (grey ? 0 : x % 8));
    }
    template <typename ValueAt>
    void fill(const ValueAt& valueAt) {
        for (int64_t y = 0; y < height; ++y)
            for (int64_t x = 0; x < width; ++x)
                set(x, y, valueAt(x, y));
    }
    bool isHeldBy(const unsigned char* bytes) const {
        bool held = true;
        for (int64_t i = 0; i < height * rowBytes; i += rowBytes)
            held = held && std::equal(bytes + i, bytes + i + meant, data.begin() + i);
        return held;
    }
    // A last pixel without a word of its own is not made.
    void halve(const PlainLevel& source, int atLeast) {
        fill([&](int64_t x, int64_t y) {
            int count = 0;
            for (const int64_t v : {2 * y, std::min(2 * y + 1, source.height - 1)})
                for (const int64_t u : {2 * x, 2 * x + 1})
                    count += u < source.width ? source.at(u, v) : 0;
            return x < (source.width / 2 + 31) / 32 * 32 && count >= atLeast;
        });
    }
};

// The stored levels of a frame, finest first.
using PlainSet = std::vector<PlainLevel>;

PlainSet plainSet(const __tag_KIRO_OFFSCREEN& image, int64_t threshold, int64_t k = 3) {
    const int64_t levels = plainLevelCount(image);
    PlainSet set;
    for (int64_t j = std::max<int64_t>(levels - k, 0); j <= levels; ++j) {
        PlainLevel level{image.width >> j, image.height >> j, j >= levels - 1};
        if (!set.empty())
            level = {(set.back().width + 1) / 2, (set.back().height + 1) / 2, level.grey};
        const bool isFromMap = !set.empty() && set.back().grey;
        const int64_t columns = isFromMap ? set.back().width / 2 : image.width >> j;
        const int64_t rows = isFromMap ? set.back().height / 2 : image.height >> j;
        if (columns == 0 || rows == 0) // too thin: the padding is zero
            level.meant = level.rowBytes;
        if (!level.grey && !set.empty())
            level.halve(set.back(), 3);
        else
            level.fill([&](int64_t x, int64_t y) -> int {
                x = std::clamp<int64_t>(columns - 1, 0, x); // the last ones are repeated
                y = std::clamp<int64_t>(rows - 1, 0, y);
                if (isFromMap)
                    return set.back().at(2 * x, 2 * y);
                const int luma = lumaAt(image, x << j, y << j);
                return level.grey ? luma : luma > threshold;
            });
        set.push_back(level);
    }
    return set;
}

// The 16 patches of one level.
struct PlainPatches : PlainLevel {
    int64_t xOffset, yOffset;
    std::array<unsigned char, 16> valid{};

    PlainPatches(int64_t levelWidth, int64_t levelHeight, int64_t reduction)
        : PlainLevel{4 * ((((levelWidth >> reduction) + 3) / 4 + 7) / 8 * 8),
                     ((levelHeight >> reduction) + 3) / 4 * 4},
          xOffset((levelWidth - width) / 8 + 2), yOffset((levelHeight - height) / 8) {
        while (xOffset % 4 != 0)
            --xOffset;
    }
    void cut(const __tag_KIRO_OFFSCREEN& image, int64_t threshold, int64_t level) {
        const int64_t columns = width / 4;
        const int64_t rows = height / 4;
        for (int64_t patch = 0; patch < 16; ++patch) {
            const int64_t left = patch % 4 * (image.width / 4) + xOffset * (1 << level);
            const int64_t top = patch / 4 * (image.height / 4) + yOffset * (1 << level);
            const bool inside = left >= 0 && left + (columns << level) <= image.width && top >= 0 &&
                                top + (rows << level) <= image.height;
            valid[static_cast<size_t>(patch)] = inside;
            for (int64_t y = 0; inside && y < rows; ++y)
                for (int64_t x = 0; x < columns; ++x)
                    set(patch % 4 * columns + x, patch / 4 * rows + y,
                        lumaAt(image, left + (x << level), top + (y << level)) > threshold);
        }
    }
};

using PlainPyramid = std::vector<PlainPatches>;

PlainPyramid plainPyramid(const __tag_KIRO_OFFSCREEN& image, int64_t k = 3) {
    PlainPyramid pyramid;
    for (int64_t j = 0; j < plainLevelCount(image) - k; ++j) {
        const int64_t reduction = plainHalvings(std::max(image.width, image.height) >> j, 512);
        pyramid.emplace_back(image.width >> j, image.height >> j,
                             std::clamp<int64_t>(reduction, 1, 3));
    }
    return pyramid;
}

// The sum over an area whose corner lies at these positions.
int64_t disagreement(const PlainLevel& a, Displacement inA, const PlainLevel& b, Displacement inB,
                     int64_t columns, int64_t rows) {
    int64_t sum = 0;
    for (int64_t y = 0; y < rows; ++y)
        for (int64_t x = 0; x < columns; ++x)
            sum += std::abs(a.at(inA.x + x, inA.y + y) - b.at(inB.x + x, inB.y + y));
    return sum;
}

// Over an area that starts at the corner of the overlap.
int64_t disagreement(const PlainLevel& a, const PlainLevel& b, Displacement d, int64_t columns,
                     int64_t rows) {
    return disagreement(a, {std::max<int64_t>(d.x, 0), std::max<int64_t>(d.y, 0)}, b,
                        {std::max<int64_t>(-d.x, 0), std::max<int64_t>(-d.y, 0)}, columns, rows);
}

// Over the inner 30 pixels of the whole words that d has in common. The bitmap that starts at its
// first column stays, and the other one is moved further.
int64_t wordDisagreement(const PlainLevel& a, const PlainLevel& b, Displacement d, int64_t move,
                         int64_t rows) {
    int64_t sum = 0;
    for (int64_t x = 1; x + 31 <= a.width - std::abs(d.x); x += 32)
        sum += disagreement(a, {d.x > 0 ? x + d.x + move : x, std::max<int64_t>(d.y, 0)}, b,
                            {d.x > 0 ? x : x - d.x - move, std::max<int64_t>(-d.y, 0)}, 30, rows);
    return sum;
}

int64_t patchDisagreement(const PlainPatches& ref, const PlainPatches& work, Displacement c) {
    int64_t sum = 0;
    for (int patch = 0; patch < 16; ++patch) {
        const Displacement corner{patch % 4 * (ref.width / 4) + 1,
                                  patch / 4 * (ref.height / 4) + 1};
        if (ref.valid[static_cast<size_t>(patch)] && work.valid[static_cast<size_t>(patch)])
            sum += disagreement(ref, corner, work, corner + Displacement{-c.x, -c.y},
                                ref.width / 4 - 2, ref.height / 4 - 2);
    }
    return sum;
}

PlainLevel noiseBitmap(Random& random, int64_t width, int64_t height) {
    PlainLevel level{width, height};
    random.fill(level.data.data(), height * level.rowBytes);
    return level;
}

void expectHalved(Random& random) {
    PlainLevel source{random.between(1, 200), random.between(1, 12)};
    source.fill([&](int64_t, int64_t) { return random.chance(50); });
    PlainLevel expected{(source.width + 1) / 2, (source.height + 1) / 2};
    PlainLevel result = noiseBitmap(random, expected.width, expected.height);
    const int64_t parity = random.between(0, 5);
    expected.halve(source, parity % 2 == 0 ? 2 : 3);
    BitImageShrink2(source.data.data(), source.height, source.width, source.rowBytes,
                    result.data.data(), expected.height, expected.width, expected.rowBytes, parity);
    ASSERT_EQ(expected.data, result.data) << source.width << " parity " << parity;
    note(result.data);
}

void expectCounted(Random& random) {
    const auto anyShift = [&](int64_t length) {
        const auto reach = random.oneOf<int64_t>({2, length, length + 3, 3 * length, 1 << 20});
        return random.between(-reach, reach);
    };
    const auto common = [](int64_t length, int64_t d, int64_t c) {
        return std::min(length - std::abs(d - c) - 1, length - std::abs(d));
    };
    const int64_t width = random.between(1, random.chance(20) ? 400 : 140);
    const int64_t rows = random.between(1, 12);
    PlainLevel a = noiseBitmap(random, width, rows); // also after the last pixel
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
    note(call(BitmapOperation2, width, rows, a.rowBytes, d.x, d.y));
    long sums[2][3];
    call(BitmapOperationline2, sums[0], width, rows, a.rowBytes, d.x, d.y);
    call(BitmapOperationline2_BF, sums[1], width, rows, a.rowBytes, d.x, d.y, 1, c.y);
    for (const int64_t move : {-1, 0, 1}) {
        ASSERT_EQ(wordDisagreement(a, b, d, move, rowsLeft), sums[0][move + 1]);
        ASSERT_EQ(wordDisagreement(a, b, d, move, commonRows), sums[1][move + 1]);
    }
    note(sums, call(BitmapOperation2_BF, width, rows, a.rowBytes, d.x, d.y, c.x, c.y));
}

void expectLevels(Random& random) {
    const auto width = random.between(1, random.chance(10) ? 5000 : 700);
    const auto height = random.between(1, random.chance(10) ? 1500 : 80);
    AlignmentFrame frame(random, width, height, anyFormat(random), 3);
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
        note(expected.data);
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
        noteBytes(patches.data, patches.rows * patches.rowBytes);
        note(patches.valid);
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

// One level of a frame, cut from it directly.
void expectCut(Random& random) {
    const int64_t format = random.chance(95) ? anyFormat(random) : 0x101;
    const auto w = random.between(1, random.chance(10) ? 2100 : 300), h = random.between(1, 90);
    AlignmentFrame frame(random, w, h, format, random.between(0, 3));
    if (random.chance(50))
        frame.paint([&](int64_t, int64_t) { return random.between(90, 94); });
    unsigned char* const luma = frame.plane.data();
    long threshold = -7, histogram[256];
    ASSERT_EQ(ERR_NONE, TorInterThreshold(nullptr, &frame.image, nullptr, &threshold, w, h,
                                          frame.pitch, histogram));
    ASSERT_EQ(plainThreshold(frame.image), threshold);
    const int64_t level = random.between(0, 3);
    PlainLevel bits{w >> level, h >> level};
    bits.fill([&](int64_t x, int64_t y) {
        return lumaAt(frame.image, x << level, y << level) > threshold;
    });
    Bytes cut(bits.data.size(), 9);
    ComputeBitmaps2(luma, w, h, frame.pitch, cut.data(), bits.rowBytes, threshold, level, format);
    ASSERT_EQ(bits.data, cut);
    // Larger than what there is: the last row and column are repeated.
    const int64_t columns = std::max<int64_t>(w >> level, 1),
                  rows = std::max<int64_t>(h >> level, 1);
    PlainLevel grey{columns + random.between(0, 1), rows + random.between(0, 1), true};
    grey.fill([&](int64_t x, int64_t y) {
        return lumaAt(frame.image, std::min(x, columns - 1) << level,
                      std::min(y, rows - 1) << level);
    });
    Bytes map(grey.data.size());
    ComputeGraymaps2(luma, w, h, frame.pitch, map.data(), grey.width, grey.height, grey.rowBytes,
                     level, format);
    ASSERT_TRUE(grey.isHeldBy(map.data()));
    note(threshold);
    note(cut);
    note(grey.data);
}

// Enters the search at one of its levels, with or without patches.
void enterSearch(Random& random, const __tag_KIRO_OFFSCREEN& moving, size_t slot,
                 const _tag_ZEP_ABDEBLUR& record) {
    const int64_t left = random.between(0, plainLevelCount(moving));
    const bool stored = left <= 3;
    const PlainSet set = plainSet(moving, record.threshold[slot]);
    PlainLevel level{moving.width, moving.height};
    int64_t offset = 0;
    for (size_t i = 0; stored && i < set.size() - static_cast<size_t>(left); ++i) {
        offset += i > 0 ? static_cast<int64_t>(level.data.size()) : 0;
        level = set[i];
    }
    const int64_t usePatches = random.chance(60) ? 1 : random.between(0, 4);
    const bool direct = stored && random.chance(30);
    _tag_BitPyramid_Struct* const pyramid = random.chance(80) ? record.refPyramid : nullptr;
    const bool refused = usePatches > 3 || record.bitmapSet[0] == nullptr ||
                         (!stored && usePatches == 1 && pyramid == nullptr);
    long result[2] = {77, 78};
    long score = 12345;
    ASSERT_EQ(refused ? ERR_INVALID_PARAM : ERR_NONE,
              Alignment2Image2_Video(nullptr, record.bitmapSet[1 - slot] + offset,
                                     record.bitmapSet[slot] + offset, moving.planes[0],
                                     moving.width, moving.height, moving.pitches[0], level.width,
                                     level.height, 4, left, direct ? random.between(0, 3) : 3,
                                     result, pyramid, record.workPyramid, 0, record.threshold[slot],
                                     usePatches, 0, direct, moving.format, &score));
    ASSERT_TRUE(!refused || (result[0] == 77 && result[1] == 78));
    ASSERT_TRUE(!(refused || direct) || score == 12345);
    note(result, score);
}

// Aligns pairs of one size in one context.
void expectAligned(Random& random, int64_t width, int64_t height) {
    SCOPED_TRACE(testing::Message() << width << " x " << height);
    const Context context, fresh;
    const _tag_ZEP_ABDEBLUR& record = context.record();
    for (int call = 0; call < 2; ++call) {
        const int64_t format = random.chance(98) ? anyFormat(random) : 0x101;
        AlignmentFrame first(random, width, height, format, random.between(0, 7));
        AlignmentFrame second(random, width, height, format, random.between(0, 7));
        for (AlignmentFrame* const frame : {&first, &second})
            if (random.chance(10))
                frame->turnOver();
        paintPair(random, first, second, random.oneOf<int64_t>({1, 6, 30}));
        const long reference = random.between(0, 1);
        const long recompute = random.oneOf<long>({-3, 0});
        const Outcome outcome =
            align(context.handle, &first.image, &second.image, reference, recompute);
        ASSERT_EQ(ERR_NONE, outcome.code);
        ASSERT_EQ(Displacement{}, outcome.of(size_t(reference)));
        ASSERT_EQ(plainThreshold(second.image), record.threshold[1]);
        if (call == 0 || recompute != 0) { // what came before does not matter
            ASSERT_EQ(outcome.of(size_t(1 - reference)),
                      align(fresh.handle, &first.image, &second.image, reference, 1)
                          .of(size_t(1 - reference)));
        }
        note(outcome.pairs, record.threshold);
        const auto slot = size_t(1 - reference);
        ASSERT_NO_FATAL_FAILURE(
            enterSearch(random, (slot == 0 ? first : second).image, slot, record));
    }
}

void expectAnyAligned(Random& random) {
    int64_t width = random.between(1, 80), height = random.between(1, random.chance(1) ? 500 : 80);
    int64_t& longer = random.chance(70) ? width : height;
    if (random.chance(33)) // has bitmap levels
        longer = random.between(130, 330);
    if (random.chance(20)) // where levels appear or change kind
        longer = random.oneOf<int64_t>({127,  128,  129,  159,  160,  161,  257,  319, 320, 321,
                                        511,  512,  513,  519,  520,  635,  639,  640, 641, 643,
                                        1023, 1027, 1279, 1287, 2079, 2080, 4200, 700});
    if (random.chance(5)) { // whose residuals are whole numbers before they are rounded
        width = 720;
        height = 40;
    }
    expectAligned(random, width, height);
}

const Register registered{{
    {"Cut", 300, 0x980CCD69CC1C7AFD, expectCut},
    {"Halved", 1500, 0xCA17DECF8665894E, expectHalved},
    {"Counted", 3000, 0xF5D96A88B9D91C3D, expectCounted},
    {"Levels", 200, 0xDC08ADFB20E11A87, expectLevels},
    {"Aligned", 700, 0x71084AFC8FA42CB9, expectAnyAligned},
}};

TEST(Alignment, CutsNextToTheMedian) {
    const auto cut = [](Bytes pixels) {
        const auto width = static_cast<int32_t>(pixels.size());
        __tag_KIRO_OFFSCREEN row = {0x601, width, 1, {pixels.data()}, {width}};
        long threshold = 99;
        long counts[256];
        TorInterThreshold(nullptr, &row, nullptr, &threshold, width, 1, width, counts);
        return threshold;
    };
    EXPECT_EQ(0, cut({0, 0, 0, 0, 200, 200, 200, 200}));
    EXPECT_EQ(-1, cut({0, 0, 0}));
    EXPECT_EQ(6, cut({3, 3, 3, 7, 7, 7, 7, 7}));
    EXPECT_EQ(7, cut({3, 3, 7, 7, 7, 7, 9, 9})); // both cuts are 2 off: the upper one
}

// All ones against all zeros: every position that is looked at counts.
TEST(Alignment, CountsEveryPosition) {
    Bytes ones(5 * 12, 0xFF), zeros(5 * 12);
    EXPECT_EQ(31u * 5, BitmapOperation2(ones.data(), zeros.data(), 64, 5, 12, -33, 0));
    EXPECT_EQ(63u * 4, BitmapOperation2_BF(ones.data(), zeros.data(), 64, 5, 12, 1, -1, 1, -1));
}

TEST(Alignment, FindsAKnownDisplacement) {
    Random random;
    const Scene scene{4711};
    const std::array<int64_t, 5> cases[] = {{641, 481, 0x501, 6, -9}, {1280, 720, 0x603, 17, 11}};
    for (const auto& [width, height, format, dx, dy] : cases) {
        const Displacement d{dx, dy};
        AlignmentFrame first(random, width, height, format, 16);
        AlignmentFrame second(random, width, height, format, 3);
        first.paint([&](int64_t x, int64_t y) { return scene.at(x, y) * 4 / 5; });
        second.paint([&](int64_t x, int64_t y) { return scene.at(x + d.x, y + d.y) + 9; });
        const Context context;
        EXPECT_EQ(d, align(context.handle, &first.image, &second.image).of(1));
        EXPECT_EQ(d, align(context.handle, &second.image, &first.image, 1).of(0));
    }
}

// One bitmap level over two empty grey maps. The centre costs what differs, less one; a move by one
// pixel would cost next to nothing.
TEST(Alignment, TakesACentreThatCostsFourteen) {
    for (const int pixels : {7, 8}) {
        PlainLevel ref{192, 8}, moving{192, 8};
        Bytes sets[2];
        for (int i = 0; i < 8; ++i) {
            ref.set(10 + i % 6 * 32, 2 + i / 6, 1);
            moving.set(9 + i % 6 * 32, 2 + i / 6, i < pixels);
        }
        for (const PlainLevel* const level : {&ref, &moving}) {
            Bytes& set = sets[level == &moving];
            set = level->data;
            set.resize(set.size() + 96 * 4 + 48 * 2);
        }
        long result[2] = {5, 5}, score = 0;
        EXPECT_EQ(ERR_NONE, Alignment2Image2_Video(nullptr, sets[0].data(), sets[1].data(), nullptr,
                                                   192, 8, 192, 192, 8, 28, 2, 3, result, nullptr,
                                                   nullptr, 0, 0, 0, 0, 1, 0x601, &score));
        EXPECT_EQ((Displacement{pixels - 7, 0}), (Displacement{result[0], result[1]}));
    }
}

// Whatever is counted or written there between two alignments.
TEST(Alignment, LetsCallersUseTheHistogram) {
    Random random;
    AlignmentFrame first(random, 200, 90, 0x601, 0), second(random, 200, 90, 0x601, 0);
    AlignmentFrame wider(random, 201, 90, 0x601, 0);
    paintPair(random, first, second, 6);
    const Context plain, used;
    uint64_t* const histogram = used.record().histogram;
    for (int call = 0; call < 3; ++call) {
        if (call == 1) {
            TorInterThreshold(nullptr, &wider.image, nullptr, nullptr, 201, 90, 201,
                              reinterpret_cast<long*>(histogram));
            EXPECT_EQ(ERR_INVALID_PARAM, align(used.handle, &wider.image, &wider.image).code);
        } else if (call == 2) {
            std::fill_n(histogram, histogramBins, 7);
        }
        EXPECT_EQ(align(plain.handle, &first.image, &second.image, 0, 0).of(1),
                  align(used.handle, &first.image, &second.image, 0, 0).of(1));
        std::swap(first.image, second.image);
    }
    EXPECT_EQ(ERR_INVALID_PARAM, align(used.handle, &wider.image, &wider.image).code);
}

// 600 x 1 pixels have no row at any stored level, and none of a patch.
TEST(Alignment, AsksForEmptyBlocks) {
    const Arena arena(4096);
    for (void* const memory : {arena.handle(), static_cast<void*>(nullptr)}) {
        const long code = memory == nullptr ? ERR_NONE : ERR_NO_MEMORY;
        _tag_ZEP_ABDEBLUR context{};
        context.memHandle = memory;
        unsigned char* set = nullptr;
        _tag_BitPyramid_Struct* pyramid = nullptr;
        EXPECT_EQ(code, Alloc_ComputeBitMaps_Video(&context, &set, 600, 1, 4, 3, 4));
        EXPECT_EQ(code, Alloc_ComputeBitPyramid_Video(&context, &pyramid, 600, 1, 4, 3, 4));
        EXPECT_TRUE((set == nullptr) == (memory != nullptr) && arena.isEmpty());
        VantMemFree(memory, set);
        ReleasePyrBit(&context, &pyramid);
    }
}

} // namespace
