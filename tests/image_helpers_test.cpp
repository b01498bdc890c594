#include "guarded_rows.h"

#include "kelvane/kelvane.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using Image = __tag_KIRO_OFFSCREEN;

TEST(ImageAlloc, LaysOutEveryFormatInExactlyItsBlock) {
    for (const auto& [format, size, second, chromaPitch] :
         {std::tuple{0x601L, 48L, 40L, 4}, std::tuple{0x603L, 64L, 48L, 4},
          std::tuple{0x802L, 48L, 0L, 8}}) {
        std::vector<int64_t> memory(static_cast<size_t>(size + 32) / 8);
        const long bytes = size + 32;
        Image image{};
        std::memset(&image.pitches[2], 0x5A, 8);
        void* arena = VantMemMgrCreate(memory.data(), bytes - 8);
        const Image before = image;
        EXPECT_EQ(imgAlloc(arena, &image, 6, 4, format), ERR_NO_MEMORY);
        EXPECT_EQ(std::memcmp(&image, &before, sizeof image), 0);

        arena = VantMemMgrCreate(memory.data(), bytes);
        ASSERT_EQ(imgAlloc(arena, &image, 6, 4, format), ERR_NONE);
        unsigned char* const block = image.planes[0];
        EXPECT_EQ(block, static_cast<unsigned char*>(arena) + 16);
        EXPECT_EQ(image.planes[1], block + 32);
        EXPECT_EQ(image.planes[2], format == 0x802 ? nullptr : block + second);
        EXPECT_EQ(image.pitches[0], 8);
        EXPECT_EQ(image.pitches[1], chromaPitch);
        EXPECT_EQ(image.pitches[2], format == 0x802 ? 0x5A5A5A5A : chromaPitch);
        EXPECT_EQ(image.pitches[3], 0x5A5A5A5A);
        EXPECT_EQ(image.width, 6);
        EXPECT_EQ(image.height, 4);
        EXPECT_EQ(image.format, format);
        EXPECT_EQ(imgAlloc(arena, &image, 6, 4, format), ERR_INVALID_PARAM);

        imgFree(arena, &image);
        const Image zero{};
        EXPECT_EQ(std::memcmp(&image, &zero, sizeof image), 0);
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
        Image src{};
        src.format = sizes.format;
        src.width = 7;
        src.height = 5;
        Image dst = src;
        std::vector<std::unique_ptr<GuardedRows>> from, to;
        std::vector<std::vector<unsigned char>> expected;
        for (size_t k = 0; k < sizes.planes.size(); ++k) {
            const auto [rowBytes, rows] = sizes.planes[k];
            from.push_back(std::make_unique<GuardedRows>(rowBytes, rows, rowBytes + 2));
            to.push_back(std::make_unique<GuardedRows>(rowBytes, rows, rowBytes + 5));
            from[k]->fill(random);
            to[k]->fill(0xA5);
            // The source is bottom-up.
            src.planes[k] = from[k]->data() + (rows - 1) * (rowBytes + 2);
            src.pitches[k] = static_cast<int32_t>(-(rowBytes + 2));
            dst.planes[k] = to[k]->data();
            dst.pitches[k] = static_cast<int32_t>(rowBytes + 5);
            expected.push_back(to[k]->content());
            for (long y = 0; y < rows; ++y)
                std::memcpy(expected[k].data() + y * (rowBytes + 5),
                            src.planes[k] + y * src.pitches[k], static_cast<size_t>(rowBytes));
        }
        // A plane that is missing is found before the first one is written.
        for (size_t k = 0; k < sizes.planes.size(); ++k) {
            Image lacking = src;
            lacking.planes[k] = nullptr;
            EXPECT_EQ(CopyImageData(&dst, &lacking), ERR_INVALID_PARAM);
            EXPECT_EQ(to[0]->content()[0], 0xA5);
            lacking = dst;
            lacking.planes[k] = nullptr;
            EXPECT_EQ(CopyImageData(&lacking, &src), ERR_INVALID_PARAM);
        }
        EXPECT_EQ(CopyImageData(&dst, &src), ERR_NONE);
        for (size_t k = 0; k < sizes.planes.size(); ++k)
            EXPECT_TRUE(to[k]->content() == expected[k]) << k;
    }
}

TEST(CopyImage, RefusesImagesThatDoNotMatch) {
    Image src{};
    src.format = 0x601;
    src.width = 4;
    src.height = 4;
    for (const auto change : {+[](Image& i) { i.format = 0x603; }, +[](Image& i) { i.width = 5; },
                              +[](Image& i) { i.height = 5; }}) {
        Image dst = src;
        change(dst);
        EXPECT_EQ(CopyImageData(&dst, &src), ERR_INVALID_PARAM);
    }
    EXPECT_EQ(CopyImageData(nullptr, &src), ERR_INVALID_PARAM);
    EXPECT_EQ(CopyImageData(&src, nullptr), ERR_INVALID_PARAM);
    Image packed = src;
    packed.format = 0x201;
    Image other = packed;
    EXPECT_EQ(CopyImageData(&other, &packed), ERR_UNSUPPORTED);
}

