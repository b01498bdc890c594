// The alignment as its rules read: one pixel and one bit at a time.
#pragma once

#include "kelvane/kelvane.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <vector>

using Bytes = std::vector<unsigned char>;

struct Displacement {
    int64_t x = 0;
    int64_t y = 0;
    Displacement operator+(Displacement d) const { return {x + d.x, y + d.y}; }
    bool operator==(const Displacement&) const = default;
};

inline int64_t plainHalvings(int64_t size, int64_t limit) {
    return size > limit ? 1 + plainHalvings(size / 2, limit) : 0;
}
inline int64_t plainLevelCount(int64_t width, int64_t height) {
    return plainHalvings(std::max(width, height), 64);
}
inline int64_t pixelBytes(int64_t format) { return format == 0x501 ? 2 : 1; }
inline int bitAt(const unsigned char* bits, int64_t rowBytes, int64_t x, int64_t y) {
    return bits[y * rowBytes + x / 8] >> x % 8 & 1;
}

struct PlainLuma {
    const unsigned char* data;
    int64_t pitch, format;

    explicit PlainLuma(const __tag_KIRO_OFFSCREEN& image)
        : data(image.planes[0]), pitch(image.pitches[0]), format(image.format) {}
    int64_t at(int64_t x, int64_t y) const { return data[y * pitch + x * pixelBytes(format)]; }
};

inline int64_t plainThreshold(const __tag_KIRO_OFFSCREEN& image, std::array<long, 256>& counts) {
    counts = {};
    const auto countable = {0x501u, 0x601u, 0x603u, 0x801u, 0x802u, 0x803u};
    if (std::find(countable.begin(), countable.end(), image.format) == countable.end())
        return -1;
    const int64_t step = int64_t{1} << plainHalvings(std::max(image.width, image.height), 512);
    int64_t pixels = 0;
    for (int64_t y = 0; y < image.height / step; ++y)
        for (int64_t x = 0; x < image.width / step; ++x, ++pixels)
            ++counts[static_cast<size_t>(PlainLuma(image).at(x * step, y * step))];
    int64_t half = pixels / 2;
    if (half == 0)
        return -1;
    size_t bin = 0;
    while ((half -= counts[bin]) > 0)
        ++bin;
    return static_cast<int64_t>(bin) - (-half > counts[bin] / 2 ? 1 : 0);
}

// One stored level: a threshold bitmap or a grey map.
struct PlainLevel {
    int64_t width, height;
    bool grey;
    int64_t rowBytes;
    int64_t defined; // bytes of a row that have a meaning
    Bytes data;

    PlainLevel(int64_t w, int64_t h, bool isGrey)
        : width(w), height(h), grey(isGrey),
          rowBytes(isGrey ? (w + 3) / 4 * 4 : (w + 31) / 32 * 4 + 4),
          defined(isGrey ? w : rowBytes), data(static_cast<size_t>(rowBytes * h)) {}
    auto& byte(int64_t x, int64_t y) { return data[static_cast<size_t>(y * rowBytes + x)]; }
    int64_t grade(int64_t x, int64_t y) const {
        return data[static_cast<size_t>(y * rowBytes + x)];
    }
    void set(int64_t x, int64_t y) {
        byte(x / 8, y) = static_cast<unsigned char>(byte(x / 8, y) | 1 << x % 8);
    }
    void cut(const PlainLuma& luma, int64_t threshold, int64_t level) {
        for (int64_t y = 0; y < height; ++y)
            for (int64_t x = 0; x < width; ++x)
                if (luma.at(x << level, y << level) > threshold)
                    set(x, y);
    }
    // A last pixel without a word of its own is not made.
    void halve(const PlainLevel& source, int atLeast) {
        const int64_t made = (source.width / 2 + 31) / 32 * 32;
        for (int64_t y = 0; y < height; ++y)
            for (int64_t x = 0; x < std::min(made, width); ++x) {
                int count = 0;
                for (const int64_t v : {2 * y, std::min(2 * y + 1, source.height - 1)})
                    for (const int64_t u : {2 * x, 2 * x + 1})
                        count +=
                            u < source.width && bitAt(source.data.data(), source.rowBytes, u, v);
                if (count >= atLeast)
                    set(x, y);
            }
    }
    void sample(const PlainLuma& luma, int64_t w, int64_t h, int64_t level) {
        if (w >> level == 0 || h >> level == 0) // too thin: the padding is defined too
            defined = rowBytes;
        for (int64_t y = 0; y < height; ++y)
            for (int64_t x = 0; x < width; ++x)
                byte(x, y) = static_cast<unsigned char>(
                    luma.at(std::min(x, std::max<int64_t>((w >> level) - 1, 0)) << level,
                            std::min(y, std::max<int64_t>((h >> level) - 1, 0)) << level));
    }
};

