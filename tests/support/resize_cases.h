// Bilinear interpolation as it is defined, and random cases of it.
#pragma once

#include "image_check.h"

#include <cmath>

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
    // Columns that reach the last one take it alone.
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

inline std::string describe(long kind, const Axis& columns, const Axis& rows) {
    return testing::PrintToString(
        std::vector{kind, columns.sourceSize, rows.sourceSize, columns.size, rows.size});
}

inline long prepare(void* memory, long channels, const Axis& columns, const Axis& rows,
                    void** buffer) {
    return ImageResize_AllocMem_BL(memory, columns.sourceSize, rows.sourceSize, channels,
                                   columns.size, rows.size, buffer);
}

// The number of columns before the last one's, and an entry for every column and row.
inline std::vector<uint32_t> tablesOf(const Axis& columns, const Axis& rows) {
    std::vector<uint32_t> words(2);
    for (long i = 0; i < columns.size + rows.size; ++i) {
        const Position p = i < columns.size ? columns.columnAt(i) : rows.at(i - columns.size);
        words[0] += i < columns.size && p.index < columns.sourceSize - 1;
        words.push_back(static_cast<uint32_t>(p.weight << 16 | p.index));
    }
    return words;
}

inline void expectResized(Random& random, const Axis& columns, const Axis& rows) {
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

inline constexpr uint32_t bgrSources[] = {0x201, 0x501, 0x601, 0x802};

// Cb (0) or Cr (1) of a source pixel.
inline int64_t chromaOf(const Frame& source, int which, long row, long column) {
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
inline int64_t bgrByte(const Frame& source, const Axis& columns, const Axis& rows, long x, long y,
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

inline void expectConverted(Random& random, const Axis& horizontal, const Axis& vertical) {
    const uint32_t format = bgrSources[random.between(0, 3)];
    const long paired = std::max(horizontal.sourceSize / 2 * 2, 2L);
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
