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
inline int64_t plainLevelCount(const __tag_KIRO_OFFSCREEN& image) {
    return plainHalvings(std::max(image.width, image.height), 64);
}
inline int64_t pixelBytes(int64_t format) { return format == 0x501 ? 2 : 1; }
inline int lumaAt(const __tag_KIRO_OFFSCREEN& image, int64_t x, int64_t y) {
    return image.planes[0][y * image.pitches[0] + x * pixelBytes(image.format)];
}

inline int64_t plainThreshold(const __tag_KIRO_OFFSCREEN& image) {
    const auto countable = {0x501u, 0x601u, 0x603u, 0x801u, 0x802u, 0x803u};
    const int64_t step = int64_t{1} << plainHalvings(std::max(image.width, image.height), 512);
    std::vector<int> values;
    for (int64_t y = 0; y < image.height / step; ++y)
        for (int64_t x = 0; x < image.width / step; ++x)
            values.push_back(lumaAt(image, x * step, y * step));
    if (std::count(countable.begin(), countable.end(), image.format) == 0 || values.size() < 2)
        return -1;
    std::sort(values.begin(), values.end());
    const auto half = static_cast<int64_t>(values.size() / 2);
    const int median = values[static_cast<size_t>(half - 1)];
    const auto equal = std::equal_range(values.begin(), values.end(), median);
    const int64_t excess = equal.second - values.begin() - half;
    return median - (excess > (equal.second - equal.first) / 2 ? 1 : 0);
}

// A threshold bitmap or a grey map, as it is stored.
struct PlainLevel {
    int64_t width, height;
    bool grey = false;
    int64_t rowBytes = grey ? (width + 3) / 4 * 4 : (width + 31) / 32 * 4 + 4;
    int64_t meant = grey ? width : rowBytes; // bytes of a row that have a meaning
    Bytes data = Bytes(static_cast<size_t>(rowBytes * height));

    int at(int64_t x, int64_t y) const {
        const unsigned char* const row = data.data() + y * rowBytes;
        return grey ? row[x] : row[x / 8] >> x % 8 & 1;
    }
    void set(int64_t x, int64_t y, int value) {
        unsigned char& byte = data[static_cast<size_t>(y * rowBytes + (grey ? x : x / 8))];
        const int others = grey ? 0 : byte & ~(1 << x % 8);
        byte = static_cast<unsigned char>(others | value << (grey ? 0 : x % 8));
    }
    template <typename ValueAt>
    void fill(const ValueAt& valueAt) {
        for (int64_t y = 0; y < height; ++y)
            for (int64_t x = 0; x < width; ++x)
                set(x, y, valueAt(x, y));
    }
    bool isHeldBy(const unsigned char* bytes) const {
        bool held = true;
        for (int64_t i = 0; i < height * rowBytes; i += rowBytes)
            held = held && std::equal(bytes + i, bytes + i + meant, data.begin() + i);
        return held;
    }
    // A last pixel without a word of its own is not made.
    void halve(const PlainLevel& source, int atLeast) {
        fill([&](int64_t x, int64_t y) {
            int count = 0;
            for (const int64_t v : {2 * y, std::min(2 * y + 1, source.height - 1)})
                for (const int64_t u : {2 * x, 2 * x + 1})
                    count += u < source.width ? source.at(u, v) : 0;
            return x < (source.width / 2 + 31) / 32 * 32 && count >= atLeast;
        });
    }
};

// The stored levels of a frame, finest first.
using PlainSet = std::vector<PlainLevel>;

inline PlainSet plainSet(const __tag_KIRO_OFFSCREEN& image, int64_t threshold, int64_t k = 3) {
    const int64_t levels = plainLevelCount(image);
    PlainSet set;
    for (int64_t j = std::max<int64_t>(levels - k, 0); j <= levels; ++j) {
        PlainLevel level{image.width >> j, image.height >> j, j >= levels - 1};
        if (!set.empty())
            level = {(set.back().width + 1) / 2, (set.back().height + 1) / 2, level.grey};
        const bool isFromMap = !set.empty() && set.back().grey;
        const int64_t columns = isFromMap ? set.back().width / 2 : image.width >> j;
        const int64_t rows = isFromMap ? set.back().height / 2 : image.height >> j;
        if (columns == 0 || rows == 0) // too thin: the padding is zero
            level.meant = level.rowBytes;
        if (!level.grey && !set.empty())
            level.halve(set.back(), 3);
        else
            level.fill([&](int64_t x, int64_t y) -> int {
                x = std::clamp<int64_t>(columns - 1, 0, x); // the last ones are repeated
                y = std::clamp<int64_t>(rows - 1, 0, y);
                if (isFromMap)
                    return set.back().at(2 * x, 2 * y);
                const int luma = lumaAt(image, x << j, y << j);
                return level.grey ? luma : luma > threshold;
            });
        set.push_back(level);
    }
    return set;
}

