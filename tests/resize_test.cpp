#include "guarded_rows.h"

#include "kelvane/kelvane.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

struct Geometry {
    long srcWidth, srcHeight, channels, dstWidth, dstHeight;

    long bufferSize() const { return 8 + 16 * dstWidth * channels + 4 * (dstWidth + dstHeight); }
};

// The definition of the tables, one entry after the other.
struct Tables {
    int64_t interpolated;
    std::vector<uint32_t> columns;
    std::vector<uint32_t> rows;
};

uint32_t entry(long index, long weight) {
    return static_cast<uint32_t>(weight) << 16 | static_cast<uint32_t>(index);
}

uint32_t entryAt(long d, float scale) {
    const float p = static_cast<float>(d) * scale;
    const long i = static_cast<long>(p);
    const float f = p - static_cast<float>(i);
    return entry(i, static_cast<long>(f * 128.0f + 0.5f));
}

Tables tablesOf(const Geometry& g) {
    Tables tables{g.dstWidth, {}, {}};
    const float scaleX = static_cast<float>(g.srcWidth) / static_cast<float>(g.dstWidth);
    const float scaleY = static_cast<float>(g.srcHeight) / static_cast<float>(g.dstHeight);
    for (long x = 0; x < g.dstWidth; ++x) {
        tables.columns.push_back(entryAt(x, scaleX));
        if ((tables.columns.back() & 0xFFFF) >= static_cast<uint32_t>(g.srcWidth - 1)) {
            tables.columns.back() = entry(g.srcWidth - 1, 0);
            if (tables.interpolated == g.dstWidth)
                tables.interpolated = x;
        }
    }
    for (long y = 0; y < g.dstHeight; ++y)
        tables.rows.push_back(entryAt(y, scaleY));
    return tables;
}

unsigned char sampleOf(const Geometry& g, const Tables& tables, const unsigned char* src,
                       long pitch, long x, long y, long c) {
    const auto horizontal = [&](long row) -> int64_t {
        const unsigned char* s = src + row * pitch;
        const long i = tables.columns[static_cast<size_t>(x)] & 0xFFFF;
        const int64_t w = tables.columns[static_cast<size_t>(x)] >> 16;
        const int64_t s0 = s[g.channels * i + c];
        return x < tables.interpolated ? w * (s[g.channels * (i + 1) + c] - s0) + 128 * s0
                                       : 128 * s0;
    };
    const uint32_t row = tables.rows[static_cast<size_t>(y)];
    const long top = std::min<long>(row & 0xFFFF, g.srcHeight - 1);
    const int64_t weight = row >> 16;
    const int64_t a = horizontal(top);
    if (weight == 0 || top == g.srcHeight - 1)
        return static_cast<unsigned char>((a + 64) >> 7);
    return static_cast<unsigned char>((weight * (horizontal(top + 1) - a) + 128 * a + 8192) >> 14);
}

std::string describe(const Geometry& g) {
    return ::testing::PrintToString(
        std::vector<long>{g.srcWidth, g.srcHeight, g.channels, g.dstWidth, g.dstHeight});
}

