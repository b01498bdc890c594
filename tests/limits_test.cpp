// Sizes at the edge of what the descriptors hold, and long use of one engine.
#include "support/images.h"

#include <climits>

namespace {

constexpr int32_t longest = 65535;

// The digest of what is measured, resized and cut.
uint64_t digestOf(Image image) {
    const auto& [format, width, height, planes, pitches] = image;
    noted = 0;
    __tag_rect whole = {0, 0, width, height}, box = {};
    float sharpness = -1;
    long area = 0, threshold = 0, histogram[256];
    note(imgEvaluateSharpness(nullptr, &image, &sharpness, &whole), sharpness,
         calMaskArea(planes[0], width, height, pitches[0], 7, nullptr, &area), area);
    FindMaskBBox(&image, &box);
    TorInterThreshold(nullptr, &image, nullptr, &threshold, width, height, pitches[0], histogram);
    Bytes small(9 * 7 * 3), bits(12 * 10), grey(32 * 5);
    Image resized = {0x802, 9, 7, {small.data()}, {9}};
    note(box, threshold, imgResize(nullptr, &image, &resized));
    note(small);
    image.planes[1] = planes[0];
    image.pitches[1] = pitches[0];
    note(ImageResize_BL_ToBGR24(nullptr, &image, small.data(), 9, 7, 27));
    ComputeBitmaps2(planes[0], width, height, pitches[0], bits.data(), 12, 100, 1, 0x802);
    ComputeGraymaps2(planes[0], width, height, pitches[0], grey.data(), 32, 5, 32, 2, 0x802);
    for (const Bytes* const bytes : {&small, &bits, &grey})
        note(*bytes);
    return noted;
}

// In a plane of a few rows that lie as far apart as a descriptor can say, everything must be what
// it is where they lie close together. The last row ends with the memory; a negative pitch begins
// there.
TEST(Limits, RowsTwoGigabytesApart) {
    constexpr int32_t width = 128, rows = 20, far = INT32_MAX / 4 * 4;
    const GuardedMemory memory(size_t{far} * (rows - 1) + width);
    Bytes close = Random().image(width * rows * 2);
    Image near = {0x802, width, rows, {close.data(), &close[width * rows]}, {width, width}};
    for (const bool bottomUp : {false, true}) {
        Image spread = {0x802, width, rows, {memory.data()}, {far}};
        if (bottomUp)
            spread = {0x802, width, rows, {memory.data() + int64_t{far} * (rows - 1)}, {-far}};
        spread.planes[1] = spread.planes[0] + 10 * int64_t{spread.pitches[0]};
        spread.pitches[1] = spread.pitches[0];
        const auto expectSame = [&](int last) {
            for (int64_t y = 0; y < last; ++y)
                ASSERT_TRUE(std::equal(near.planes[0] + y * width, near.planes[0] + (y + 1) * width,
                                       spread.planes[0] + y * spread.pitches[0]));
        };
        EXPECT_EQ(CopyImageData(&spread, &near), ERR_NONE);
        expectSame(10); // the second plane lies over the rest
        for (int64_t y = 0; y < rows; ++y)
            std::copy_n(near.planes[0] + y * width, width,
                        spread.planes[0] + y * spread.pitches[0]);
        EXPECT_EQ(digestOf(near), digestOf(spread));
        for (const auto filter : {sbrErode, sbrClose})
            for (Image* const image : {&near, &spread})
                EXPECT_EQ(filter(nullptr, image->planes[0], width, rows, image->pitches[0], 1,
                                 image->planes[0], 2),
                          ERR_NONE);
        expectSame(rows);
    }
}

// Every function over an image of the largest sides, and over images of one row, one column and
// one pixel. Nothing is written but a few rows; the rest is black and costs no memory.
TEST(Limits, SidesOfEveryExtreme) {
    const GuardedMemory memory(size_t{longest} * longest + 4096);
    const std::pair<int32_t, int32_t> sizes[] = {
        {longest, longest}, {longest, 1}, {1, longest}, {1, 1}, {2, 1}, {1, 2}, {longest - 1, 2}};
    for (const auto& [width, height] : sizes) {
        SCOPED_TRACE(testing::Message() << width << " x " << height);
        std::fill_n(memory.data() + int64_t{width} * (height - 1), width, 255); // the last row
        Image image = {0x802, width, height, {memory.data()}, {width}};
        __tag_rect box = {};
        long count = -1;
        EXPECT_EQ(calMaskArea(image.planes[0], width, height, width, 0, nullptr, &count), ERR_NONE);
        EXPECT_EQ(count, width);
        FindMaskBBox(&image, &box);
        EXPECT_EQ(box.bottom, width > 1 ? height : 0);
        // Corners: at the end only the last row and column are taken.
        Bytes small(3 * 2);
        Image resized = {0x802, 3, 2, {small.data()}, {3}};
        EXPECT_EQ(imgResize(nullptr, &image, &resized), ERR_NONE);
        EXPECT_EQ(small[0], height == 1 ? 255 : 0);
        image.planes[1] = image.planes[0];
        image.pitches[1] = width;
        Bytes bgr(3 * 2 * 3);
        EXPECT_EQ(ImageResize_BL_ToBGR24(nullptr, &image, bgr.data(), 3, 2, 9), ERR_NONE);
        Image even = {0x601, width / 2 * 2, height / 2 * 2, {memory.data()}, {width}};
        __tag_rect whole = {0, std::max(0, even.height - 64), even.width, even.height};
        float sharpness = -1;
        const bool empty = even.width == 0 || even.height == 0;
        EXPECT_EQ(imgEvaluateSharpness(nullptr, &even, &sharpness, &whole),
                  empty ? ERR_INVALID_PARAM : ERR_NONE);
        void* context = nullptr;
        long pairs[4] = {5, 5, 5, 5};
        long* results[] = {pairs, pairs + 2};
        _tag_ZEP_NS_INPUTINFO input = {2, {&image, &image}};
        Alignment_Init(nullptr, &context);
        EXPECT_EQ(Image_Alignment_Video(context, &input, 0, results, 1), ERR_NONE);
        EXPECT_TRUE(pairs[2] == 0 && pairs[3] == 0);
        Alignment_Uninit(&context);
        std::fill_n(memory.data() + int64_t{width} * (height - 1), width, 0);
    }
}

TEST(Limits, FiltersOfTheLongestRowsAndColumns) {
    for (const auto& [width, height] : {std::pair<long, long>{longest, 2}, {2, longest}}) {
        Bytes image(size_t(width * height), 255), out(image.size());
        image.back() = 0;
        const GuardedMemory source(image);
        EXPECT_EQ(GB_BoxBlurA(nullptr, source.data(), width, height, width, 0x601, out.data(),
                              LONG_MAX, LONG_MAX, LONG_MAX, LONG_MAX),
                  ERR_NONE);
        const auto area = static_cast<uint32_t>(width * height);
        const uint32_t mean = 255 * (area - 1) * ((1u << 23) / area) >> 23;
        EXPECT_EQ(std::count(out.begin(), out.end(), mean), area);
        // The window reaches one row further down than up.
        const long r = 300, columns = std::min(r + 1, width), rows = std::min(r + 2, height);
        EXPECT_EQ(sbrErode(nullptr, source.data(), width, height, width, 1, out.data(), r),
                  ERR_NONE);
        for (long i = 0; i < width * height; ++i) {
            const bool reached = i % width >= width - columns && i / width >= height - rows;
            ASSERT_EQ(out[size_t(i)], reached ? 0 : 255) << i;
        }
    }
}

TEST(Limits, AMillionCallsOfOneEngine) {
    const Arena arena((1 << 20) - 32);
    constexpr int n = 3;
    unsigned char pixels[n][24 * 24];
    Image frames[n];
    for (int i = 0; i < n; ++i) {
        for (int k = 0; k < 24 * 24; ++k)
            pixels[i][k] = static_cast<unsigned char>(k % 9 < 4 ? 0 : 60 + 50 * (i % 2) + i);
        frames[i] = {0x601, 24, 24, {pixels[i]}, {24}};
    }
    _tag_DRAV_ENGINE* engine = nullptr;
    ASSERT_EQ(DRAV_Init(arena.handle(), &engine), ERR_NONE);
    _tag_DRAV_MOVINGOBJ objects[n];
    std::fill_n(objects, n, _tag_DRAV_MOVINGOBJ{{2, 2, 20, 20}, pixels[0]});
    const _tag_DRAV_MOVINGINFO moving = {24, 24, 24, objects, n};
    _tag_DRAV_FACEINFO noFaces = {};
    _tag_DRAV_PARAM params[n] = {{nullptr, &noFaces}, {nullptr, &noFaces}, {nullptr, &noFaces}};
    int64_t indices[n] = {};
    const auto rank = [&] {
        _tag_DRAV_RESULT result = {n, indices, -1};
        const long code = DRAV_Kelvane(engine, frames, params, n, &result);
        return code * 10 + result.best;
    };
    EXPECT_EQ(SetMovingObjectInfo(engine, &moving), ERR_NONE);
    EXPECT_EQ(rank(), 1);
    const long before = GetMaxAllocMemSize(arena.handle());
    for (int call = 0; call < 1'000'000; ++call)
        ASSERT_EQ(rank(), 1) << call;
    EXPECT_EQ(GetMaxAllocMemSize(arena.handle()), before);
    EXPECT_EQ(arena.blocksInUse(), 2);
    DRAV_Uninit(&engine);
    EXPECT_TRUE(arena.isEmpty());
}

} // namespace
