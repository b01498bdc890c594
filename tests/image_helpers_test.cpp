// Image records: allocation, copies and the working size.
#include "support/copy_case.h"

#include <cmath>
#include <tuple>

namespace {

bool equal(const Image& a, const Image& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

TEST(ImageAlloc, LaysOutEveryFormatInExactlyItsBlock) {
    for (const auto& [format, size, third, chromaPitch] :
         {std::tuple{0x601u, 48, 40, 4}, {0x603u, 64, 48, 4}, {0x802u, 48, 0, 8}}) {
        const Arena small(size - 8), arena(size);
        Image image, expected;
        for (Image* record : {&image, &expected}) {
            std::memset(static_cast<void*>(record), 7, sizeof *record);
            record->planes[0] = nullptr;
        }
        EXPECT_EQ(imgAlloc(small.handle(), &image, 6, 4, format), ERR_NO_MEMORY);
        EXPECT_TRUE(equal(image, expected));
        EXPECT_EQ(imgAlloc(arena.handle(), &image, 6, 4, format), ERR_NONE);
        auto* const block = static_cast<unsigned char*>(arena.handle()) + 16;
        std::tie(expected.format, expected.width, expected.height) = std::tuple{format, 6, 4};
        std::tie(expected.planes[0], expected.planes[1]) = std::pair{block, block + 32};
        std::tie(expected.pitches[0], expected.pitches[1]) = std::pair{8, chromaPitch};
        if (third != 0)
            std::tie(expected.planes[2], expected.pitches[2]) = std::pair{block + third, 4};
        EXPECT_TRUE(equal(image, expected)) << format;
        EXPECT_EQ(imgAlloc(arena.handle(), &image, 6, 4, format), ERR_INVALID_PARAM);
        imgFree(arena.handle(), &image);
        std::memset(static_cast<void*>(&expected), 0, sizeof expected);
        EXPECT_TRUE(equal(image, expected) && arena.isEmpty());
    }
    imgFree(nullptr, nullptr);
}

TEST(ImageAlloc, RefusesSizesThatNoDescriptorHolds) {
    const Arena arena(480);
    Image image = {};
    EXPECT_EQ(imgAlloc(nullptr, nullptr, 4, 4, 0x601), ERR_INVALID_PARAM);
    for (const auto& [width, height, format] :
         {std::tuple{0L, 4L, 0x601L}, std::tuple{4L, -1L, 0x601L}, std::tuple{4L, 4L, 0x801L},
          std::tuple{4L, 4L, 0x100000601L}, std::tuple{1L << 31, 4L, 0x601L},
          std::tuple{INT32_MAX - 1L, 1L, 0x601L}, std::tuple{INT64_MAX, 1L, 0x802L},
          std::tuple{4L, 1L << 31, 0x601L}})
        EXPECT_EQ(imgAlloc(nullptr, &image, width, height, format), ERR_INVALID_PARAM);
    for (const long format : {0x601, 0x603, 0x802})
        EXPECT_EQ(imgAlloc(arena.handle(), &image, INT32_MAX - 3L, INT32_MAX, format),
                  ERR_NO_MEMORY);
    EXPECT_EQ(image.planes[0], nullptr);
}

TEST(CopyImage, CopiesPixelsAndNoPadding) {
    Random random;
    for (int round = 0; round < 300 && !HasFailure(); ++round)
        expectCopied(random);
}

TEST(CopyImage, RefusesImagesThatDoNotMatch) {
    Random random;
    Frame src(random, 0x601, 4, 4);
    for (const auto& [format, width, height] :
         {std::tuple{0x603u, 4, 4}, std::tuple{0x601u, 5, 4}, std::tuple{0x601u, 4, 5}}) {
        Frame dst(random, format, width, height);
        EXPECT_EQ(CopyImageData(&dst.image, &src.image), ERR_INVALID_PARAM);
    }
    EXPECT_EQ(CopyImageData(nullptr, &src.image), ERR_INVALID_PARAM);
    EXPECT_EQ(CopyImageData(&src.image, nullptr), ERR_INVALID_PARAM);
    src.image.format = 0x201;
    EXPECT_EQ(CopyImageData(&src.image, &src.image), ERR_UNSUPPORTED);
}

// Resizing proper is tested with that of planes.
TEST(ImageResize, CopiesOneLayoutInOneBlock) {
    const Arena noRoom(8);
    Bytes from = Random().image(32), to(32);
    const auto expectCopy = [&](long start, int32_t pitch, int32_t chromaPitch, bool padding) {
        Image src = {0x802, 6, 4, {from.data() + start}, {pitch}};
        Image dst = {0x802, 6, 4, {to.data() + start}, {pitch, chromaPitch}};
        to.assign(32, 9);
        EXPECT_EQ(imgResize(chromaPitch == 0 ? noRoom.handle() : nullptr, &src, &dst), ERR_NONE);
        for (size_t i = 0; i < 32; ++i)
            EXPECT_EQ(to[i], padding || i % 8 < 6 ? from[i] : 9);
    };
    expectCopy(0, 8, 0, true);
    expectCopy(0, 8, 8, false); // the pitches of plane 1 differ
    expectCopy(24, -8, 0, false);
    Bytes row(1 << 16, 5), copy(1 << 16); // longer than what can be resized
    Image src = {0x802, 1 << 16, 1, {row.data()}, {-(1 << 16)}}, dst = src;
    dst.planes[0] = copy.data();
    EXPECT_EQ(imgResize(nullptr, &src, &dst), ERR_NONE);
    EXPECT_TRUE(row == copy);
}

TEST(ImageResize, RefusesImagesItCannotResize) {
    unsigned char pixels[32] = {};
    Image src = {0x802, 6, 4, {pixels}, {8}};
    for (Image dst : {Image{0x802, 3, 2, {}, {8}}, Image{0x601, 3, 2, {pixels}, {8}},
                      Image{0x802, 0, 2, {pixels}, {8}}, Image{0x802, 3, -2, {pixels}, {8}}})
        EXPECT_EQ(imgResize(nullptr, &src, &dst), ERR_INVALID_PARAM);
    EXPECT_EQ(imgResize(nullptr, nullptr, &src), ERR_INVALID_PARAM);
    EXPECT_EQ(imgResize(nullptr, &src, nullptr), ERR_INVALID_PARAM);
    src.format = 0x801;
    EXPECT_EQ(imgResize(nullptr, &src, &src), ERR_INVALID_PARAM);
}

void expectWorkingSize(long width, long height, long longest, long smallWidth, long smallHeight) {
    long outWidth = -1, outHeight = -1;
    float scale = -1.0f;
    CalSmallImgSize(width, height, &outWidth, &outHeight, &scale, longest);
    const float ratio = static_cast<float>(longest) / static_cast<float>(std::max(width, height));
    EXPECT_EQ(scale, std::min(ratio, 1.0f));
    EXPECT_EQ(std::pair(outWidth, outHeight), std::pair(smallWidth, smallHeight));
}

TEST(WorkingSize, KeepsTheRatioWithinTheLongestSide) {
    expectWorkingSize(1920, 1080, 800, 800, 450);
    expectWorkingSize(600, 1001, 800, 480, 800);
    expectWorkingSize(799, 600, 800, 800, 600);
    expectWorkingSize(0, 0, 800, 0, 0);
    Random random;
    for (int round = 0; round < 20000; ++round) {
        const long most = 1L << random.between(4, 26);
        const long width = random.between(1, most), height = random.between(1, most);
        const long longest = random.between(1, std::max(width, height));
        const float scale =
            static_cast<float>(longest) / static_cast<float>(std::max(width, height));
        const auto reduced = [&](long side) {
            const auto size = static_cast<long>(std::fma(scale, static_cast<float>(side), 0.5f));
            return size + size % 2;
        };
        expectWorkingSize(width, height, longest, reduced(width), reduced(height));
    }
}

} // namespace
