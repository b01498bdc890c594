// Frames to align: planes that end or begin at an inaccessible page, showing one scene from two
// places.
#pragma once

#include "align/context.h"
#include "support/cases.h"
#include "support/guarded_memory.h"

#include <algorithm>
#include <array>

struct Displacement {
    int64_t x = 0;
    int64_t y = 0;
    Displacement operator+(Displacement d) const { return {x + d.x, y + d.y}; }
    bool operator==(const Displacement&) const = default;
};

inline int64_t pixelBytes(int64_t format) { return format == 0x501 ? 2 : 1; }
inline int lumaAt(const __tag_KIRO_OFFSCREEN& image, int64_t x, int64_t y) {
    return image.planes[0][y * image.pitches[0] + x * pixelBytes(image.format)];
}

// All bytes of a new frame are noise, also between the pixels and the rows.
struct AlignmentFrame {
    int64_t pitch, size;
    GuardedMemory plane;
    __tag_KIRO_OFFSCREEN image{};

    AlignmentFrame(Random& random, int64_t width, int64_t height, int64_t format, int64_t padding)
        : pitch(width * pixelBytes(format) + padding),
          size((height - 1) * pitch + (width - 1) * pixelBytes(format) + 1),
          plane(static_cast<size_t>(size), size % 2 == 0) {
        image = {static_cast<uint32_t>(format),
                 static_cast<int32_t>(width),
                 static_cast<int32_t>(height),
                 {plane.data()},
                 {static_cast<int32_t>(pitch)}};
        random.fill(plane.data(), size);
    }
    template <typename ValueAt>
    void paint(const ValueAt& valueAt) {
        for (int64_t y = 0; y < image.height; ++y)
            for (int64_t x = 0; x < image.width; ++x)
                image.planes[0][y * image.pitches[0] + x * pixelBytes(image.format)] =
                    static_cast<unsigned char>(std::clamp<int64_t>(valueAt(x, y), 0, 255));
    }
    void turnOver() { // from now on the last row in memory is the first one
        image.planes[0] += (image.height - 1) * image.pitches[0];
        image.pitches[0] = -image.pitches[0];
    }
};

inline int64_t anyFormat(Random& random) {
    return random.oneOf<int64_t>({0x601, 0x603, 0x802, 0x801, 0x803, 0x501, 0x501});
}

// Blocks of four sizes above each other: something to hold on to at every level.
struct Scene {
    uint64_t seed;

    uint64_t block(int64_t x, int64_t y, int shift) const {
        uint64_t h = seed + static_cast<uint64_t>(x >> shift) * 0x9E3779B97F4A7C15 +
                     static_cast<uint64_t>(y >> shift) * 0xC2B2AE3D27D4EB4F;
        h = (h ^ h >> 31) * 0xBF58476D1CE4E5B9;
        return (h ^ h >> 29) * 0x94D049BB133111EB;
    }
    int64_t at(int64_t x, int64_t y) const {
        const auto grade = [&](int shift) { return block(x, y, shift) >> 56; };
        return static_cast<int64_t>((3 * grade(7) + 2 * grade(5) + 2 * grade(3) + grade(1)) / 8);
    }
};

// Mostly one scene, moved and perhaps brighter and noisier; also noise, few grades, and black
// frames with so few bright spots that the centre is accepted although a neighbour is cheaper.
inline void paintPair(Random& random, AlignmentFrame& first, AlignmentFrame& second,
                      int64_t reach) {
    const Scene scene{random.between<uint64_t>(0, INT64_MAX)};
    const auto kind = random.between(0, 12);
    const auto few = random.between<int>(0, 3);
    const auto spots = random.between(52, 60); // one of 2^12 .. 2^4 blocks
    const int64_t darkest = random.oneOf<int64_t>({0, 255});
    Displacement d;
    for (AlignmentFrame* const frame : {&first, &second}) {
        const int64_t gain = random.chance(50) ? 100 : random.between(60, 140);
        const int64_t noise = random.chance(50) ? 0 : random.between(0, 30);
        if (kind > 0)
            frame->paint([&](int64_t x, int64_t y) -> int64_t {
                if (kind == 1)
                    return darkest + random.between(0, few);
                if (kind > 9)
                    return scene.block(x + d.x, y + d.y, few) >> spots == 0 ? 200 : 0;
                return scene.at(x + d.x, y + d.y) * gain / 100 + random.between(-noise, noise);
            });
        d = {random.between(-reach, reach), random.between(-reach, reach)};
    }
}

struct Context {
    void* handle = nullptr;

    Context() { EXPECT_EQ(ERR_NONE, Alignment_Init(nullptr, &handle)); }
    ~Context() { Alignment_Uninit(&handle); }
    const _tag_ZEP_ABDEBLUR& record() const { return *static_cast<_tag_ZEP_ABDEBLUR*>(handle); }
};

struct Outcome {
    long code = -1;
    long pairs[2][2] = {{77, 77}, {77, 77}};

    Displacement of(size_t frame) const { return {pairs[frame][0], pairs[frame][1]}; }
};

inline Outcome align(void* context, __tag_KIRO_OFFSCREEN* first, __tag_KIRO_OFFSCREEN* second,
                     long reference = 0, long recompute = 1, int64_t count = 2) {
    Outcome outcome;
    long* results[2] = {outcome.pairs[0], outcome.pairs[1]};
    _tag_ZEP_NS_INPUTINFO input = {.count = count, .images = {first, second}};
    outcome.code = Image_Alignment_Video(context, &input, reference, results, recompute);
    return outcome;
}
