// Filters that look at a window around every pixel, as they are defined, and random cases of them.
#pragma once

#include "image_check.h"

#include <climits>
#include <functional>
#include <numeric>

struct Plane {
    long width, height, channels, pitch;

    long size() const { return height * pitch; }
};

// How far the window reaches from its pixel. It ends at the image border.
struct Reach {
    long left, top, right, bottom;
};

using Filter = std::function<long(void* memory, const Plane& plane, const unsigned char* source,
                                  unsigned char* destination)>;
using Reduce = unsigned char(const Bytes& window);

// In every step each byte becomes what is made of its channel in the window. Padding stays.
inline Bytes filterPlainly(const Plane& p, const Reach& reach, const std::vector<Reduce*>& steps,
                           Bytes source, Bytes destination) {
    Bytes window;
    for (Reduce* const reduce : steps) {
        for (long i = 0; i < p.height * p.width * p.channels; ++i) {
            const long y = i / p.channels / p.width, x = i / p.channels % p.width;
            const long channel = i % p.channels;
            window.clear();
            for (long v = y - std::min(reach.top, y); v - y <= reach.bottom && v < p.height; ++v)
                for (long u = x - std::min(reach.left, x); u - x <= reach.right && u < p.width; ++u)
                    window.push_back(source[size_t(v * p.pitch + u * p.channels + channel)]);
            destination[size_t(y * p.pitch + x * p.channels + channel)] = reduce(window);
        }
        source = destination;
    }
    return destination;
}

inline unsigned char mean(const Bytes& window) {
    const auto area = static_cast<unsigned>(window.size());
    const unsigned sum = std::accumulate(window.begin(), window.end(), 0u);
    return static_cast<unsigned char>(sum * ((1u << 23) / area) >> 23);
}
inline unsigned char least(const Bytes& window) {
    return *std::min_element(window.begin(), window.end());
}
inline unsigned char most(const Bytes& window) {
    return *std::max_element(window.begin(), window.end());
}

// Several vectors of every kind wide.
inline Plane randomPlane(Random& random, long channels) {
    const long width = random.between(1, random.chance(30) ? 150 : 40);
    const long pitch = width * channels + random.oneOf({0, 0, 1, 40});
    return {width, random.between(1, 20), channels, pitch};
}

// Separately and in place; the payloads are the memory of a call for each.
inline void expectFilter(Random& random, const Plane& plane, const Filter& filter,
                         const long (&payloads)[2], const Reach& reach,
                         const std::vector<Reduce*>& steps) {
    const bool inPlace = random.chance(50), atEnd = random.chance(50);
    const Bytes image = random.image(plane.size());
    const Bytes before = inPlace ? image : random.image(plane.size());
    const GuardedMemory source(image, atEnd), separate(before, atEnd);
    const GuardedMemory& out = inPlace ? source : separate;
    const auto call = [&](void* memory) {
        return filter(memory, plane, source.data(), out.data());
    };
    expectOutput(random, out, payloads[inPlace], call,
                 filterPlainly(plane, reach, steps, image, before));
    ASSERT_TRUE(inPlace || source.content() == image);
}

inline long formatOf(const Plane& p) { return p.channels == 3 ? 0x201 : p.height % 2 * 0x601; }

inline Filter boxBlur(const Reach& r) {
    return [=](void* memory, const Plane& p, const unsigned char* source, unsigned char* out) {
        return GB_BoxBlurA(memory, source, p.width, p.height, p.pitch, formatOf(p), out, r.left,
                           r.top, r.right, r.bottom);
    };
}

inline Filter gaussianBlur(long size) {
    return [=](void* memory, const Plane& p, const unsigned char* source, unsigned char* out) {
        return GB_GaussianBlurA(memory, source, p.width, p.height, p.pitch, formatOf(p), out, size);
    };
}

inline Filter morphology(decltype(sbrErode)* function, long radius) {
    return [=](void* memory, const Plane& p, const unsigned char* source, unsigned char* out) {
        return function(memory, source, p.width, p.height, p.pitch, p.channels, out, radius);
    };
}

inline long windowLengths(long before, long after, long size) {
    before = std::min(before, size - 1);
    after = std::min(after, size - 1);
    return std::min(before + after + 1, size) - std::min(before, after);
}

