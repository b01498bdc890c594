#include "alignment_frames.h"
#include "support/arena.h"

#include <memory>

namespace {

// The record behind an alignment context.
struct ContextView {
    void* memHandle;
    int64_t* histogram;
    int64_t threshold[2];
    unsigned char* bitmapSet[2];
    _tag_BitPyramid_Struct* refPyramid;
    _tag_BitPyramid_Struct* workPyramid;

    bool isFresh() const {
        return threshold[0] == -1 && threshold[1] == -1 && bitmapSet[0] == nullptr &&
               bitmapSet[1] == nullptr && refPyramid == nullptr && workPyramid == nullptr;
    }
};

class Context {
public:
    explicit Context(void* memHandle = nullptr) {
        EXPECT_EQ(ERR_NONE, Alignment_Init(memHandle, &context_));
    }
    ~Context() { Alignment_Uninit(&context_); }
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    void* get() const { return context_; }
    const ContextView& view() const { return *static_cast<const ContextView*>(context_); }

private:
    void* context_ = nullptr;
};

struct Outcome {
    long code = -1;
    std::array<std::array<long, 2>, 2> pairs{{{77, 78}, {79, 80}}};

    Displacement of(size_t frame) const { return {pairs[frame][0], pairs[frame][1]}; }
};

Outcome align(const Context& context, __tag_KIRO_OFFSCREEN* first, __tag_KIRO_OFFSCREEN* second,
              long reference = 0, long recompute = 1, int64_t count = 2) {
    Outcome outcome;
    long* results[2] = {outcome.pairs[0].data(), outcome.pairs[1].data()};
    _tag_ZEP_NS_INPUTINFO input = {.count = count, .images = {first, second}};
    outcome.code = Image_Alignment_Video(context.get(), &input, reference, results, recompute);
    return outcome;
}

void expectState(const ContextView& view, const PlainAligner& plain) {
    for (size_t slot = 0; slot < 2; ++slot) {
        ASSERT_EQ(plain.threshold[slot], view.threshold[slot]);
        ASSERT_TRUE(holds(view.bitmapSet[slot], plain.set[slot])) << "slot " << slot;
    }
    for (const _tag_BitPyramid_Struct* pyramid : {view.refPyramid, view.workPyramid})
        ASSERT_EQ(plain.pyramid.empty(), pyramid == nullptr);
    for (size_t j = 0; j < plain.pyramid.size(); ++j) {
        const PlainPatches& patches = plain.pyramid[j];
        const _tag_BitMap_Struct& ref = view.refPyramid->levels[j];
        ASSERT_TRUE(std::equal(patches.valid.begin(), patches.valid.end(), ref.valid));
        ASSERT_TRUE(std::equal(patches.data.begin(), patches.data.end(), ref.data));
        ASSERT_EQ(patches.xOffset, view.workPyramid->levels[j].xOffset);
        ASSERT_EQ(patches.yOffset, view.workPyramid->levels[j].yOffset);
    }
}

// Aligns a few pairs of one size in one context and compares every step.
void comparePairs(Random& random, int64_t width, int64_t height, int calls = 1) {
    SCOPED_TRACE(testing::Message() << width << " x " << height);
    const int64_t format = random.chance(98) ? anyFormat(random) : 0x101;
    const int64_t reach = random.oneOf<int64_t>({1, 6, std::min(width, height) / 4 + 1});
    Context context;
    PlainAligner plain;
    for (int call = 0; call < calls; ++call) {
        AlignmentFrame first(width, height, format, random.between(0, 7));
        AlignmentFrame second(width, height, format, random.between(0, 7));
        paintPair(random, first, second, reach);
        const auto reference = random.between<size_t>(0, 1);
        const bool recompute = random.chance(50);
        const Displacement expected = plain.align(first.image, second.image, reference, recompute);
        const Outcome outcome = align(context, &first.image, &second.image,
                                      static_cast<long>(reference), recompute ? -3 : 0);
        ASSERT_EQ(ERR_NONE, outcome.code);
        ASSERT_EQ(expected, outcome.of(1 - reference));
        ASSERT_EQ(Displacement{}, outcome.of(reference));
        expectState(context.view(), plain);
    }
}

TEST(Alignment, MatchesThePlainSearchAtEverySmallSize) {
    Random random;
    for (int64_t width = 1; width <= 80; ++width)
        for (int64_t height = 1; height <= 80; ++height)
            ASSERT_NO_FATAL_FAILURE(comparePairs(random, width, height));
}

TEST(Alignment, MatchesThePlainSearchWhereLevelsChangeKind) {
    Random random;
    const std::pair<int64_t, int64_t> sizes[] = {
        {1, 300},   {300, 1},   {3, 2000},  {2000, 1},  {5000, 3},  {2, 513},   {640, 480},
        {641, 481}, {512, 384}, {513, 385}, {639, 359}, {799, 601}, {481, 641}, {1040, 9}};
    for (const auto& [width, height] : sizes)
        ASSERT_NO_FATAL_FAILURE(comparePairs(random, width, height, 3));
    for (const int64_t edge :
         {64,  65,  127, 128, 129, 130, 159, 160, 161, 255,  257,  318,  319,  320,  321, 322,
          511, 512, 513, 519, 520, 635, 639, 641, 643, 1023, 1027, 1279, 1287, 2079, 2080}) {
        for (int i = 0; i < 12; ++i) {
            const int64_t other = random.between(1, edge > 400 ? 40 : 90);
            ASSERT_NO_FATAL_FAILURE(comparePairs(random, edge, other, 2));
            ASSERT_NO_FATAL_FAILURE(comparePairs(random, other, edge, 2));
        }
    }
    for (int i = 0; i < 60; ++i)
        ASSERT_NO_FATAL_FAILURE(
            comparePairs(random, random.between(81, 700), random.between(20, 160), 2));
}

TEST(Alignment, FindsAKnownDisplacement) {
    const Scene scene{4711};
    struct Case {
        int64_t width, height, format, dx, dy;
    };
    for (const Case& c : {Case{300, 200, 0x601, -5, 0}, Case{641, 481, 0x501, 6, -9},
                          Case{1280, 720, 0x603, 17, 11}, Case{4000, 3000, 0x802, -37, 21}}) {
        AlignmentFrame first(c.width, c.height, c.format, 16);
        AlignmentFrame second(c.width, c.height, c.format, 3);
        first.paint([&](int64_t x, int64_t y) { return scene.at(x, y) * 4 / 5; });
        second.paint([&](int64_t x, int64_t y) { return scene.at(x + c.dx, y + c.dy) + 9; });
        Context context;
        Outcome outcome = align(context, &first.image, &second.image);
        EXPECT_EQ((Displacement{c.dx, c.dy}), outcome.of(1)) << c.width << " x " << c.height;
        PlainAligner plain;
        EXPECT_EQ(plain.align(first.image, second.image), outcome.of(1));
        expectState(context.view(), plain);
        outcome = align(context, &first.image, &second.image, 1);
        EXPECT_EQ((Displacement{-c.dx, -c.dy}), outcome.of(0));
        EXPECT_EQ(Displacement{}, outcome.of(1));
        EXPECT_EQ(Displacement{}, align(context, &first.image, &first.image).of(1));
    }
}

TEST(Alignment, RefusesWhatDoesNotFit) {
    Random random;
    AlignmentFrame first(90, 70, 0x601, 0);
    AlignmentFrame second(90, 70, 0x601, 5);
    paintPair(random, first, second, 3);
    Context context;
    AlignmentFrame smaller(90, 69, 0x601, 0);
    AlignmentFrame converted(90, 70, 0x603, 0);
    AlignmentFrame blank(90, 70, 0x601, 0);
    blank.image.planes[0] = nullptr;
    const auto expectRefused = [](const Outcome& outcome) {
        EXPECT_EQ(ERR_INVALID_PARAM, outcome.code);
        EXPECT_TRUE(outcome.of(0) == Outcome{}.of(0) && outcome.of(1) == Outcome{}.of(1));
    };
    const auto expectAllRefused = [&] {
        for (const long reference : {-1, 2})
            expectRefused(align(context, &first.image, &second.image, reference));
        for (const int64_t count : {0, 1, 3})
            expectRefused(align(context, &first.image, &second.image, 0, 1, count));
        for (__tag_KIRO_OFFSCREEN* image : std::initializer_list<__tag_KIRO_OFFSCREEN*>{
                 &smaller.image, &converted.image, &blank.image, nullptr}) {
            expectRefused(align(context, &first.image, image));
            expectRefused(align(context, image, &first.image, 1));
        }
        long pair[2] = {5, 5};
        long* results[2] = {pair, nullptr};
        _tag_ZEP_NS_INPUTINFO input = {.count = 2, .images = {&first.image, &second.image}};
        EXPECT_EQ(ERR_INVALID_PARAM, Image_Alignment_Video(context.get(), &input, 0, results, 1));
        EXPECT_EQ(ERR_INVALID_PARAM, Image_Alignment_Video(context.get(), &input, 0, nullptr, 1));
        results[1] = pair;
        EXPECT_EQ(ERR_INVALID_PARAM, Image_Alignment_Video(context.get(), nullptr, 0, results, 1));
        EXPECT_EQ(ERR_INVALID_PARAM, Image_Alignment_Video(nullptr, &input, 0, results, 1));
        EXPECT_EQ(5, pair[0]);
    };
    expectAllRefused();
    EXPECT_TRUE(context.view().isFresh());

    PlainAligner plain;
    EXPECT_EQ(plain.align(first.image, second.image),
              align(context, &first.image, &second.image).of(1));
    expectAllRefused();
    expectRefused(align(context, &smaller.image, &smaller.image));
    expectRefused(align(context, &converted.image, &converted.image));
    expectState(context.view(), plain);
}

TEST(Alignment, StartsOverAfterAFailedAllocation) {
    Random random;
    AlignmentFrame first(530, 13, 0x501, 0);
    AlignmentFrame second(530, 13, 0x501, 2);
    paintPair(random, first, second, 3);
    const auto expected = PlainAligner{}.align(first.image, second.image);
    EXPECT_EQ(ERR_INVALID_PARAM, Alignment_Init(nullptr, nullptr));
    EXPECT_EQ(ERR_NONE, Alignment_Uninit(nullptr));
    long code = ERR_NO_MEMORY;
    for (int64_t payload = 64; code != ERR_NONE; payload += 8) {
        Arena arena(payload);
        void* context = &arena;
        code = Alignment_Init(arena.handle(), &context);
        ASSERT_EQ(code == ERR_NONE ? 2 : 0, arena.blocksInUse());
        ASSERT_EQ(code == ERR_NO_MEMORY, context == &arena);
    }

    int failures = 0;
    for (int64_t left = 0;; left += 8) {
        Arena arena(16384);
        auto context = std::make_unique<Context>(arena.handle());
        void* const blocker =
            VantMemAlloc(arena.handle(), GetMaxAllocMemSize(arena.handle()) - 16 - left);
        const long available = GetMaxAllocMemSize(arena.handle());
        Outcome outcome = align(*context, &first.image, &second.image);
        const bool failed = outcome.code != ERR_NONE;
        if (failed) {
            ++failures;
            ASSERT_EQ(ERR_NO_MEMORY, outcome.code);
            ASSERT_TRUE(outcome.of(0) == Displacement{} && outcome.of(1) == Displacement{});
            ASSERT_TRUE(context->view().isFresh());
            ASSERT_EQ(available, GetMaxAllocMemSize(arena.handle()));
            ASSERT_EQ(3, arena.blocksInUse());
            VantMemFree(arena.handle(), blocker);
            outcome = align(*context, &first.image, &second.image);
        }
        ASSERT_EQ(ERR_NONE, outcome.code);
        ASSERT_EQ(expected, outcome.of(1));
        if (!failed) {
            while (VantMemAlloc(arena.handle(), GetMaxAllocMemSize(arena.handle())) != nullptr) {
            } // later calls need nothing
            ASSERT_EQ(expected, align(*context, &first.image, &second.image).of(1));
            VantMemFree(arena.handle(), blocker);
            break;
        }
        context.reset();
        ASSERT_TRUE(arena.isEmpty());
    }
    EXPECT_GT(failures, 100);
}

TEST(AlignmentSearch, CanBeEnteredAtEveryLevel) {
    Random random;
    int scores = 0;
    for (int i = 0; i < 150; ++i) {
        const int64_t width = i % 2 == 0 ? random.between(630, 1400) : random.between(16, 300);
        const int64_t height = random.between(16, i % 2 == 0 ? 90 : 200);
        const int64_t levels = plainLevelCount(width, height);
        AlignmentFrame first(width, height, anyFormat(random), random.between(0, 3));
        AlignmentFrame second(width, height, first.image.format, random.between(0, 3));
        paintPair(random, first, second, random.between(1, 20));
        PlainAligner plain;
        plain.align(first.image, second.image);
        Context context;
        align(context, &first.image, &second.image);
        const ContextView& view = context.view();

        int64_t w = width;
        int64_t h = height;
        int64_t offset = 0;
        for (int64_t left = levels; left >= 0; --left) {
            const PlainLevel* level = nullptr;
            if (left <= 3) {
                level = &plain.set[0][plain.set[0].size() - 1 - static_cast<size_t>(left)];
                w = level->width;
                h = level->height;
            }
            const auto usePatches = random.chance(60) ? 1 : random.between(0, 4);
            const bool direct = left <= 3 && random.chance(30);
            const int64_t k = direct ? random.between(0, 3) : 3;
            _tag_BitPyramid_Struct* const pyramid = random.chance(80) ? view.refPyramid : nullptr;
            long result[2] = {77, 78};
            long score = 12345;
            const long code = Alignment2Image2_Video(
                nullptr, view.bitmapSet[0] + offset, view.bitmapSet[1] + offset,
                second.image.planes[0], width, height, second.image.pitches[0], w, h, 4, left, k,
                result, pyramid, view.workPyramid, view.threshold[0], view.threshold[1], usePatches,
                0, direct, second.image.format, &score);
            const bool refused =
                usePatches > 3 || (left > 3 && usePatches == 1 && pyramid == nullptr);
            ASSERT_EQ(refused ? ERR_INVALID_PARAM : ERR_NONE, code);
            int64_t expectedScore = 12345;
            Displacement expected{77, 78};
            if (!refused)
                expected =
                    PlainSearch{plain.set[0],
                                plain.set[1],
                                usePatches == 1 ? plain.pyramid : std::vector<PlainPatches>{},
                                second.image,
                                plain.threshold[1],
                                levels,
                                direct,
                                &expectedScore}
                        .run(left);
            ASSERT_EQ(expected, (Displacement{result[0], result[1]})) << w << " x " << h;
            ASSERT_EQ(expectedScore, score);
            scores += score != 12345;
            if (level != nullptr)
                offset += static_cast<int64_t>(level->data.size());
            w = (w + 1) / 2;
            h = (h + 1) / 2;
        }
    }
    EXPECT_GT(scores, 20);
}

TEST(AlignmentSearch, RoundsTheResidualAsSinglePrecisionDoes) {
    // Level 2 of 640 x 24 pixels: the exact residual is 135 per differing pixel, and what rounding
    // leaves below a whole number is cut off.
    PlainSet ref;
    ref.emplace_back(160, 6, false);
    ref.emplace_back(80, 3, true);
    ref.emplace_back(40, 2, true);
    const PlainSet mov = ref;
    const auto joined = [](const PlainSet& set) {
        std::vector<unsigned char> bytes;
        for (const PlainLevel& level : set)
            bytes.insert(bytes.end(), level.data.begin(), level.data.end());
        return bytes;
    };
    for (int64_t differing = 0; differing < 5 * 150; ++differing) {
        auto refBytes = joined(ref);
        auto movBytes = joined(mov);
        int64_t expected = 0;
        const PlainSearch plain{ref, mov, {}, {}, 0, 4, false, &expected};
        const Displacement best = plain.run(2);
        long result[2] = {7, 7};
        long score = 0;
        ASSERT_EQ(ERR_NONE, Alignment2Image2_Video(nullptr, refBytes.data(), movBytes.data(),
                                                   nullptr, 640, 24, 640, 160, 6, 24, 2, 3, result,
                                                   nullptr, nullptr, 0, 0, 1, 0, 0, 0x601, &score));
        ASSERT_EQ(expected, score) << differing;
        ASSERT_EQ(best, (Displacement{result[0], result[1]}));
        ref[0].set(differing % 150 / 30 * 32 + 1 + differing % 30, differing / 150);
    }
}

TEST(AlignmentSearch, RefusesMissingArguments) {
    unsigned char set[64] = {};
    long result[2] = {7, 7};
    long score = 0;
    const auto search = [&](unsigned char* ref, unsigned char* mov, long* out, long* residual) {
        return Alignment2Image2_Video(nullptr, ref, mov, set, 8, 8, 8, 8, 8, 8, 0, 3, out, nullptr,
                                      nullptr, 0, 0, 1, 0, 0, 0x601, residual);
    };
    EXPECT_EQ(ERR_INVALID_PARAM, search(nullptr, set, result, &score));
    EXPECT_EQ(ERR_INVALID_PARAM, search(set, nullptr, result, &score));
    EXPECT_EQ(ERR_INVALID_PARAM, search(set, set, nullptr, &score));
    EXPECT_EQ(ERR_INVALID_PARAM, search(set, set, result, nullptr));
    EXPECT_EQ(7, result[0]);
    EXPECT_EQ(ERR_NONE, search(set, set, result, &score));
    EXPECT_EQ(0, result[0]);
}

} // namespace