Image lumaImage(int32_t width, int32_t height, int32_t pitch, std::vector<unsigned char>& plane) {
    Image image{};
    image.format = 0x802;
    image.width = width;
    image.height = height;
    image.pitches[0] = pitch;
    image.planes[0] = plane.data();
    return image;
}

TEST(ImageResize, CopiesOneLayoutInOneBlockAndResizesTheRest) {
    std::vector<unsigned char> from(64), to(64, 9);
    for (size_t i = 0; i < from.size(); ++i)
        from[i] = static_cast<unsigned char>(3 * i);
    const Image src = lumaImage(6, 4, 8, from);
    Image dst = lumaImage(6, 4, 8, to);
    EXPECT_EQ(imgResize(nullptr, &src, &dst), ERR_NONE);
    EXPECT_TRUE(std::equal(to.begin(), to.begin() + 32, from.begin())); // padding included
    EXPECT_EQ(to[32], 9);

    // Row by row when another pitch differs, and for bottom-up images.
    to.assign(64, 9);
    dst.pitches[1] = 8;
    EXPECT_EQ(imgResize(nullptr, &src, &dst), ERR_NONE);
    EXPECT_TRUE(std::equal(to.begin(), to.begin() + 6, from.begin()));
    EXPECT_EQ(to[6], 9);
    to.assign(64, 9);
    Image bottomUp = lumaImage(6, 4, -8, from);
    bottomUp.planes[0] += 24;
    Image flipped = lumaImage(6, 4, -8, to);
    flipped.planes[0] += 24;
    EXPECT_EQ(imgResize(nullptr, &bottomUp, &flipped), ERR_NONE);
    EXPECT_TRUE(std::equal(to.begin(), to.begin() + 6, from.begin()));
    EXPECT_EQ(to[6], 9);
    EXPECT_EQ(to[24 + 5], from[24 + 5]);

    to.assign(64, 9);
    Image half = lumaImage(3, 2, 8, to); // every second sample of every second row
    std::vector<int64_t> memory(16);     // 32 + 8 + 16 * 3 + 4 * (3 + 2), rounded to 8
    void* const arena = VantMemMgrCreate(memory.data(), 32 + 80);
    EXPECT_EQ(imgResize(VantMemMgrCreate(memory.data(), 32 + 72), &src, &half), ERR_NO_MEMORY);
    EXPECT_EQ(to, std::vector<unsigned char>(64, 9));
    EXPECT_EQ(imgResize(VantMemMgrCreate(memory.data(), 32 + 80), &src, &half), ERR_NONE);
    EXPECT_EQ(GetMaxAllocMemSize(arena), 80);
    EXPECT_EQ(to[0], from[0]);
    EXPECT_EQ(to[2], from[4]);
    EXPECT_EQ(to[3], 9);
    EXPECT_EQ(to[8 + 1], from[2 * 8 + 2]);
}

TEST(ImageResize, RefusesImagesItCannotResize) {
    std::vector<unsigned char> from(64), to(64);
    const Image src = lumaImage(6, 4, 8, from);
    for (const auto change :
         {+[](Image& i) { i.planes[0] = nullptr; }, +[](Image& i) { i.format = 0x601; },
          +[](Image& i) { i.width = 0; }, +[](Image& i) { i.height = -3; }}) {
        Image dst = lumaImage(3, 2, 8, to);
        change(dst);
        EXPECT_EQ(imgResize(nullptr, &src, &dst), ERR_INVALID_PARAM);
    }
    Image packed = src;
    packed.format = 0x801;
    Image dst = packed;
    EXPECT_EQ(imgResize(nullptr, &packed, &dst), ERR_INVALID_PARAM);
    EXPECT_EQ(imgResize(nullptr, nullptr, &dst), ERR_INVALID_PARAM);
    EXPECT_EQ(imgResize(nullptr, &src, nullptr), ERR_INVALID_PARAM);
}

TEST(WorkingSize, KeepsTheRatioWithinTheLongestSide) {
    struct Case {
        long width, height, maxSide, outWidth, outHeight;
        float scale;
    };
    for (const Case& c :
         {Case{4000, 3000, 800, 800, 600, 0.2f}, Case{1920, 1080, 800, 800, 450, 800.0f / 1920},
          Case{600, 1001, 800, 480, 800, 800.0f / 1001}, Case{799, 600, 800, 800, 600, 1.0f},
          Case{0, 0, 800, 0, 0, 1.0f}}) {
        long width = -1, height = -1;
        float scale = -1.0f;
        CalSmallImgSize(c.width, c.height, &width, &height, &scale, c.maxSide);
        EXPECT_EQ(width, c.outWidth);
        EXPECT_EQ(height, c.outHeight);
        EXPECT_EQ(scale, c.scale);
    }
}

} // namespace