// The stored levels of a frame, finest first; without content for a frame without a plane.
using PlainSet = std::vector<PlainLevel>;

inline PlainSet plainSet(const __tag_KIRO_OFFSCREEN& image, int64_t threshold, int64_t k = 3) {
    const int64_t levels = plainLevelCount(image.width, image.height);
    const int64_t first = std::max<int64_t>(levels - k, 0);
    PlainSet set;
    for (int64_t j = first; j <= levels; ++j) {
        const int64_t w = j == first ? image.width >> j : (set.back().width + 1) / 2;
        const int64_t h = j == first ? image.height >> j : (set.back().height + 1) / 2;
        PlainLevel level(w, h, j >= levels - 1);
        if (image.planes[0] == nullptr)
            ;
        else if (!level.grey && j == first)
            level.cut(PlainLuma(image), threshold, j);
        else if (!level.grey)
            level.halve(set.back(), 3);
        else if (j < levels || j == first)
            level.sample(PlainLuma(image), image.width, image.height, j);
        else {
            __tag_KIRO_OFFSCREEN finer{};
            finer.planes[0] = set.back().data.data();
            finer.pitches[0] = static_cast<int32_t>(set.back().rowBytes);
            level.sample(PlainLuma(finer), set.back().width, set.back().height, 1);
        }
        set.push_back(level);
    }
    return set;
}

// The 16 patches of one level.
struct PlainPatches {
    int64_t widthBits, rows, rowBytes, xOffset, yOffset;
    Bytes data;
    std::array<unsigned char, 16> valid{};

    PlainPatches(int64_t width, int64_t height) {
        const int64_t k = std::clamp<int64_t>(plainHalvings(std::max(width, height), 512), 1, 3);
        rows = ((height >> k) + 3) / 4 * 4;
        widthBits = 4 * ((((width >> k) + 3) / 4 + 7) / 8 * 8);
        rowBytes = widthBits / 8 + 4;
        yOffset = (height - rows) / 8;
        xOffset = (width - widthBits) / 8 + 2;
        while (xOffset % 4 != 0)
            --xOffset;
        data.resize(static_cast<size_t>(rows * rowBytes));
    }
    void fill(const __tag_KIRO_OFFSCREEN& image, int64_t threshold, int64_t level) {
        for (int64_t patch = 0; patch < 16; ++patch) {
            const int64_t left = patch % 4 * (image.width / 4) + xOffset * (1 << level);
            const int64_t top = patch / 4 * (image.height / 4) + yOffset * (1 << level);
            const bool inside = left >= 0 && top >= 0 &&
                                left + (widthBits / 4 << level) <= image.width &&
                                top + (rows / 4 << level) <= image.height;
            valid[static_cast<size_t>(patch)] = inside;
            for (int64_t y = 0; inside && y < rows / 4; ++y)
                for (int64_t x = 0; x < widthBits / 4; ++x) {
                    const int64_t bit = patch % 4 * (widthBits / 4) + x;
                    auto& byte = data[static_cast<size_t>((patch / 4 * (rows / 4) + y) * rowBytes +
                                                          bit / 8)];
                    const bool above =
                        PlainLuma(image).at(left + (x << level), top + (y << level)) > threshold;
                    byte = static_cast<unsigned char>((byte & ~(1 << bit % 8)) | above << bit % 8);
                }
        }
    }
};

inline std::vector<PlainPatches> plainPyramid(int64_t width, int64_t height) {
    std::vector<PlainPatches> pyramid;
    for (int64_t j = 0; j < plainLevelCount(width, height) - 3; ++j)
        pyramid.emplace_back(width >> j, height >> j);
    return pyramid;
}