// Resizes random content with a prepared buffer and compares every byte of the destination,
// padding included. Some sources are bottom-up.
void expectExact(const Geometry& g, std::mt19937& random) {
    SCOPED_TRACE(describe(g));
    const Tables tables = tablesOf(g);
    void* buffer = nullptr;
    ASSERT_EQ(ImageResize_AllocMem_BL(nullptr, g.srcWidth, g.srcHeight, g.channels, g.dstWidth,
                                      g.dstHeight, &buffer),
              ERR_NONE);
    const bool bottomUp = random() % 4 == 0;
    const long srcPitch = g.srcWidth * g.channels + static_cast<long>(random() % 3);
    const long dstPitch = g.dstWidth * g.channels + static_cast<long>(random() % 3);
    GuardedRows src(g.srcWidth * g.channels, g.srcHeight, srcPitch);
    GuardedRows dst(g.dstWidth * g.channels, g.dstHeight, dstPitch);
    src.fill(random);
    dst.fill(0xA5);
    std::vector<unsigned char> expected = dst.content();
    const long srcStart = bottomUp ? (g.srcHeight - 1) * srcPitch : 0;
    const long srcStep = bottomUp ? -srcPitch : srcPitch;
    const bool sameSize = g.srcWidth == g.dstWidth && g.srcHeight == g.dstHeight;
    for (long y = 0; y < g.dstHeight; ++y)
        for (long x = 0; x < g.dstWidth; ++x)
            for (long c = 0; c < g.channels; ++c) {
                const unsigned char* start = src.data() + srcStart;
                expected[static_cast<size_t>(y * dstPitch + x * g.channels + c)] =
                    sameSize ? start[y * srcStep + x * g.channels + c]
                             : sampleOf(g, tables, start, srcStep, x, y, c);
            }
    ASSERT_EQ(ImageResize_BL(src.data() + srcStart, g.srcWidth, g.srcHeight, srcStep, g.channels,
                             dst.data(), g.dstWidth, g.dstHeight, dstPitch, &buffer),
              ERR_NONE);
    EXPECT_TRUE(dst.content() == expected);

    // Scratch is all that a resize may have changed in the buffer.
    const auto* const bytes = static_cast<const unsigned char*>(buffer);
    int64_t interpolated = 0;
    std::memcpy(&interpolated, bytes, 8);
    EXPECT_EQ(interpolated, tables.interpolated);
    const auto* const columns = bytes + 8 + 16 * g.dstWidth * g.channels;
    EXPECT_EQ(std::memcmp(columns, tables.columns.data(), tables.columns.size() * 4), 0);
    EXPECT_EQ(std::memcmp(columns + 4 * g.dstWidth, tables.rows.data(), tables.rows.size() * 4), 0);
    VantMemFree(nullptr, buffer);
}

TEST(Resize, EqualsItsDefinitionForRandomGeometries) {
    std::mt19937 random(1);
    const auto side = [&](unsigned most) { return 1 + static_cast<long>(random() % most); };
    for (int round = 0; round < 3000; ++round) {
        const unsigned most = round % 50 == 0 ? 700 : round % 5 == 0 ? 90 : 12;
        expectExact({side(most), side(most), 1 + round % 2, side(most), side(most)}, random);
        if (HasFatalFailure() || HasNonfatalFailure())
            return;
    }
}

// Wide enough for vector code at every width, reduction and row length around its steps.
TEST(Resize, EqualsItsDefinitionAroundVectorSteps) {
    std::mt19937 random(2);
    for (long dstWidth = 1; dstWidth <= 70; ++dstWidth)
        for (const long srcWidth : {1L, 15L, 16L, 17L, 31L, 64L, 3 * dstWidth, 5 * dstWidth})
            expectExact({srcWidth, 9, 1 + static_cast<long>(random() % 2), dstWidth,
                         (1 << 15) / dstWidth + 1},
                        random);
}

TEST(Resize, ReachesTheEndsOfItsRange) {
    std::mt19937 random(3);
    for (const Geometry& g :
         {Geometry{1, 1, 1, 300, 200}, Geometry{1, 1, 2, 1, 2}, Geometry{65535, 3, 1, 1, 1},
          Geometry{65535, 2, 2, 700, 5}, Geometry{3, 65535, 1, 2, 7}, Geometry{2, 2, 1, 40000, 1},
          Geometry{65535, 1, 1, 65534, 2}, Geometry{65535, 1, 2, 65536, 1}})
        expectExact(g, random);
}

// In single precision the last position of this geometry is the source's height.
TEST(Resize, RepeatsTheLastRowOfAnExtremeEnlargement) {
    const Geometry g{1, 40001, 1, 1, 9569837};
    ASSERT_EQ(tablesOf(g).rows.back() & 0xFFFF, 40001u);
    std::mt19937 random(9);
    expectExact(g, random);
}

