#include "kelvane/kelvane.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using Image = __tag_KIRO_OFFSCREEN;

TEST(ImageAlloc, LaysOutEveryFormatInExactlyItsBlock) {
    for (const auto& [format, size, third, chromaPitch] :
         {std::tuple{0x601u, 48L, 40L, 4}, std::tuple{0x603u, 64L, 48L, 4},
          std::tuple{0x802u, 48L, 0L, 8}}) {
        int64_t memory[12];
        Image image, untouched, expected;
        for (Image* record : {&image, &untouched, &expected}) {
            std::memset(static_cast<void*>(record), 7, sizeof *record);
            record->planes[0] = nullptr;
        }
        void* arena = VantMemMgrCreate(memory, size + 24);
        EXPECT_EQ(imgAlloc(arena, &image, 6, 4, format), ERR_NO_MEMORY);
        EXPECT_EQ(std::memcmp(&image, &untouched, sizeof image), 0);

        arena = VantMemMgrCreate(memory, size + 32);
        EXPECT_EQ(imgAlloc(arena, &image, 6, 4, format), ERR_NONE);
        auto* const block = static_cast<unsigned char*>(arena) + 16;
        expected.format = format;
        expected.width = 6;
        expected.height = 4;
        expected.planes[0] = block;
        expected.planes[1] = block + 32;
        expected.pitches[0] = 8;
        expected.pitches[1] = chromaPitch;
        if (format != 0x802) {
            expected.planes[2] = block + third;
            expected.pitches[2] = chromaPitch;
        }
        EXPECT_EQ(std::memcmp(&image, &expected, sizeof image), 0) << format;
        EXPECT_EQ(imgAlloc(arena, &image, 6, 4, format), ERR_INVALID_PARAM);

        imgFree(arena, &image);
        const unsigned char zeros[sizeof(Image)] = {};
        EXPECT_EQ(std::memcmp(&image, zeros, sizeof image), 0);
        EXPECT_EQ(GetMaxAllocMemSize(arena), size);
    }
    imgFree(nullptr, nullptr);
}

TEST(ImageAlloc, RefusesSizesThatNoDescriptorHolds) {
    int64_t memory[64];
    void* const arena = VantMemMgrCreate(memory, sizeof memory);
    Image image{};
    EXPECT_EQ(imgAlloc(arena, nullptr, 4, 4, 0x601), ERR_INVALID_PARAM);
    for (const auto& [width, height, format] :
         {std::tuple{0L, 4L, 0x601L}, std::tuple{4L, -1L, 0x601L}, std::tuple{4L, 4L, 0x801L},
          std::tuple{4L, 4L, 0x100000601L}, std::tuple{1L << 31, 4L, 0x601L},
          std::tuple{INT32_MAX - 1L, 1L, 0x601L}, std::tuple{INT64_MAX, 1L, 0x802L},
          std::tuple{4L, 1L << 31, 0x601L}})
        EXPECT_EQ(imgAlloc(arena, &image, width, height, format), ERR_INVALID_PARAM)
            << width << ' ' << height;
    for (const long format : {0x601L, 0x603L, 0x802L})
        EXPECT_EQ(imgAlloc(arena, &image, INT32_MAX - 3L, INT32_MAX, format), ERR_NO_MEMORY);
    EXPECT_EQ(image.planes[0], nullptr);
}

// Bytes per row and rows of every plane, with an odd size.
struct PlaneSizes {
    uint32_t format;
    std::vector<std::pair<long, long>> planes;
};

const PlaneSizes planeSizes[] = {{0x601, {{7, 5}, {3, 2}, {3, 2}}},
                                 {0x603, {{7, 5}, {3, 5}, {3, 5}}},
                                 {0x801, {{7, 5}, {7, 2}}},
                                 {0x802, {{7, 5}, {7, 2}}},
                                 {0x803, {{7, 5}, {7, 5}}},
                                 {0x501, {{14, 5}}},
                                 {0x503, {{14, 5}}}};

TEST(CopyImage, CopiesPixelsAndNoPadding) {
    std::mt19937 random(8);
    for (const PlaneSizes& sizes : planeSizes) {
        SCOPED_TRACE(sizes.format);
        Image src{sizes.format, 7, 5, {}, {-16, -16, -16, 0}}; // bottom-up
        Image dst{sizes.format, 7, 5, {}, {20, 20, 20, 0}};
        unsigned char from[3][80], to[3][100], expected[3][100];
        std::generate(from[0], from[0] + sizeof from, [&] { return random() & 255; });
        std::memset(to, 0xA5, sizeof to);
        std::memset(expected, 0xA5, sizeof expected);
        for (size_t k = 0; k < sizes.planes.size(); ++k) {
            src.planes[k] = from[k] + 64;
            dst.planes[k] = to[k];
            for (long y = 0; y < sizes.planes[k].second; ++y)
                std::memcpy(expected[k] + 20 * y, src.planes[k] - 16 * y,
                            static_cast<size_t>(sizes.planes[k].first));
        }
        // A plane that is missing is found before the first one is written.
        for (size_t k = 0; k < sizes.planes.size(); ++k) {
            Image lacking = src;
            lacking.planes[k] = nullptr;
            EXPECT_EQ(CopyImageData(&dst, &lacking), ERR_INVALID_PARAM);
            lacking = dst;
            lacking.planes[k] = nullptr;
            EXPECT_EQ(CopyImageData(&lacking, &src), ERR_INVALID_PARAM);
            EXPECT_EQ(to[0][0], 0xA5);
        }
        EXPECT_EQ(CopyImageData(&dst, &src), ERR_NONE);
        EXPECT_EQ(std::memcmp(to, expected, sizeof to), 0);
    }
}

