// Bilinear resize of one plane, and with conversion to packed 24-bit pixels.
#include "image_check.h"

#include <cmath>

namespace {

struct Position {
    long index;
    int64_t weight; // of the next sample, in units of 1/128
};

struct Axis {
    long sourceSize, size;
    bool centred; // pixel centres coincide rather than first samples

    Position at(long d) const {
        const float ratio = static_cast<float>(sourceSize) / static_cast<float>(size);
        const float p = centred ? static_cast<float>(std::fma(double(d) + 0.5, ratio, -0.5))
                                : static_cast<float>(d) * ratio;
        const auto index = static_cast<long>(p);
        const float fraction = p - static_cast<float>(index);
        return fraction < 0 ? Position{0, 0}
                            : Position{index, static_cast<long>(fraction * 128.0f + 0.5f)};
    }
    // Columns that reach the last one take it alone.
    Position columnAt(long x) const {
        return at(x).index < sourceSize - 1 ? at(x) : Position{sourceSize - 1, 0};
    }
};

// In units of 2^-14, with half a unit of the result added.
template <typename SampleAt>
int64_t interpolate(const Axis& vertical, long y, Position column, SampleAt sampleAt) {
    const auto horizontal = [&](long row) {
        const int64_t first = sampleAt(row, column.index);
        const int64_t second = column.weight == 0 ? first : sampleAt(row, column.index + 1);
        return 128 * first + column.weight * (second - first);
    };
    const Position row = vertical.at(y);
    const long last = vertical.sourceSize - 1;
    const int64_t top = horizontal(std::min(row.index, last));
    const int64_t bottom = row.weight == 0 || row.index >= last ? top : horizontal(row.index + 1);
    return 128 * top + row.weight * (bottom - top) + 8192;
}

struct Sizes {
    long srcWidth, srcHeight, width, height;
};

// Some sizes at the ends of the range, and random ones.
template <typename Check>
void forManySizes(const Check& check) {
    Random random;
    for (const Sizes& s : {Sizes{1, 1, 1, 2}, Sizes{65534, 3, 1, 1}, Sizes{65534, 2, 700, 5},
                           Sizes{2, 65535, 2, 7}, Sizes{2, 2, 40000, 1}, Sizes{65534, 1, 65533, 2},
                           Sizes{65534, 1, 65535, 1}, Sizes{64, 48, 64, 48}})
        check(random, s);
    for (int round = 0; round < 3000 && !testing::Test::HasFailure(); ++round) {
        const long most = random.oneOf({12, 12, 12, 90, round % 20 == 0 ? 500 : 90});
        const auto side = [&] { return random.between(1, most); };
        check(random, {side(), side(), side(), side()});
    }
}

struct Resize {
    long channels;
    Axis columns, rows;