// An arena cuts a block off only when at least 32 bytes remain.
inline long boxPayload(const Plane& p, const Reach& r, bool inPlace) {
    const auto block = [](long size) { return size > 0 ? (size + 7) / 8 * 8 + 16 : 0; };
    const long saved = r.top < p.height ? std::min(r.top + 1, p.height - r.top - 1) : 0;
    const long reciprocals =
        windowLengths(r.left, r.right, p.width) * windowLengths(r.top, r.bottom, p.height) * 4;
    return block(p.width * p.channels * 4) + block(inPlace ? saved * p.pitch : 0) +
           block(std::max(reciprocals, 32L)) - 16;
}

// Mostly small, at times about the size of the image, at times far beyond it.
inline long randomRadius(Random& random, long size) {
    const long small = random.between(0, 6), large = random.between(size / 2, 2 * size);
    const long beyond = (1L << random.between(20, 62)) + random.between(-1, 1);
    return random.oneOf({small, small, small, small, large, beyond, LONG_MAX - small});
}

inline void expectBoxBlur(Random& random) {
    const Plane plane = randomPlane(random, random.oneOf({1, 1, 3}));
    Reach reach = {randomRadius(random, plane.width), randomRadius(random, plane.height),
                   randomRadius(random, plane.width), randomRadius(random, plane.height)};
    reach.right += std::max(reach.left, reach.right) == 0;
    reach.bottom += std::max(reach.top, reach.bottom) == 0;
    expectFilter(random, plane, boxBlur(reach),
                 {boxPayload(plane, reach, false), boxPayload(plane, reach, true)}, reach, {mean});
}

inline void expectGaussianBlur(Random& random) {
    const Plane plane = randomPlane(random, random.oneOf({1, 1, 3}));
    const long size = random.oneOf({random.between(-1, 9), randomRadius(random, 50)});
    const long r = size / 2;
    std::vector<Reduce*> passes(plane.pitch == plane.width ? 3 : 2, mean);
    if (size <= 1 || plane.width <= 2 * r)
        passes.clear();
    const Bytes image = random.image(plane.size()), before = random.image(plane.size());
    const GuardedMemory source(image), out(before);
    const Bytes& start = size <= 1 ? image : before; // a copy takes padding along
    widestVectors = static_cast<Vectors>(random.between(0, 2));
    ASSERT_EQ(gaussianBlur(size)(nullptr, plane, source.data(), out.data()), ERR_NONE);
    ASSERT_EQ(out.content(), filterPlainly(plane, {r, r, r, r}, passes, image, start));
    ASSERT_EQ(gaussianBlur(size)(nullptr, plane, source.data(), source.data()), ERR_NONE);
    ASSERT_EQ(source.content(), filterPlainly(plane, {r, r, r, r}, passes, image, image));
}

inline void expectMorphology(Random& random) {
    const std::pair<decltype(sbrErode)*, std::vector<Reduce*>> operations[] = {
        {sbrErode, {least}},
        {sbrDilate, {most}},
        {sbrOpen, {least, most}},
        {sbrClose, {most, least}}};
    const auto& [function, steps] = operations[random.between(0, 3)];
    const Plane plane = randomPlane(random, random.between(1, 4));
    const long size = std::max(plane.width, plane.height);
    const long r = random.between(1, random.chance(25) ? 2 * size : 5);
    const long stride = (plane.channels * (plane.width + 2 * r + 18) + 3) / 4 * 4;
    const long block = (2 * r + 1) * plane.channels + (stride + 8) * (2 * r + 4) + 151;
    expectFilter(random, plane, morphology(function, r), {block / 4 * 4, block / 4 * 4},
                 {r, r, r, r + 1}, steps);
}

// Separately, then in place, with all kinds of vectors.
inline void expectExtremum(Random& random, const Plane& plane, decltype(sbrErode)* function, long r,
                           Reduce* reduce) {
    const Bytes image = random.image(plane.size()), before = random.image(plane.size());
    const Bytes expected = filterPlainly(plane, {r, r, r, r + 1}, {reduce}, image, before);
    for (const Vectors vectors : {Vectors::Baseline, Vectors::Avx2, Vectors::Avx512}) {
        widestVectors = vectors;
        const GuardedMemory source(image), out(before);
        ASSERT_EQ(morphology(function, r)(nullptr, plane, source.data(), out.data()), ERR_NONE);
        ASSERT_TRUE(out.content() == expected && source.content() == image);
        ASSERT_EQ(morphology(function, r)(nullptr, plane, source.data(), source.data()), ERR_NONE);
        ASSERT_TRUE(source.content() == expected);
    }
}