// The 16 patches of one level.
struct PlainPatches : PlainLevel {
    int64_t xOffset, yOffset;
    std::array<unsigned char, 16> valid{};

    PlainPatches(int64_t levelWidth, int64_t levelHeight, int64_t reduction)
        : PlainLevel{4 * ((((levelWidth >> reduction) + 3) / 4 + 7) / 8 * 8),
                     ((levelHeight >> reduction) + 3) / 4 * 4},
          xOffset((levelWidth - width) / 8 + 2), yOffset((levelHeight - height) / 8) {
        while (xOffset % 4 != 0)
            --xOffset;
    }
    void cut(const __tag_KIRO_OFFSCREEN& image, int64_t threshold, int64_t level) {
        const int64_t columns = width / 4;
        const int64_t rows = height / 4;
        for (int64_t patch = 0; patch < 16; ++patch) {
            const int64_t left = patch % 4 * (image.width / 4) + xOffset * (1 << level);
            const int64_t top = patch / 4 * (image.height / 4) + yOffset * (1 << level);
            const bool inside = left >= 0 && left + (columns << level) <= image.width && top >= 0 &&
                                top + (rows << level) <= image.height;
            valid[static_cast<size_t>(patch)] = inside;
            for (int64_t y = 0; inside && y < rows; ++y)
                for (int64_t x = 0; x < columns; ++x)
                    set(patch % 4 * columns + x, patch / 4 * rows + y,
                        lumaAt(image, left + (x << level), top + (y << level)) > threshold);
        }
    }
};

using PlainPyramid = std::vector<PlainPatches>;

inline PlainPyramid plainPyramid(const __tag_KIRO_OFFSCREEN& image, int64_t k = 3) {
    PlainPyramid pyramid;
    for (int64_t j = 0; j < plainLevelCount(image) - k; ++j) {
        const int64_t reduction = plainHalvings(std::max(image.width, image.height) >> j, 512);
        pyramid.emplace_back(image.width >> j, image.height >> j,
                             std::clamp<int64_t>(reduction, 1, 3));
    }
    return pyramid;
}

// The sum over an area whose corner lies at these positions.
inline int64_t disagreement(const PlainLevel& a, Displacement inA, const PlainLevel& b,
                            Displacement inB, int64_t columns, int64_t rows) {
    int64_t sum = 0;
    for (int64_t y = 0; y < rows; ++y)
        for (int64_t x = 0; x < columns; ++x)
            sum += std::abs(a.at(inA.x + x, inA.y + y) - b.at(inB.x + x, inB.y + y));
    return sum;
}

// Over an area that starts at the corner of the overlap.
inline int64_t disagreement(const PlainLevel& a, const PlainLevel& b, Displacement d,
                            int64_t columns, int64_t rows) {
    return disagreement(a, {std::max<int64_t>(d.x, 0), std::max<int64_t>(d.y, 0)}, b,
                        {std::max<int64_t>(-d.x, 0), std::max<int64_t>(-d.y, 0)}, columns, rows);
}

// Over the inner 30 pixels of the whole words that d has in common. The bitmap that starts at its
// first column stays, and the other one is moved further.
inline int64_t wordDisagreement(const PlainLevel& a, const PlainLevel& b, Displacement d,
                                int64_t move, int64_t rows) {
    int64_t sum = 0;
    for (int64_t x = 1; x + 31 <= a.width - std::abs(d.x); x += 32)
        sum += disagreement(a, {d.x > 0 ? x + d.x + move : x, std::max<int64_t>(d.y, 0)}, b,
                            {d.x > 0 ? x : x - d.x - move, std::max<int64_t>(-d.y, 0)}, 30, rows);
    return sum;
}

inline int64_t patchDisagreement(const PlainPatches& ref, const PlainPatches& work,
                                 Displacement c) {
    int64_t sum = 0;
    for (int patch = 0; patch < 16; ++patch) {
        const Displacement corner{patch % 4 * (ref.width / 4) + 1,
                                  patch / 4 * (ref.height / 4) + 1};
        if (ref.valid[static_cast<size_t>(patch)] && work.valid[static_cast<size_t>(patch)])
            sum += disagreement(ref, corner, work, corner + Displacement{-c.x, -c.y},
                                ref.width / 4 - 2, ref.height / 4 - 2);
    }
    return sum;
}