    Resize(long channelCount, const Sizes& s)
        : channels(channelCount), columns{s.srcWidth, s.width, false}, rows{s.srcHeight, s.height,
                                                                            false} {}
    long prepare(void* memory, void** buffer) const {
        return ImageResize_AllocMem_BL(memory, columns.sourceSize, rows.sourceSize, channels,
                                       columns.size, rows.size, buffer);
    }
    // The tables as they lie in the buffer, after the number of columns before the last one's.
    std::vector<uint32_t> tables() const {
        std::vector<uint32_t> words(2);
        for (long i = 0; i < columns.size + rows.size; ++i) {
            const Position p = i < columns.size ? columns.columnAt(i) : rows.at(i - columns.size);
            words[0] += i < columns.size && p.index < columns.sourceSize - 1;
            words.push_back(static_cast<uint32_t>(p.weight << 16 | p.index));
        }
        return words;
    }
};

void expectResized(Random& random, const Resize& r, bool wholeImage) {
    const uint32_t format = r.channels == 1 ? 0x802 : 0x501;
    const Frame src(random, format, r.columns.sourceSize, r.rows.sourceSize);
    Frame dst(random, format, r.columns.size, r.rows.size);
    const auto resize = [&](void* memory) -> long {
        if (wholeImage)
            return imgResize(memory, &src.image, &dst.image);
        void* buffer = nullptr;
        if (r.prepare(memory, &buffer) != ERR_NONE)
            return ERR_NO_MEMORY;
        const long code =
            ImageResize_BL(src.image.planes[0], r.columns.sourceSize, r.rows.sourceSize,
                           src.image.pitches[0], r.channels, dst.image.planes[0], r.columns.size,
                           r.rows.size, dst.image.pitches[0], &buffer);
        std::vector<uint32_t> tables = r.tables();
        const auto* const words = static_cast<const uint32_t*>(buffer);
        EXPECT_TRUE(std::equal(tables.begin(), tables.begin() + 2, words));
        EXPECT_TRUE(std::equal(tables.begin() + 2, tables.end(),
                               words + 2 + 4 * r.columns.size * r.channels));
        VantMemFree(memory, buffer);
        return code;
    };
    const auto byteAt = [&](long y, long k) {
        const auto sampleAt = [&](long row, long column) {
            return src.at(0, row, column * r.channels + k % r.channels);
        };
        return interpolate(r.rows, y, r.columns.columnAt(k / r.channels), sampleAt) >> 14;
    };
    const long tables = 4 * (r.columns.size + r.rows.size);
    const long payload = (8 + 16 * r.columns.size * r.channels + tables + 7) / 8 * 8;
    expectOutput(random, dst.planes[0], payload, resize, dst.drawn(0, byteAt));
}

TEST(Resize, EqualsItsDefinition) {
    forManySizes([](Random& random, const Sizes& s) {
        const long channels = random.between(1, 2);
        SCOPED_TRACE(testing::PrintToString(
            std::vector{channels, s.srcWidth, s.srcHeight, s.width, s.height}));
        // Whole images of the same size may be copied with their padding.
        const bool wholeImage = channels == 1 && s.srcWidth != s.width && random.chance(50);
        expectResized(random, Resize(channels, s), wholeImage);
    });
}

// In single precision the last position is the source's height.
TEST(Resize, RepeatsTheLastRowOfAnExtremeEnlargement) {
    Random random;
    const Resize extreme(1, {1, 40001, 1, 9569837});
    ASSERT_EQ(extreme.rows.at(extreme.rows.size - 1).index, extreme.rows.sourceSize);
    expectResized(random, extreme, true);
}

TEST(Resize, RepeatsTheLastColumnAndRoundsHalfUp) {
    unsigned char pixels[] = {10, 21, 20, 31};
    Bytes out(8);
    const Image src = {0x802, 2, 2, {pixels}, {2}};
    Image dst = {0x802, 4, 2, {out.data()}, {4}};
    EXPECT_EQ(imgResize(nullptr, &src, &dst), ERR_NONE);
    EXPECT_EQ(out, (Bytes{10, 16, 21, 21, 20, 26, 31, 31}));
}

TEST(Resize, ReleasesTheBufferThatItReplaces) {
    const Arena arena(112);
    const Resize fitting(1, {4, 4, 4, 4});
    void* buffer = nullptr;
    for (int round = 0; round < 2; ++round)
        EXPECT_EQ(fitting.prepare(arena.handle(), &buffer), ERR_NONE);
    void* const held = buffer;
    for (const Sizes& s : {Sizes{0, 4, 4, 4}, Sizes{4, -1, 4, 4}, Sizes{65536, 4, 4, 4},
                           Sizes{4, 65536, 4, 4}, Sizes{4, 4, 0, 4}, Sizes{4, 4, 4, -4}})
        EXPECT_EQ(Resize(1, s).prepare(arena.handle(), &buffer), ERR_INVALID_PARAM);
    EXPECT_EQ(Resize(0, {4, 4, 4, 4}).prepare(arena.handle(), &buffer), ERR_INVALID_PARAM);
    EXPECT_EQ(fitting.prepare(arena.handle(), nullptr), ERR_INVALID_PARAM);
    EXPECT_TRUE(buffer == held && arena.blocksInUse() == 1);
    for (const Resize& huge : {Resize(1, {4, 4, INT64_MAX / 4, 4}), Resize(1, {4, 4, 4, INT64_MAX}),
                               Resize(INT64_MAX / 2, {4, 4, 4, 4})})
        EXPECT_EQ(huge.prepare(arena.handle(), &buffer), ERR_NO_MEMORY);
    EXPECT_TRUE(buffer == nullptr && arena.isEmpty());
}

TEST(Resize, RefusesWhatItCannotResize) {
    const unsigned char src[16] = {};
    Bytes dst(32, 7);
    void* buffer = nullptr;
    const auto resize = [&](long channels, long width, long height) {
        return ImageResize_BL(src, 2, 2, 7, channels, dst.data(), width, height, 8, &buffer);
    };
    EXPECT_EQ(resize(1, 3, 3), ERR_INVALID_PARAM);
    // Equal sizes are copied, whatever the channels, and need no buffer.
    EXPECT_EQ(resize(3, 2, 2), ERR_NONE);
    EXPECT_EQ(Bytes(dst.begin(), dst.begin() + 9), (Bytes{0, 0, 0, 0, 0, 0, 7, 7, 0}));
    dst.assign(32, 7);
    ASSERT_EQ(Resize(3, {2, 2, 3, 3}).prepare(nullptr, &buffer), ERR_NONE);
    EXPECT_EQ(resize(3, 3, 3), ERR_UNSUPPORTED);
    EXPECT_EQ(resize(1, 3, 0), ERR_NONE);
    EXPECT_EQ(dst, Bytes(32, 7));
    VantMemFree(nullptr, buffer);
}

constexpr uint32_t formats[] = {0x201, 0x501, 0x601, 0x802};

// Cb (0) or Cr (1) of a source pixel.
int64_t chromaOf(const Frame& source, int which, long row, long column) {
    const Image& image = source.image;
    if (image.format == 0x501)
        return source.at(0, row, column / 2 * 4 + 1 + 2 * which);
    if (image.width < 2 || image.height < 2)
        return 128;
    row = std::min<long>(row / 2, image.height / 2 - 1);
    column = std::min<long>(column / 2, image.width / 2 - 1);
    return image.format == 0x802 ? source.at(1, row, 2 * column + 1 - which)
                                 : image.planes[1 + which][row * image.pitches[1] + column];
}

// Blue (0), green (1) or red (2) of a destination pixel; a 0x201 source keeps its order.
int64_t bgrByte(const Frame& source, const Axis& columns, const Axis& rows, long x, long y,
                long channel) {
    const bool isBgr = source.image.format == 0x201;
    const auto sampleAt = [&](long v, long u) {
        return source.at(0, v, isBgr ? 3 * u + channel : source.image.format == 0x501 ? 2 * u : u);
    };
    const int64_t sample = interpolate(rows, y, columns.columnAt(x), sampleAt);
    if (isBgr)
        return sample >> 14;
    const long left = columns.columnAt(x / 2 * 2).index;
    const long right = columns.columnAt(std::min(x / 2 * 2 + 1, columns.size - 1)).index;
    const long top = std::min(rows.at(y).index, rows.sourceSize - 1);
    const long bottom = rows.at(y).weight == 0 ? top : std::min(top + 1, rows.sourceSize - 1);
    const auto chroma = [&](int which) {
        int64_t sum = 2;
        for (const long row : {top, bottom})
            sum += chromaOf(source, which, row, left) + chromaOf(source, which, row, right);
        return (sum >> 2) - 128;
    };
    const int64_t fromCb[] = {29049, -5636, 0}, fromCr[] = {0, -11698, 22987};
    const int64_t offset = fromCb[channel] * chroma(0) + fromCr[channel] * chroma(1);
    return std::clamp<int64_t>(((sample & 0x3FC000) + offset + 8192) >> 14, 0, 255);
}

TEST(ResizeToBgr24, EqualsItsDefinition) {
    forManySizes([](Random& random, const Sizes& s) {
        const uint32_t format = formats[random.between(0, 3)];
        SCOPED_TRACE(testing::PrintToString(
            std::vector{format + 0L, s.srcWidth, s.srcHeight, s.width, s.height}));
        Frame src(random, format, s.srcWidth + (format == 0x501 ? s.srcWidth % 2 : 0), s.srcHeight);
        src.image.pitches[2] = 12345; // the second chroma plane lies at the pitch of the first
        const Frame dst(random, 0x201, s.width, s.height);
        const auto convert = [&](void* memory) {
            return ImageResize_BL_ToBGR24(memory, &src.image, dst.image.planes[0], s.width,
                                          s.height, dst.image.pitches[0]);
        };
        const Axis columns = {src.image.width, s.width, true}, rows = {s.srcHeight, s.height, true};
        const auto byteAt = [&](long y, long k) {
            return bgrByte(src, columns, rows, k / 3, y, k % 3);
        };
        const long payload = (60 * s.width + 4 * s.height + 7) / 8 * 8;
        expectOutput(random, dst.planes[0], payload, convert, dst.drawn(0, byteAt));
    });
}

// Y 100, Cb 160 and Cr 90 by the real coefficients: 156.7, 116.1 and 46.7.
TEST(ResizeToBgr24, ConvertsFullRangeYuv) {
    unsigned char pixels[] = {100, 160, 255, 90};
    const Image image = {0x501, 2, 1, {pixels}, {4}};
    Bytes out(6);
    EXPECT_EQ(ImageResize_BL_ToBGR24(nullptr, &image, out.data(), 2, 1, 6), ERR_NONE);
    EXPECT_EQ(out, (Bytes{157, 116, 47, 255, 255, 202}));
}

TEST(ResizeToBgr24, RefusesWhatItCannotConvert) {
    Random random;
    Bytes dst(48, 7);
    const Arena arena(40);
    const auto convert = [&](const Image& image, long width = 4, long height = 4) {
        return ImageResize_BL_ToBGR24(arena.handle(), &image, dst.data(), width, height, 12);
    };
    for (const uint32_t format : formats) {
        const Frame src(random, format, 4, 4);
        for (size_t k = 0; k < src.planes.size(); ++k) {
            Image image = src.image;
            image.planes[k] = nullptr;
            EXPECT_EQ(convert(image), ERR_INVALID_PARAM);
        }
        for (const int32_t side : {0, -4, 65536}) {
            Image wide = src.image, high = src.image;
            wide.width = high.height = side;
            EXPECT_EQ(convert(wide), ERR_INVALID_PARAM);
            EXPECT_EQ(convert(high), ERR_INVALID_PARAM);
        }
        EXPECT_EQ(convert(src.image, 0, 4), ERR_NONE);
        EXPECT_EQ(convert(src.image, 4, -4), ERR_NONE);
        EXPECT_EQ(convert(src.image, INT64_MAX / 16, 4), ERR_NO_MEMORY);
    }
    const Frame src(random, 0x501, 4, 4);
    Image image = src.image;
    EXPECT_EQ(ImageResize_BL_ToBGR24(nullptr, &image, nullptr, 4, 4, 12), ERR_INVALID_PARAM);
    EXPECT_EQ(ImageResize_BL_ToBGR24(nullptr, nullptr, dst.data(), 4, 4, 12), ERR_INVALID_PARAM);
    image.width = 3;
    EXPECT_EQ(convert(image), ERR_INVALID_PARAM);
    image.format = 0x603;
    EXPECT_EQ(convert(image, 0, 0), ERR_UNSUPPORTED);
    EXPECT_EQ(convert(image), ERR_NO_MEMORY); // asked for before the format is looked at
    EXPECT_EQ(ImageResize_BL_ToBGR24(nullptr, &image, dst.data(), 4, 4, 12), ERR_UNSUPPORTED);
    EXPECT_EQ(dst, Bytes(48, 7));
}

} // namespace