// Sums cost(a's x, a's y, b's x, b's y) from the corner of the overlap on.
template <typename Cost>
int64_t sumFromCorner(Displacement d, int64_t columns, int64_t rows, const Cost& cost) {
    int64_t sum = 0;
    for (int64_t y = 0; y < rows; ++y)
        for (int64_t x = 0; x < columns; ++x)
            sum += cost(std::max<int64_t>(d.x, 0) + x, std::max<int64_t>(d.y, 0) + y,
                        std::max<int64_t>(-d.x, 0) + x, std::max<int64_t>(-d.y, 0) + y);
    return sum;
}

// What the neighbours of a centre d - c have in common, and never more than the overlap.
inline int64_t commonLength(int64_t length, int64_t d, int64_t c) {
    return std::min(length - std::abs(d - c) - 1, length - std::abs(d));
}

struct PlainBitmaps {
    const unsigned char* a;
    const unsigned char* b;
    int64_t width, rows, rowBytes;

    int64_t area(Displacement d, int64_t columns, int64_t areaRows) const {
        return sumFromCorner(d, columns, areaRows, [&](int64_t x, int64_t y, int64_t u, int64_t v) {
            return bitAt(a, rowBytes, x, y) ^ bitAt(b, rowBytes, u, v);
        });
    }
    int64_t fixedArea(Displacement d, Displacement c) const {
        return area(d, commonLength(width, d.x, c.x), commonLength(rows, d.y, c.y));
    }
    // The count for d + (move, 0) over the inner pixels of the whole words that d has in common.
    int64_t words(Displacement d, int64_t move, int64_t areaRows) const {
        const int64_t columns = (width - std::abs(d.x)) / 32 * 32;
        return sumFromCorner(d, columns, areaRows, [&](int64_t x, int64_t y, int64_t u, int64_t v) {
            // The bitmap that is read in whole words stays, and the other one moves.
            const int64_t inWord = (d.x > 0 ? u : x) % 32;
            (d.x > 0 ? x : u) += d.x > 0 ? move : -move;
            return inWord == 0 || inWord == 31
                       ? 0
                       : bitAt(a, rowBytes, x, y) ^ bitAt(b, rowBytes, u, v);
        });
    }
};

struct PlainPatchPair {
    const unsigned char *ref, *work, *refValid, *workValid;

    int64_t count(int64_t widthBits, int64_t rows, int64_t rowBytes, Displacement c) const {
        int64_t sum = 0;
        for (int64_t patch = 0; patch < 16; ++patch) {
            const int64_t left = patch % 4 * (widthBits / 4);
            const int64_t top = patch / 4 * (rows / 4);
            const bool both = refValid[patch] == 1 && workValid[patch] == 1;
            for (int64_t y = top + 1; both && y < top + rows / 4 - 1; ++y)
                for (int64_t x = left + 1; x < left + widthBits / 4 - 1; ++x)
                    sum += bitAt(ref, rowBytes, x, y) ^ bitAt(work, rowBytes, x - c.x, y - c.y);
        }
        return sum;
    }
};

// The coarse-to-fine search over two sets and the reference's pyramid.
struct PlainSearch {
    const PlainSet& ref;
    const PlainSet& mov;
    std::vector<PlainPatches> pyramid; // empty: patch levels only double the estimate
    __tag_KIRO_OFFSCREEN image;        // the moving frame
    int64_t threshold;
    int64_t levels;
    bool direct = false;
    int64_t* score = nullptr;

    struct Best {
        int64_t cost;
        Displacement c{};
    };
    static inline const std::vector<Displacement> columnsFirst = {
        {-1, -1}, {-1, 0}, {-1, 1}, {0, -1}, {0, 0}, {0, 1}, {1, -1}, {1, 0}, {1, 1}};
    static inline const std::vector<Displacement> rowsFirst = {
        {0, -1}, {-1, -1}, {1, -1}, {0, 0}, {-1, 0}, {1, 0}, {0, 1}, {-1, 1}, {1, 1}};

