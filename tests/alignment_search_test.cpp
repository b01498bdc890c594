#include "support/alignment_cases.h"
#include "support/allocation_hook.h"

namespace {

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
            if (used && misfit.format == image->format) // only the size must stay
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
    // With fewer stored levels than the pyramids leave, a coarser level has no patches.
    AlignmentFrame large(random, 640, 480, 0x601, 0);
    const Context ofLarge;
    EXPECT_EQ(ERR_NONE, align(ofLarge.handle, &large.image, &large.image).code);
    const _tag_ZEP_ABDEBLUR& record = ofLarge.record();
    EXPECT_EQ(ERR_INVALID_PARAM,
              Alignment2Image2_Video(nullptr, record.bitmapSet[0], record.bitmapSet[1],
                                     large.plane.data(), 640, 480, 640, 640, 480, 640, 4, 1, pair,
                                     record.refPyramid, record.workPyramid, 0, 0, 1, 0, 0, 0x601,
                                     &score));
    EXPECT_EQ(5, pair[0]);
}

} // namespace
