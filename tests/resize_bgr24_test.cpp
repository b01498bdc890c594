#include "guarded_rows.h"

#include "kelvane/kelvane.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>

namespace {

constexpr uint32_t formats[] = {0x201, 0x501, 0x601, 0x802};

struct Position {
    long index;
    int64_t weight;
};

Position positionAt(long d, long sourceSize, long destinationSize) {
    const float ratio = static_cast<float>(sourceSize) / static_cast<float>(destinationSize);
    const auto p = static_cast<float>(std::fma(static_cast<double>(d) + 0.5, ratio, -0.5));
    const long i = static_cast<long>(p);
    const float f = p - static_cast<float>(i);
    if (f < 0.0f)
        return {0, 0};
    return {i, static_cast<long>(f * 128.0f + 0.5f)};
}

// A source image whose planes end at inaccessible memory.
struct Source {
    __tag_KIRO_OFFSCREEN image{};
    std::vector<std::unique_ptr<GuardedRows>> planes;

    Source(uint32_t format, int32_t width, int32_t height, std::mt19937& random) {
        image.format = format;
        image.width = width;
        image.height = height;
        if (format == 0x201 || format == 0x501)
            add(width * (format == 0x201 ? 3 : 2), height, 0, random);
        else
            add(width, height, static_cast<long>(random() % 3), random);
        if ((format != 0x601 && format != 0x802) || width < 2 || height < 2)
            return;
        const long padding = static_cast<long>(random() % 3);
        add(format == 0x601 ? width / 2 : width / 2 * 2, height / 2, padding, random);
        if (format == 0x601)
            add(width / 2, height / 2, padding, random);
        image.pitches[2] = 12345; // the second chroma plane lies at the pitch of the first
    }

    void add(long rowBytes, long rows, long padding, std::mt19937& random) {
        const size_t k = planes.size();
        planes.push_back(std::make_unique<GuardedRows>(rowBytes, rows, rowBytes + padding));
        planes[k]->fill(random);
        image.planes[k] = planes[k]->data();
        image.pitches[k] = static_cast<int32_t>(rowBytes + padding);
    }

