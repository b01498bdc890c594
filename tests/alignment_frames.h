// Frames to align: planes that end at an inaccessible page, showing one scene from two places.
#pragma once

#include "plain_alignment.h"
#include "support/guarded_memory.h"
#include "support/random.h"

#include <gtest/gtest.h>

class AlignmentFrame {
public:
    AlignmentFrame(int64_t width, int64_t height, int64_t format, int64_t padding)
        : pitch_(width * pixelBytes(format) + padding),
          size_((height - 1) * pitch_ + (width - 1) * pixelBytes(format) + 1),
          plane_(static_cast<size_t>(size_)) {
        image.format = static_cast<uint32_t>(format);
        image.width = static_cast<int32_t>(width);
        image.height = static_cast<int32_t>(height);
        image.planes[0] = plane_.data();
        image.pitches[0] = static_cast<int32_t>(pitch_);
    }
    // What lies between the pixels and rows is noise too.
    void fillWithNoise(Random& random) { random.fill(plane_.data(), size_); }
    template <typename ValueAt>
    void paint(const ValueAt& valueAt) {
        for (int64_t y = 0; y < image.height; ++y)
            for (int64_t x = 0; x < image.width; ++x)
                image.planes[0][y * pitch_ + x * pixelBytes(image.format)] =
                    static_cast<unsigned char>(std::clamp<int64_t>(valueAt(x, y), 0, 255));
    }
    __tag_KIRO_OFFSCREEN image{};

private:
    int64_t pitch_, size_;
    GuardedMemory plane_;
};

inline int64_t anyFormat(Random& random) {
    return random.oneOf<int64_t>({0x601, 0x603, 0x802, 0x801, 0x803, 0x501, 0x501});
}

// Blocks of four sizes above each other: something to hold on to at every level.
struct Scene {
    uint64_t seed;

    int64_t at(int64_t x, int64_t y) const {
        return (3 * grade(x, y, 7) + 2 * grade(x, y, 5) + 2 * grade(x, y, 3) + grade(x, y, 1)) / 8;
    }
    int64_t grade(int64_t x, int64_t y, int shift) const {
        return static_cast<int64_t>(block(x, y, shift) >> 56);
    }
    uint64_t block(int64_t x, int64_t y, int shift) const {
        uint64_t h = seed + static_cast<uint64_t>(x >> shift) * 0x9E3779B97F4A7C15 +
                     static_cast<uint64_t>(y >> shift) * 0xC2B2AE3D27D4EB4F +
                     static_cast<uint64_t>(shift);
        h = (h ^ h >> 31) * 0xBF58476D1CE4E5B9;
        return (h ^ h >> 29) * 0x94D049BB133111EB;
    }
};

// Mostly one scene, moved and perhaps brighter and noisier; also noise, ties, and black frames with
// so few bright spots that the centre is accepted although a neighbour is cheaper.
inline void paintPair(Random& random, AlignmentFrame& first, AlignmentFrame& second,
                      int64_t reach) {
    first.fillWithNoise(random);
    second.fillWithNoise(random);
    const Scene scene{random.between<uint64_t>(0, INT64_MAX)};
    const int64_t dx = random.between(-reach, reach);
    const int64_t dy = random.between(-reach, reach);
    const auto kind = random.between(0, 12);
    const int64_t few = random.between(0, 3);
    const auto spots = random.between(52, 60); // one of 2^12 .. 2^4 blocks
    const int64_t gain = kind < 6 ? 100 : random.between(60, 140);
    const int64_t noise = kind % 2 == 0 ? 0 : random.between(0, 30);
    const auto sparse = [&](int64_t x, int64_t y) {
        return scene.block(x, y, static_cast<int>(few)) >> spots == 0 ? 200 : 0;
    };
    for (const bool moved : {false, true}) {
        const int64_t mx = moved ? dx : 0;
        const int64_t my = moved ? dy : 0;
        (moved ? second : first).paint([&](int64_t x, int64_t y) -> int64_t {
            if (kind == 0)
                return random.between(0, 255);
            if (kind == 1)
                return random.between(0, few);
            if (kind > 9)
                return sparse(x + mx, y + my);
            const int64_t value = scene.at(x + mx, y + my);
            return moved ? value * gain / 100 + random.between(-noise, noise) : value;
        });
    }
}

// Compares a set with the bytes that have a meaning.
inline testing::AssertionResult holds(const unsigned char* set, const PlainSet& expected) {
    for (const PlainLevel& level : expected)
        for (int64_t y = 0; y < level.height; ++y, set += level.rowBytes)
            if (!std::equal(set, set + level.defined, level.data.begin() + y * level.rowBytes))
                return testing::AssertionFailure() << "row " << y << " of the level of "
                                                   << level.width << " x " << level.height;
    return testing::AssertionSuccess();
}

inline int64_t sizeOf(const PlainSet& set) {
    int64_t size = 0;
    for (const PlainLevel& level : set)
        size += static_cast<int64_t>(level.data.size());
    return size;
}