TEST(Resize, TakesExactlyTheDocumentedMemory) {
    for (const Geometry& g : {Geometry{5, 4, 1, 1, 1}, Geometry{40, 30, 2, 33, 7},
                              Geometry{9, 9, 3, 21, 4}, Geometry{64, 64, 1, 100, 400}}) {
        SCOPED_TRACE(describe(g));
        const long payload = (g.bufferSize() + 7) / 8 * 8;
        for (const long missing : {0L, 8L}) {
            std::vector<int64_t> memory(static_cast<size_t>(payload + 32 - missing) / 8);
            void* const arena =
                VantMemMgrCreate(memory.data(), static_cast<long>(memory.size() * 8));
            // A buffer held on entry goes first, whether the new one fits or not.
            void* buffer = VantMemAlloc(arena, 8);
            ASSERT_NE(buffer, nullptr);
            const long code = ImageResize_AllocMem_BL(arena, g.srcWidth, g.srcHeight, g.channels,
                                                      g.dstWidth, g.dstHeight, &buffer);
            EXPECT_EQ(code, missing == 0 ? ERR_NONE : ERR_NO_MEMORY);
            EXPECT_EQ(buffer == nullptr, missing != 0);
            EXPECT_EQ(GetMaxAllocMemSize(arena), missing == 0 ? 0 : payload - 8);
        }
    }
}

TEST(Resize, RefusesWhatItCannotPrepare) {
    int64_t memory[64];
    void* const arena = VantMemMgrCreate(memory, sizeof memory);
    void* const held = VantMemAlloc(arena, 16);
    const long free = GetMaxAllocMemSize(arena);
    const auto prepare = [&](const Geometry& g, void** buffer) {
        return ImageResize_AllocMem_BL(arena, g.srcWidth, g.srcHeight, g.channels, g.dstWidth,
                                       g.dstHeight, buffer);
    };
    for (const Geometry& g :
         {Geometry{0, 4, 1, 4, 4}, Geometry{4, -1, 1, 4, 4}, Geometry{65536, 4, 1, 4, 4},
          Geometry{4, 65536, 1, 4, 4}, Geometry{4, 4, 0, 4, 4}, Geometry{4, 4, 1, 0, 4},
          Geometry{4, 4, 1, 4, -4}}) {
        void* buffer = held;
        EXPECT_EQ(prepare(g, &buffer), ERR_INVALID_PARAM) << describe(g);
        EXPECT_EQ(buffer, held);
        EXPECT_EQ(GetMaxAllocMemSize(arena), free);
    }
    EXPECT_EQ(prepare({4, 4, 1, 4, 4}, nullptr), ERR_INVALID_PARAM);
    void* buffer = nullptr;
    for (const Geometry& g : {Geometry{4, 4, 1, INT64_MAX / 4, 4}, Geometry{4, 4, 1, 4, INT64_MAX},
                              Geometry{4, 4, INT64_MAX / 2, 4, 4}})
        EXPECT_EQ(prepare(g, &buffer), ERR_NO_MEMORY) << describe(g);
}

TEST(Resize, RefusesWhatItCannotResize) {
    unsigned char src[16] = {};
    unsigned char dst[64];
    std::memset(dst, 7, sizeof dst);
    void* buffer = nullptr;
    EXPECT_EQ(ImageResize_BL(src, 2, 2, 6, 3, dst, 3, 3, 9, &buffer), ERR_INVALID_PARAM);
    ASSERT_EQ(ImageResize_AllocMem_BL(nullptr, 2, 2, 3, 3, 3, &buffer), ERR_NONE);
    EXPECT_EQ(ImageResize_BL(src, 2, 2, 6, 3, dst, 3, 3, 9, &buffer), ERR_UNSUPPORTED);
    EXPECT_EQ(ImageResize_BL(src, 2, 2, 2, 1, dst, 3, 0, 3, &buffer), ERR_NONE);
    EXPECT_EQ(dst[0], 7);
    // Equal sizes are copied, whatever the channels, and need no buffer.
    EXPECT_EQ(ImageResize_BL(src, 2, 2, 7, 3, dst, 2, 2, 8, nullptr), ERR_NONE);
    EXPECT_EQ(dst[5], 0);
    EXPECT_EQ(dst[6], 7);
    EXPECT_EQ(dst[8], 0);
    VantMemFree(nullptr, buffer);
}

} // namespace