// What a context remembers, and the coarse-to-fine search over it.
struct PlainAligner {
    std::array<int64_t, 2> threshold{};
    std::array<PlainSet, 2> set;
    PlainPyramid pyramid; // of the reference; empty: patch levels only double the estimate
    __tag_KIRO_OFFSCREEN moving{};
    size_t reference = 0;
    int64_t score = 12345;

    // Finds the displacement of the frame that is not the reference.
    Displacement align(const __tag_KIRO_OFFSCREEN& first, const __tag_KIRO_OFFSCREEN& second,
                       size_t referenceSlot = 0, bool recompute = true) {
        const __tag_KIRO_OFFSCREEN* const frames[2] = {&first, &second};
        const bool keepsFirst = !recompute && !set[0].empty();
        set[0] = set[1];
        threshold[0] = threshold[1];
        for (size_t slot = keepsFirst ? 1 : 0; slot < 2; ++slot) {
            threshold[slot] = plainThreshold(*frames[slot]);
            set[slot] = plainSet(*frames[slot], threshold[slot]);
        }
        reference = referenceSlot;
        moving = *frames[1 - reference];
        pyramid = plainPyramid(first);
        for (size_t j = 0; j < pyramid.size(); ++j)
            pyramid[j].cut(*frames[reference], threshold[reference], static_cast<int64_t>(j));
        return search(plainLevelCount(first));
    }
    Displacement search(int64_t left) {
        const Displacement coarser = left > 0 ? search(left - 1) : Displacement{};
        const Displacement e = coarser + coarser;
        return e + (left > 3 ? refinePatches(plainLevelCount(moving) - left, e)
                             : refineStored(left, e));
    }
    // A centre that costs no more than `accepted` is taken before all others.
    template <typename Cost>
    static Displacement choose(bool rowsFirst, int64_t& best, int64_t bonus, int64_t accepted,
                               const Cost& costOf) {
        constexpr int64_t middleFirst[] = {0, -1, 1};
        const int64_t centre = costOf(Displacement{}) - bonus;
        Displacement chosen;
        for (int i = 0; i < 9 && centre > accepted; ++i) {
            const Displacement c = rowsFirst ? Displacement{middleFirst[i % 3], i / 3 - 1}
                                             : Displacement{i / 3 - 1, i % 3 - 1};
            const int64_t cost = c == Displacement{} ? centre : costOf(c);
            if (cost < best) {
                best = cost;
                chosen = c;
            }
        }
        best = std::min(best, centre);
        return chosen;
    }
    Displacement refinePatches(int64_t level, Displacement e) const {
        if (pyramid.empty())
            return {};
        const PlainPatches& a = pyramid[static_cast<size_t>(level)];
        PlainPatches b = plainPyramid(moving)[static_cast<size_t>(level)];
        b.xOffset -= e.x;
        b.yOffset -= e.y;
        b.cut(moving, threshold[1 - reference], level);
        int64_t best = a.width * a.height;
        return choose(false, best, 1, INT64_MIN,
                      [&](Displacement c) { return patchDisagreement(a, b, c); });
    }
    Displacement refineStored(int64_t left, Displacement e) {
        const PlainLevel& a = set[reference].rbegin()[left];
        const PlainLevel& b = set[1 - reference].rbegin()[left];
        int64_t best = a.width * a.height * 256;
        const int64_t columns = a.width - std::abs(e.x);
        const int64_t rows = a.height - std::abs(e.y) - 1;
        if (a.grey || a.width <= 159)
            return choose(
                false, best, a.grey ? 2 * (a.width + a.height) : (a.width + a.height) / 32,
                a.grey ? INT64_MIN : 14,
                [&](Displacement c) { return disagreement(a, b, e + c, columns - 1, rows); });
        const Displacement chosen = choose(true, best, 1, 14, [&](Displacement c) {
            return wordDisagreement(a, b, {e.x, e.y + c.y}, c.x, rows);
        });
        const int64_t area = a.width * a.height; // of no rows, the share saturates
        if (plainLevelCount(moving) - left == 2)
            score = area == 0 ? INT64_MIN
                              : static_cast<int64_t>(static_cast<float>(best) /
                                                     static_cast<float>(area) * 480.0f * 270.0f);
        return chosen;
    }
};