TEST(CopyImage, RefusesImagesThatDoNotMatch) {
    Image src{0x601, 4, 4, {}, {}};
    for (Image dst :
         {Image{0x603, 4, 4, {}, {}}, Image{0x601, 5, 4, {}, {}}, Image{0x601, 4, 5, {}, {}}})
        EXPECT_EQ(CopyImageData(&dst, &src), ERR_INVALID_PARAM);
    EXPECT_EQ(CopyImageData(nullptr, &src), ERR_INVALID_PARAM);
    EXPECT_EQ(CopyImageData(&src, nullptr), ERR_INVALID_PARAM);
    src.format = 0x201;
    EXPECT_EQ(CopyImageData(&src, &src), ERR_UNSUPPORTED);
}

TEST(ImageResize, CopiesOneLayoutInOneBlockAndResizesTheRest) {
    unsigned char from[32], to[33];
    for (int i = 0; i < 32; ++i)
        from[i] = static_cast<unsigned char>(3 * i);
    Image src{0x802, 6, 4, {from}, {8}};
    Image dst{0x802, 6, 4, {to}, {8}};
    const auto resize = [&](void* memHandle) {
        std::memset(to, 9, sizeof to);
        return imgResize(memHandle, &src, &dst);
    };
    EXPECT_EQ(resize(nullptr), ERR_NONE);
    EXPECT_EQ(std::memcmp(to, from, 32), 0); // padding included
    EXPECT_EQ(to[32], 9);

    // Row by row when another pitch differs, and for bottom-up images.
    dst.pitches[1] = 8;
    EXPECT_EQ(resize(nullptr), ERR_NONE);
    EXPECT_EQ(std::memcmp(to + 24, from + 24, 6), 0);
    EXPECT_EQ(to[6], 9);
    src = {0x802, 6, 4, {from + 24}, {-8}};
    dst = {0x802, 6, 4, {to + 24}, {-8}};
    EXPECT_EQ(resize(nullptr), ERR_NONE);
    EXPECT_EQ(std::memcmp(to, from, 6), 0);
    EXPECT_EQ(to[6], 9);

    // Every second sample of every second row. The buffer: 8 + 16 * 3 + 4 * (3 + 2), rounded to 8.
    src = {0x802, 6, 4, {from}, {8}};
    dst = {0x802, 3, 2, {to}, {8}};
    int64_t memory[14];
    EXPECT_EQ(resize(VantMemMgrCreate(memory, 32 + 72)), ERR_NO_MEMORY);
    EXPECT_EQ(to[0], 9);
    void* const arena = VantMemMgrCreate(memory, 32 + 80);
    EXPECT_EQ(resize(arena), ERR_NONE);
    EXPECT_EQ(GetMaxAllocMemSize(arena), 80);
    const unsigned char expected[] = {from[0], from[2], from[4], 9, 9, 9, 9, 9, from[16], from[18]};
    EXPECT_EQ(std::memcmp(to, expected, sizeof expected), 0);
}

TEST(ImageResize, RefusesImagesItCannotResize) {
    unsigned char pixels[32] = {};
    Image src{0x802, 6, 4, {pixels}, {8}};
    for (Image dst : {Image{0x802, 3, 2, {}, {8}}, Image{0x601, 3, 2, {pixels}, {8}},
                      Image{0x802, 0, 2, {pixels}, {8}}, Image{0x802, 3, -2, {pixels}, {8}}})
        EXPECT_EQ(imgResize(nullptr, &src, &dst), ERR_INVALID_PARAM);
    EXPECT_EQ(imgResize(nullptr, nullptr, &src), ERR_INVALID_PARAM);
    EXPECT_EQ(imgResize(nullptr, &src, nullptr), ERR_INVALID_PARAM);
    src.format = 0x801;
    EXPECT_EQ(imgResize(nullptr, &src, &src), ERR_INVALID_PARAM);
}

TEST(WorkingSize, KeepsTheRatioWithinTheLongestSide) {
    const long cases[][4] = {{4000, 3000, 800, 600}, {1920, 1080, 800, 450}, {600, 1001, 480, 800},
                             {799, 600, 800, 600},   {3, 801, 4, 800},       {0, 0, 0, 0}};
    for (const auto& [width, height, smallWidth, smallHeight] : cases) {
        long outWidth = -1, outHeight = -1;
        float scale = -1.0f;
        CalSmallImgSize(width, height, &outWidth, &outHeight, &scale, 800);
        EXPECT_EQ(outWidth, smallWidth);
        EXPECT_EQ(outHeight, smallHeight);
        EXPECT_EQ(scale, std::max(width, height) > 800
                             ? 800.0f / static_cast<float>(std::max(width, height))
                             : 1.0f);
    }
}

} // namespace