    int64_t at(int plane, long row, long byte) const {
        return image.planes[plane][row * image.pitches[std::min(plane, 1)] + byte];
    }
    // Chroma of source pixel i in source row r: 0 Cb, 1 Cr.
    int64_t chroma(int which, long r, long i) const {
        if (image.format == 0x501)
            return at(0, r, i / 2 * 4 + (which == 0 ? 1 : 3));
        if (image.width < 2 || image.height < 2)
            return 128;
        const long row = std::min<long>(r / 2, image.height / 2 - 1);
        const long column = std::min<long>(i / 2, image.width / 2 - 1);
        return image.format == 0x601 ? at(1 + which, row, column)
                                     : at(1, row, 2 * column + (which == 0 ? 1 : 0));
    }
};

unsigned char clampToByte(int64_t value) {
    return static_cast<unsigned char>(std::clamp<int64_t>(value, 0, 255));
}

// One destination row, written from the definition.
void expectedRow(const Source& source, long dstWidth, long dstHeight, long y, unsigned char* out) {
    const __tag_KIRO_OFFSCREEN& image = source.image;
    const Position row = positionAt(y, image.height, dstHeight);
    const long top = std::min<long>(row.index, image.height - 1);
    const long bottom = row.weight != 0 && top < image.height - 1 ? top + 1 : top;
    const long bytesPerPixel = image.format == 0x201 ? 3 : image.format == 0x501 ? 2 : 1;
    const auto column = [&](long x) {
        const Position p = positionAt(x, image.width, dstWidth);
        return p.index < image.width - 1 ? p : Position{image.width - 1, 0};
    };
    const auto blended = [&](long x, long channel) {
        const Position p = column(x);
        const auto horizontal = [&](long r) {
            const int64_t s0 = source.at(0, r, p.index * bytesPerPixel + channel);
            if (p.index == image.width - 1)
                return 128 * s0;
            const int64_t s1 = source.at(0, r, (p.index + 1) * bytesPerPixel + channel);
            return p.weight * (s1 - s0) + 128 * s0;
        };
        const int64_t a = horizontal(top);
        return bottom == top ? 128 * a + 8192
                             : row.weight * (horizontal(bottom) - a) + 128 * a + 8192;
    };
    if (image.format == 0x201) {
        for (long k = 0; k < 3 * dstWidth; ++k)
            out[k] = static_cast<unsigned char>(blended(k / 3, k % 3) >> 14);
        return;
    }
    for (long x = 0; x < dstWidth; ++x) {
        const long left = x / 2 * 2;
        const long right = std::min(left + 1, dstWidth - 1);
        int64_t mean[2];
        for (int c = 0; c < 2; ++c) {
            const auto sum = [&](long r) {
                return source.chroma(c, r, column(left).index) +
                       source.chroma(c, r, column(right).index);
            };
            mean[c] = (bottom == top ? ((sum(top) + 1) >> 1) & 255
                                     : ((sum(top) + sum(bottom) + 2) >> 2) & 255) -
                      128;
        }
        const int64_t luma = blended(x, 0) & 0x3FC000;
        out[3 * x] = clampToByte((luma + 29049 * mean[0] + 8192) >> 14);
        out[3 * x + 1] = clampToByte((luma - 5636 * mean[0] - 11698 * mean[1] + 8192) >> 14);
        out[3 * x + 2] = clampToByte((luma + 22987 * mean[1] + 8192) >> 14);
    }
}

void expectExact(uint32_t format, int32_t srcWidth, int32_t srcHeight, long dstWidth,
                 long dstHeight, std::mt19937& random) {
    SCOPED_TRACE(::testing::PrintToString(
        std::vector<long>{format, srcWidth, srcHeight, dstWidth, dstHeight}));
    const Source source(format, srcWidth, srcHeight, random);
    const long pitch = 3 * dstWidth + static_cast<long>(random() % 3);
    GuardedRows dst(3 * dstWidth, dstHeight, pitch);
    dst.fill(0xA5);
    std::vector<unsigned char> expected = dst.content();
    for (long y = 0; y < dstHeight; ++y)
        expectedRow(source, dstWidth, dstHeight, y, expected.data() + y * pitch);

    // An arena of exactly the stated size; with 8 bytes less nothing is written.
    const long payload = (60 * dstWidth + 4 * dstHeight + 7) / 8 * 8;
    std::vector<int64_t> memory(static_cast<size_t>(payload + 32) / 8);
    const auto size = static_cast<long>(memory.size() * 8);
    const std::vector<unsigned char> untouched = dst.content();
    void* arena = VantMemMgrCreate(memory.data(), size - 8);
    ASSERT_EQ(ImageResize_BL_ToBGR24(arena, &source.image, dst.data(), dstWidth, dstHeight, pitch),
              ERR_NO_MEMORY);
    ASSERT_TRUE(dst.content() == untouched);
    arena = VantMemMgrCreate(memory.data(), size);
    ASSERT_EQ(ImageResize_BL_ToBGR24(arena, &source.image, dst.data(), dstWidth, dstHeight, pitch),
              ERR_NONE);
    EXPECT_TRUE(dst.content() == expected);
    EXPECT_EQ(GetMaxAllocMemSize(arena), payload);
}

TEST(ResizeToBgr24, EqualsItsDefinitionForRandomGeometries) {
    std::mt19937 random(4);
    const auto side = [&](unsigned most) { return 1 + static_cast<int32_t>(random() % most); };
    for (int round = 0; round < 3000 && !::testing::Test::HasFailure(); ++round) {
        const unsigned most = round % 50 == 0 ? 400 : round % 5 == 0 ? 90 : 12;
        const uint32_t format = formats[round % 4];
        const int32_t width = format == 0x501 ? 2 * side((most + 1) / 2) : side(most);
        expectExact(format, width, side(most), side(most), side(most), random);
    }
}

TEST(ResizeToBgr24, EqualsItsDefinitionAroundVectorSteps) {
    std::mt19937 random(5);
    for (const uint32_t format : formats)
        for (long dstWidth = 8; dstWidth <= 40; ++dstWidth)
            for (const long srcWidth : {16L, 30L, 2 * dstWidth, 4 * dstWidth})
                expectExact(format, static_cast<int32_t>(srcWidth), 5, dstWidth,
                            (1 << 15) / dstWidth + 1, random);
}

TEST(ResizeToBgr24, ReachesTheEndsOfItsRange) {
    std::mt19937 random(6);
    for (const uint32_t format : formats) {
        expectExact(format, 65534, 2, 5, 3, random);
        expectExact(format, 65534, 2, 40000, 2, random);
        expectExact(format, 2, 65535, 3, 5, random);
        expectExact(format, 2, 1, 300, 200, random);
        expectExact(format, 64, 48, 64, 48, random);
    }
    expectExact(0x802, 65535, 3, 700, 5, random);
}

TEST(ResizeToBgr24, RefusesWhatItCannotConvert) {
    std::mt19937 random(7);
    unsigned char dst[48];
    std::memset(dst, 7, sizeof dst);
    int64_t memory[9];
    void* const arena = VantMemMgrCreate(memory, sizeof memory);
    const auto convert = [&](const __tag_KIRO_OFFSCREEN& image, long width = 4, long height = 4,
                             void* memHandle = nullptr) {
        return ImageResize_BL_ToBGR24(memHandle, &image, dst, width, height, 12);
    };
    for (const uint32_t format : formats) {
        const Source source(format, 4, 4, random);
        for (size_t k = 0; k < source.planes.size(); ++k) {
            __tag_KIRO_OFFSCREEN lacking = source.image;
            lacking.planes[k] = nullptr;
            EXPECT_EQ(convert(lacking), ERR_INVALID_PARAM);
        }
        for (const int32_t side : {0, -4, 65536}) {
            __tag_KIRO_OFFSCREEN image = source.image;
            image.width = side;
            EXPECT_EQ(convert(image), ERR_INVALID_PARAM);
            image = source.image;
            image.height = side;
            EXPECT_EQ(convert(image), ERR_INVALID_PARAM);
        }
        EXPECT_EQ(convert(source.image, 0, 4), ERR_NONE);
        EXPECT_EQ(convert(source.image, 4, -4), ERR_NONE);
        EXPECT_EQ(convert(source.image, INT64_MAX / 16, 4, arena), ERR_NO_MEMORY);
    }
    __tag_KIRO_OFFSCREEN image = Source(0x501, 4, 4, random).image;
    EXPECT_EQ(ImageResize_BL_ToBGR24(nullptr, &image, nullptr, 4, 4, 12), ERR_INVALID_PARAM);
    EXPECT_EQ(ImageResize_BL_ToBGR24(nullptr, nullptr, dst, 4, 4, 12), ERR_INVALID_PARAM);
    image.width = 3;
    EXPECT_EQ(convert(image), ERR_INVALID_PARAM);
    image.format = 0x603;
    EXPECT_EQ(convert(image), ERR_UNSUPPORTED);
    EXPECT_EQ(convert(image, 0, 0), ERR_UNSUPPORTED);
    EXPECT_EQ(convert(image, 4, 4, arena), ERR_NO_MEMORY);
    EXPECT_EQ(std::count(std::begin(dst), std::end(dst), 7), 48);
}

} // namespace