    template <typename Cost>
    static Best choose(const std::vector<Displacement>& order, int64_t worst, int64_t bonus,
                       bool acceptsCentre, const Cost& costOf) {
        Best best{worst};
        for (const Displacement& c : order) {
            const int64_t cost = costOf(c) - (c == Displacement{} ? bonus : 0);
            if (acceptsCentre && c == Displacement{} && cost <= 14)
                return {cost, c};
            if (cost < best.cost)
                best = {cost, c};
        }
        return best;
    }
    Displacement run(int64_t left) const {
        Displacement e;
        if (left > 0)
            e = run(left - 1);
        e = e + e;
        if (left > 3)
            return pyramid.empty() ? e : e + patches(e, levels - left).c;
        const PlainLevel& a = ref[ref.size() - 1 - static_cast<size_t>(left)];
        const PlainLevel& b = mov[ref.size() - 1 - static_cast<size_t>(left)];
        const int64_t worst = a.width * a.height * 256;
        const PlainBitmaps bits{a.data.data(), b.data.data(), a.width, a.height, a.rowBytes};
        if (left <= 1)
            return e + choose(columnsFirst, worst, 2 * (a.width + a.height), false,
                              [&](Displacement c) {
                                  return sumFromCorner(
                                      e + c, a.width - std::abs(e.x) - 1,
                                      a.height - std::abs(e.y) - 1,
                                      [&](int64_t x, int64_t y, int64_t u, int64_t v) {
                                          return std::abs(a.grade(x, y) - b.grade(u, v));
                                      });
                              })
                           .c;
        if (a.width <= 159)
            return e + choose(columnsFirst, worst, (a.width + a.height) / 32, true,
                              [&](Displacement c) { return bits.fixedArea(e + c, c); })
                           .c;
        const Best best = choose(rowsFirst, worst, 1, true, [&](Displacement c) {
            return bits.words({e.x, e.y + c.y}, c.x, a.height - std::abs(e.y) - 1);
        });
        if (levels - left == 2 && !direct && score != nullptr)
            *score = static_cast<int64_t>(static_cast<float>(best.cost) /
                                          static_cast<float>(a.width * a.height) * 480.0f * 270.0f);
        return e + best.c;
    }
    Best patches(Displacement e, int64_t level) const {
        const PlainPatches& a = pyramid[static_cast<size_t>(level)];
        PlainPatches b(image.width >> level, image.height >> level);
        b.xOffset -= e.x;
        b.yOffset -= e.y;
        b.fill(image, threshold, level);
        const PlainPatchPair pair{a.data.data(), b.data.data(), a.valid.data(), b.valid.data()};
        return choose(columnsFirst, a.widthBits * a.rows, 1, false, [&](Displacement c) {
            return pair.count(a.widthBits, a.rows, a.rowBytes, c);
        });
    }
};

// What a context remembers; `align` finds the displacement of the frame that is not the reference.
struct PlainAligner {
    std::array<int64_t, 2> threshold{-1, -1};
    std::array<PlainSet, 2> set;
    std::vector<PlainPatches> pyramid;

    Displacement align(const __tag_KIRO_OFFSCREEN& first, const __tag_KIRO_OFFSCREEN& second,
                       size_t reference = 0, bool recompute = true) {
        const __tag_KIRO_OFFSCREEN* const frames[2] = {&first, &second};
        const bool keepsFirst = !recompute && !set[0].empty();
        set[0] = set[1];
        threshold[0] = threshold[1];
        for (size_t slot = keepsFirst ? 1 : 0; slot < 2; ++slot) {
            std::array<long, 256> counts;
            threshold[slot] = plainThreshold(*frames[slot], counts);
            set[slot] = plainSet(*frames[slot], threshold[slot]);
        }
        pyramid = plainPyramid(first.width, first.height);
        for (size_t j = 0; j < pyramid.size(); ++j)
            pyramid[j].fill(*frames[reference], threshold[reference], static_cast<int64_t>(j));
        const size_t moving = 1 - reference;
        const int64_t levels = plainLevelCount(first.width, first.height);
        return PlainSearch{set[reference],  set[moving],       pyramid,
                           *frames[moving], threshold[moving], levels}
            .run(levels);
    }
};
