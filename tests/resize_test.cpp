// Bilinear resize of one plane, and with conversion to packed 24-bit pixels.
#include "support/images.h"

#include <cmath>

namespace {

struct Position {
    long index;
    int64_t weight; // of the next sample, in units of 1/128
};

// One axis of a resize; pixel centres coincide, or first samples.
struct Axis {
    long sourceSize, size;
    bool centred = false;

    Position at(long d) const {
        const float ratio = static_cast<float>(sourceSize) / static_cast<float>(size);
        const float p = centred ? static_cast<float>(std::fma(double(d) + 0.5, ratio, -0.5))
                                : static_cast<float>(d) * ratio;
        const auto index = static_cast<long>(p);
        const float fraction = p - static_cast<float>(index);
        if (fraction < 0)
            return {0, 0};
        return {index, static_cast<long>(fraction * 128.0f + 0.5f)};
    }
    // Columns that reach the last one take only that.
    Position columnAt(long x) const {
        return at(x).index < sourceSize - 1 ? at(x) : Position{sourceSize - 1, 0};
    }
};

// In units of 2^-14, with half a unit of the result added.
template <typename SampleAt>
int64_t interpolate(const Axis& columns, const Axis& rows, long x, long y, SampleAt sampleAt) {
    const Position column = columns.columnAt(x), row = rows.at(y);
    const auto horizontal = [&](long v) {
        const int64_t first = sampleAt(v, column.index);
        const int64_t second = column.weight == 0 ? first : sampleAt(v, column.index + 1);
        return 128 * first + column.weight * (second - first);
    };
    const long last = rows.sourceSize - 1;
    const int64_t top = horizontal(std::min(row.index, last));
    const int64_t bottom = row.weight == 0 || row.index >= last ? top : horizontal(row.index + 1);
    return 128 * top + row.weight * (bottom - top) + 8192;
}

std::string describe(long kind, const Axis& columns, const Axis& rows) {
    return testing::PrintToString(
        std::vector{kind, columns.sourceSize, rows.sourceSize, columns.size, rows.size});
}

long prepare(void* memory, long channels, const Axis& columns, const Axis& rows, void** buffer) {
    return ImageResize_AllocMem_BL(memory, columns.sourceSize, rows.sourceSize, channels,
                                   columns.size, rows.size, buffer);
}

// The number of columns before the last one's, and an entry for every column and row.
std::vector<uint32_t> tablesOf(const Axis& columns, const Axis& rows) {
    std::vector<uint32_t> words(2);
    for (long i = 0; i < columns.size + rows.size; ++i) {
        const Position p = i < columns.size ? columns.columnAt(i) : rows.at(i - columns.size);
        words[0] += i < columns.size && p.index < columns.sourceSize - 1;
        words.push_back(static_cast<uint32_t>(p.weight << 16 | p.index));
    }
    return words;
}

void expectResized(Random& random, const Axis& columns, const Axis& rows) {
    const long channels = random.between(1, 2);
    SCOPED_TRACE(describe(channels, columns, rows));
    const uint32_t format = channels == 1 ? 0x802 : 0x501;
    const Frame src(random, format, columns.sourceSize, rows.sourceSize);
    Frame dst(random, format, columns.size, rows.size);
    // Whole images of the same size may be copied with their padding.
    const bool whole = channels == 1 && columns.sourceSize != columns.size && random.chance(50);
    const std::vector<uint32_t> tables = tablesOf(columns, rows);
    const auto resize = [&](void* memory) {
        if (whole)
            return imgResize(memory, &src.image, &dst.image);
        void* buffer = nullptr;
        long code = prepare(memory, channels, columns, rows, &buffer);
        if (code != ERR_NONE)
            return code;
        code = ImageResize_BL(src.image.planes[0], columns.sourceSize, rows.sourceSize,
                              src.image.pitches[0], channels, dst.image.planes[0], columns.size,
                              rows.size, dst.image.pitches[0], &buffer);
        const auto* const words = static_cast<const uint32_t*>(buffer);
        EXPECT_TRUE(std::equal(words, words + 2, tables.begin()));
        EXPECT_TRUE(
            std::equal(tables.begin() + 2, tables.end(), words + 2 + 4 * columns.size * channels));
        VantMemFree(memory, buffer);
        return code;
    };
    const auto byteAt = [&](long y, long k) {
        const auto sampleAt = [&](long v, long u) {
            return src.at(0, v, u * channels + k % channels);
        };
        return interpolate(columns, rows, k / channels, y, sampleAt) >> 14;
    };
    const long payload = 8 + 16 * columns.size * channels + 4 * (columns.size + rows.size);
    expectOutput(random, dst.planes[0], payload, resize, dst.drawn(0, byteAt));
}

constexpr uint32_t bgrSources[] = {0x201, 0x501, 0x601, 0x802};

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
    const int64_t sample = interpolate(columns, rows, x, y, sampleAt);
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

void expectConverted(Random& random, const Axis& horizontal, const Axis& vertical) {
    const uint32_t format = bgrSources[random.between(0, 3)];
    const long paired = std::max<long>(horizontal.sourceSize / 2 * 2, 2);
    const Axis columns = {format == 0x501 ? paired : horizontal.sourceSize, horizontal.size, true};
    const Axis rows = {vertical.sourceSize, vertical.size, true};
    SCOPED_TRACE(describe(format, columns, rows));
    Frame src(random, format, columns.sourceSize, rows.sourceSize);
    src.image.pitches[2] = 12345; // the second chroma plane lies at the pitch of the first
    const Frame dst(random, 0x201, columns.size, rows.size);
    const auto convert = [&](void* memory) {
        return ImageResize_BL_ToBGR24(memory, &src.image, dst.image.planes[0], columns.size,
                                      rows.size, dst.image.pitches[0]);
    };
    const auto byteAt = [&](long y, long k) {
        return bgrByte(src, columns, rows, k / 3, y, k % 3);
    };
    expectOutput(random, dst.planes[0], 60 * columns.size + 4 * rows.size, convert,
                 dst.drawn(0, byteAt));
}

template <auto check>
void expectAnySizes(Random& random) {
    const long most = random.oneOf({12, 12, 12, 90, random.chance(5) ? 500 : 90});
    const auto side = [&] { return random.between(1, most); };
    const Axis columns = {side(), side()}, rows = {side(), side()};
    check(random, columns, rows);
}

// Sizes at the ends of the range, and rows around the lengths of vectors that spread over few or
// many of them in the source.
template <auto check>
void expectTellingSizes(Random& random) {
    const Axis ends[][2] = {{{1, 1}, {1, 2}},     {{65535, 1}, {3, 1}},    {{65534, 700}, {2, 5}},
                            {{2, 2}, {65535, 7}}, {{2, 40000}, {2, 1}},    {{65535, 65534}, {1, 2}},
                            {{64, 64}, {48, 48}}, {{65534, 65535}, {1, 1}}};
    for (const auto& [columns, rows] : ends)
        check(random, columns, rows);
    for (const long width : {16, 31, 32, 33, 63, 64, 65, 97, 129})
        for (const double scale : {0.4, 1.4, 2.0, 2.05, 2.15, 4.1, 5.1, 8.25, 15.2, 30.0})
            for (int round = 0; round < 4; ++round)
                check(random, Axis{std::lround(scale * static_cast<double>(width)), width},
                      Axis{random.between(1, 6), random.between(1, 6)});
}

void expectDoubledRowsOfEveryLength(Random& random) {
    for (long width = 1; width <= 200; width += width < 140 ? 1 : 13)
        for (long height = 1; height <= 3; ++height)
            for (int round = 0; round < 6; ++round)
                expectResized(random, {width, 2 * width}, {height, 2 * height});
}

const Register registered{{
    {"Resize", 700, 0x4AADC0277C3A5789, expectAnySizes<expectResized>},
    {"ResizeOfTellingSizes", 1, 0xA271AC890A3F91C8, expectTellingSizes<expectResized>},
    {"ResizeToDouble", 1, 0x6E6D27C035955A9F, expectDoubledRowsOfEveryLength},
    {"ResizeToBgr24", 700, 0xCAB2553D626670CD, expectAnySizes<expectConverted>},
    {"ResizeToBgr24OfTellingSizes", 1, 0x3BE0819482AA7323, expectTellingSizes<expectConverted>},
}};

// In single precision the position of the last row is the source's height.
TEST(Resize, EndsWithTheLastRow) {
    Random random;
    expectResized(random, {1, 1}, {40001, 9569837});
}

TEST(Resize, RepeatsTheLastColumnAndRoundsHalfUp) {
    unsigned char pixels[] = {10, 21, 20, 31};
    Bytes out(8);
    const Image src = {0x802, 2, 2, {pixels}, {2}};
    Image dst = {0x802, 4, 2, {out.data()}, {4}};
    EXPECT_EQ(imgResize(nullptr, &src, &dst), ERR_NONE);
    EXPECT_EQ(out, (Bytes{10, 16, 21, 21, 20, 26, 31, 31}));
}

// A buffer stays while the sizes are refused, and is released before another is asked for.
TEST(Resize, ReleasesTheBufferThatItReplaces) {
    const Arena arena(112);
    const Axis four = {4, 4};
    void* buffer = nullptr;
    for (int round = 0; round < 2; ++round)
        EXPECT_EQ(prepare(arena.handle(), 1, four, four, &buffer), ERR_NONE);
    void* const held = buffer;
    for (const Axis& bad : {Axis{0, 4}, Axis{-1, 4}, Axis{65536, 4}, Axis{4, 0}, Axis{4, -4}}) {
        EXPECT_EQ(prepare(arena.handle(), 1, bad, four, &buffer), ERR_INVALID_PARAM);
        EXPECT_EQ(prepare(arena.handle(), 1, four, bad, &buffer), ERR_INVALID_PARAM);
    }
    EXPECT_EQ(prepare(arena.handle(), 0, four, four, &buffer), ERR_INVALID_PARAM);
    EXPECT_TRUE(buffer == held && arena.blocksInUse() == 1);
    for (const long huge : {INT64_MAX / 4, INT64_MAX}) {
        EXPECT_EQ(prepare(arena.handle(), 1, {4, huge}, four, &buffer), ERR_NO_MEMORY);
        EXPECT_EQ(prepare(arena.handle(), 1, four, {4, huge}, &buffer), ERR_NO_MEMORY);
        EXPECT_EQ(prepare(arena.handle(), huge, four, four, &buffer), ERR_NO_MEMORY);
    }
    EXPECT_TRUE(buffer == nullptr && arena.isEmpty());
}

TEST(Resize, CopiesEqualSizesWithoutABuffer) {
    const unsigned char src[16] = {};
    Bytes dst(32, 7);
    void* buffer = nullptr;
    const auto resize = [&](long channels, long width, long height) {
        return ImageResize_BL(src, 2, 2, 7, channels, dst.data(), width, height, 8, &buffer);
    };
    EXPECT_EQ(resize(1, 3, 3), ERR_INVALID_PARAM);
    EXPECT_EQ(resize(3, 2, 2), ERR_NONE);
    EXPECT_EQ(Bytes(dst.begin(), dst.begin() + 9), (Bytes{0, 0, 0, 0, 0, 0, 7, 7, 0}));
    dst.assign(32, 7);
    ASSERT_EQ(prepare(nullptr, 3, {2, 3}, {2, 3}, &buffer), ERR_NONE);
    EXPECT_EQ(resize(3, 3, 3), ERR_UNSUPPORTED);
    EXPECT_EQ(resize(1, 3, 0), ERR_NONE);
    EXPECT_EQ(dst, Bytes(32, 7));
    VantMemFree(nullptr, buffer);
}

// Y 100, Cb 160 and Cr 90 by the real coefficients: 156.7, 116.1 and 46.7.
TEST(ResizeToBgr24, ConvertsFullRangeYuv) {
    unsigned char pixels[] = {100, 160, 255, 90};
    const Image image = {0x501, 2, 1, {pixels}, {4}};
    Bytes out(6);
    EXPECT_EQ(ImageResize_BL_ToBGR24(nullptr, &image, out.data(), 2, 1, 6), ERR_NONE);
    EXPECT_EQ(out, (Bytes{157, 116, 47, 255, 255, 202}));
}

} // namespace
