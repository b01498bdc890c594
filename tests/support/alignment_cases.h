// Random pairs of frames, aligned by the library and by its rules.
#pragma once

#include "align/context.h"
#include "support/alignment_frames.h"

#include <gtest/gtest.h>

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

inline Outcome align(void* context, __tag_KIRO_OFFSCREEN* first, __tag_KIRO_OFFSCREEN* second,
                     long reference = 0, long recompute = 1, int64_t count = 2) {
    Outcome outcome;
    long* results[2] = {outcome.pairs[0], outcome.pairs[1]};
    _tag_ZEP_NS_INPUTINFO input = {.count = count, .images = {first, second}};
    outcome.code = Image_Alignment_Video(context, &input, reference, results, recompute);
    return outcome;
}

// Enters the search at one of its levels, with or without patches.
inline void compareSearch(Random& random, PlainAligner plain, const _tag_ZEP_ABDEBLUR& record) {
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

// Aligns pairs of one size in one context.
inline void comparePairs(Random& random, int64_t width, int64_t height, int calls = 2) {
    SCOPED_TRACE(testing::Message() << width << " x " << height);
    Context context;
    const _tag_ZEP_ABDEBLUR& record = context.record();
    PlainAligner plain;
    for (int call = 0; call < calls; ++call) {
        const int64_t format = random.chance(98) ? anyFormat(random) : 0x101;
        AlignmentFrame first(random, width, height, format, random.between(0, 7));
        AlignmentFrame second(random, width, height, format, random.between(0, 7));
        for (AlignmentFrame* const frame : {&first, &second})
            if (random.chance(10))
                frame->turnOver();
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
