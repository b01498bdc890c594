#include "align/context.h"
#include "support/alignment_frames.h"
#include "support/allocation_hook.h"

#include <gtest/gtest.h>

namespace {

struct Context {
    void* handle = nullptr;

    Context() { EXPECT_EQ(ERR_NONE, Alignment_Init(nullptr, &handle)); }
    ~Context() { Alignment_Uninit(&handle); }
    const _tag_ZEP_ABDEBLUR& record() const { return *static_cast<_tag_ZEP_ABDEBLUR*>(handle); }
};

struct Outcome {
    long code = -1;
    long pairs[2][2] = {{77, 77}, {77, 77}};

    Displacement of(size_t frame) const { return {pairs[frame][0], pairs[frame][1]}; }
};

Outcome align(void* context, __tag_KIRO_OFFSCREEN* first, __tag_KIRO_OFFSCREEN* second,
              long reference = 0, long recompute = 1, int64_t count = 2) {
    Outcome outcome;
    long* results[2] = {outcome.pairs[0], outcome.pairs[1]};
    _tag_ZEP_NS_INPUTINFO input = {.count = count, .images = {first, second}};
    outcome.code = Image_Alignment_Video(context, &input, reference, results, recompute);
    return outcome;
}

// Enters the search at one of its levels, with or without patches.
void compareSearch(Random& random, PlainAligner plain, const _tag_ZEP_ABDEBLUR& record) {
    const int64_t left = random.between(0, plainLevelCount(plain.moving));
    const bool stored = left <= 3;
    const PlainSet& ref = plain.set[plain.reference];
    PlainLevel level{plain.moving.width, plain.moving.height};
    int64_t offset = 0;
    for (size_t i = 0; stored && i < ref.size() - static_cast<size_t>(left); ++i) {
        offset += i > 0 ? static_cast<int64_t>(level.data.size()) : 0;
        level = ref[i];
    }
    const int64_t usePatches = random.chance(60) ? 1 : random.between(0, 4);
    const bool direct = stored && random.chance(30);
    _tag_BitPyramid_Struct* const pyramid = random.chance(80) ? record.refPyramid : nullptr;
    const bool refused = usePatches > 3 || record.bitmapSet[0] == nullptr ||
                         (!stored && usePatches == 1 && pyramid == nullptr);
    plain.score = 12345;
    if (usePatches != 1)
        plain.pyramid.clear();
    const Displacement expected = refused ? Displacement{77, 78} : plain.search(left);
    const size_t slot = 1 - plain.reference;
    long result[2] = {77, 78};
    long score = 12345;
    ASSERT_EQ(refused ? ERR_INVALID_PARAM : ERR_NONE,
              Alignment2Image2_Video(
                  nullptr, record.bitmapSet[1 - slot] + offset, record.bitmapSet[slot] + offset,
                  plain.moving.planes[0], plain.moving.width, plain.moving.height,
                  plain.moving.pitches[0], level.width, level.height, 4, left,
                  direct ? random.between(0, 3) : 3, result, pyramid, record.workPyramid, 0,
                  record.threshold[slot], usePatches, 0, direct, plain.moving.format, &score));
    ASSERT_EQ(expected, (Displacement{result[0], result[1]})) << left << " levels left";
    ASSERT_EQ(direct ? 12345 : plain.score, score);
}

// Aligns two pairs of one size in one context.
void comparePairs(Random& random, int64_t width, int64_t height) {
    SCOPED_TRACE(testing::Message() << width << " x " << height);
    const int64_t format = random.chance(98) ? anyFormat(random) : 0x101;
    Context context;
    const _tag_ZEP_ABDEBLUR& record = context.record();
    PlainAligner plain;
    for (int call = 0; call < 2; ++call) {
        AlignmentFrame first(random, width, height, format, random.between(0, 7));
        AlignmentFrame second(random, width, height, format, random.between(0, 7));
        paintPair(random, first, second, random.oneOf<int64_t>({1, 6, 30}));
        const auto reference = random.between<size_t>(0, 1);
        const bool recompute = random.chance(50);
        const Displacement expected = plain.align(first.image, second.image, reference, recompute);
        const Outcome outcome = align(context.handle, &first.image, &second.image,
                                      static_cast<long>(reference), recompute ? -3 : 0);
        ASSERT_EQ(ERR_NONE, outcome.code);
        ASSERT_EQ(expected, outcome.of(1 - reference));
        ASSERT_EQ(Displacement{}, outcome.of(reference));
        ASSERT_TRUE(std::equal(plain.threshold.begin(), plain.threshold.end(), record.threshold));
        ASSERT_NO_FATAL_FAILURE(compareSearch(random, plain, record));
    }
}

TEST(Alignment, MatchesThePlainSearch) {
    Random random;
    for (int i = 0; i < 1400; ++i) {
        int64_t width = random.between(1, 80);
        int64_t height = random.between(1, i % 200 == 0 ? 500 : 80);
        int64_t& longer = random.chance(70) ? width : height;
        if (i % 3 == 0) // has bitmap levels
            longer = random.between(130, 330);
        if (i % 5 == 0) // where levels appear or change kind
            longer = random.oneOf<int64_t>({127,  128,  129,  159,  160,  161,  257,  319, 320, 321,
                                            511,  512,  513,  519,  520,  635,  639,  640, 641, 643,
                                            1023, 1027, 1279, 1287, 2079, 2080, 4200, 700});
        if (i % 20 == 1) { // whose residuals are whole numbers before they are rounded
            width = 720;
            height = 40;
        }
        ASSERT_NO_FATAL_FAILURE(comparePairs(random, width, height));
    }
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

TEST(Alignment, RefusesWhatDoesNotFit) {
    Random random;
    AlignmentFrame frame(random, 90, 70, 0x601, 0);
    __tag_KIRO_OFFSCREEN* const image = &frame.image;
    std::array<__tag_KIRO_OFFSCREEN, 3> misfits;
    misfits.fill(frame.image);
    --misfits[0].height;
    misfits[1].format = 0x603;
    misfits[2].planes[0] = nullptr;
    const Context context;
    long pair[2] = {5, 5};
    for (const bool used : {false, true}) {
        std::vector<Outcome> refused;
        for (const long reference : {-1, 2})
            refused.push_back(align(context.handle, image, image, reference));
        for (const int64_t count : {1, 3})
            refused.push_back(align(context.handle, image, image, 0, 1, count));
        refused.push_back(align(context.handle, image, nullptr));
        refused.push_back(align(nullptr, image, image));
        for (__tag_KIRO_OFFSCREEN& misfit : misfits) {
            refused.push_back(align(context.handle, image, &misfit));
            refused.push_back(align(context.handle, &misfit, image, 1));
            if (used)
                refused.push_back(align(context.handle, &misfit, &misfit));
        }
        for (const Outcome& outcome : refused) {
            EXPECT_EQ(ERR_INVALID_PARAM, outcome.code);
            EXPECT_TRUE(outcome.of(0) == Outcome{}.of(0) && outcome.of(1) == Outcome{}.of(1));
        }
        long* results[2] = {pair, nullptr};
        _tag_ZEP_NS_INPUTINFO input = {.count = 2, .images = {image, image}};
        EXPECT_EQ(ERR_INVALID_PARAM, Image_Alignment_Video(context.handle, &input, 0, results, 1));
        EXPECT_EQ(ERR_INVALID_PARAM, Image_Alignment_Video(context.handle, &input, 0, nullptr, 1));
        EXPECT_EQ(ERR_INVALID_PARAM, Image_Alignment_Video(context.handle, nullptr, 0, results, 1));
        EXPECT_EQ(5, pair[0]);
        if (!used) {
            allocationsUntilFailure = 1;
            const Outcome failed = align(context.handle, image, image);
            EXPECT_TRUE(failed.code == ERR_NO_MEMORY && failed.of(1) == Displacement{});
        }
        EXPECT_EQ(used, context.record().bitmapSet[0] != nullptr);
        EXPECT_EQ(used, context.record().threshold[0] != -1);
        EXPECT_EQ(ERR_NONE, align(context.handle, image, image).code);
    }
    EXPECT_EQ(ERR_INVALID_PARAM, Alignment_Init(nullptr, nullptr));
    EXPECT_EQ(ERR_NONE, Alignment_Uninit(nullptr));
    unsigned char* const set = context.record().bitmapSet[0];
    long score = 0;
    for (int missing = 0; missing < 4; ++missing)
        EXPECT_EQ(ERR_INVALID_PARAM,
                  Alignment2Image2_Video(nullptr, missing == 0 ? nullptr : set,
                                         missing == 1 ? nullptr : set, set, 90, 70, 90, 90, 70, 92,
                                         1, 3, missing == 2 ? nullptr : pair, nullptr, nullptr, 0,
                                         0, 1, 0, 0, 0x601, missing == 3 ? nullptr : &score));
    EXPECT_EQ(5, pair[0]);
}

} // namespace
