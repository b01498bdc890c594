// Smoothing and morphology: filters that look at a window around every pixel.
#include "support/images.h"

#include <climits>
#include <functional>
#include <numeric>

namespace {

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
Bytes filterPlainly(const Plane& p, const Reach& reach, const std::vector<Reduce*>& steps,
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

unsigned char mean(const Bytes& window) {
    const auto area = static_cast<unsigned>(window.size());
    const unsigned sum = std::accumulate(window.begin(), window.end(), 0u);
    return static_cast<unsigned char>(sum * ((1u << 23) / area) >> 23);
}
unsigned char least(const Bytes& window) { return *std::min_element(window.begin(), window.end()); }
unsigned char most(const Bytes& window) { return *std::max_element(window.begin(), window.end()); }

// Several vectors of every kind wide.
Plane randomPlane(Random& random, long channels) {
    const long width = random.between(1, random.chance(30) ? 150 : 40);
    const long pitch = width * channels + random.oneOf({0, 0, 1, 40});
    return {width, random.between(1, 20), channels, pitch};
}

// The rows in the other order, with their padding.
Bytes turned(const Plane& p, const Bytes& rows) {
    Bytes result;
    for (long y = p.height - 1; y >= 0; --y)
        result.insert(result.end(), rows.begin() + y * p.pitch, rows.begin() + (y + 1) * p.pitch);
    return result;
}

// Takes planes whose last row in memory is the first one.
Filter bottomUp(const Filter& filter) {
    return [=](void* memory, Plane p, const unsigned char* source, unsigned char* out) {
        const long first = (p.height - 1) * p.pitch;
        p.pitch = -p.pitch;
        return filter(memory, p, source + first, out + first);
    };
}

// Separately and in place, and at times bottom-up; the payloads are the memory of a call for each.
void expectFilter(Random& random, const Plane& plane, const Filter& given,
                  const long (&payloads)[2], const Reach& reach,
                  const std::vector<Reduce*>& steps) {
    const bool inPlace = random.chance(50), atEnd = random.chance(50), turns = random.chance(25);
    const Filter filter = turns ? bottomUp(given) : given;
    const Bytes image = random.image(plane.size());
    const Bytes before = inPlace ? image : random.image(plane.size());
    const GuardedMemory source(image, atEnd), separate(before, atEnd);
    const GuardedMemory& out = inPlace ? source : separate;
    const auto call = [&](void* memory) {
        return filter(memory, plane, source.data(), out.data());
    };
    const auto order = [&](const Bytes& rows) { return turns ? turned(plane, rows) : rows; };
    expectOutput(random, out, payloads[inPlace], call,
                 order(filterPlainly(plane, reach, steps, order(image), order(before))));
    ASSERT_TRUE(inPlace || source.content() == image);
}

long formatOf(const Plane& p) { return p.channels == 3 ? 0x201 : p.height % 2 * 0x601; }

Filter boxBlur(const Reach& r) {
    return [=](void* memory, const Plane& p, const unsigned char* source, unsigned char* out) {
        return GB_BoxBlurA(memory, source, p.width, p.height, p.pitch, formatOf(p), out, r.left,
                           r.top, r.right, r.bottom);
    };
}

Filter gaussianBlur(long size) {
    return [=](void* memory, const Plane& p, const unsigned char* source, unsigned char* out) {
        return GB_GaussianBlurA(memory, source, p.width, p.height, p.pitch, formatOf(p), out, size);
    };
}

Filter morphology(decltype(sbrErode)* function, long radius) {
    return [=](void* memory, const Plane& p, const unsigned char* source, unsigned char* out) {
        return function(memory, source, p.width, p.height, p.pitch, p.channels, out, radius);
    };
}

long windowLengths(long before, long after, long size) {
    before = std::min(before, size - 1);
    after = std::min(after, size - 1);
    return std::min(before + after + 1, size) - std::min(before, after);
}

// An arena cuts a block off only when at least 32 bytes remain.
long boxPayload(const Plane& p, const Reach& r, bool inPlace) {
    const auto block = [](long size) { return size > 0 ? (size + 7) / 8 * 8 + 16 : 0; };
    const long saved = r.top < p.height ? std::min(r.top + 1, p.height - r.top - 1) : 0;
    const long reciprocals =
        windowLengths(r.left, r.right, p.width) * windowLengths(r.top, r.bottom, p.height) * 4;
    return block(p.width * p.channels * 4) + block(inPlace ? saved * p.pitch : 0) +
           block(std::max<long>(reciprocals, 32)) - 16;
}

// Mostly small, at times about the size of the image, at times far beyond it.
long randomRadius(Random& random, long size) {
    const long small = random.between(0, 6), large = random.between(size / 2, 2 * size);
    const long beyond = (int64_t{1} << random.between(20, 62)) + random.between(-1, 1);
    return random.oneOf({small, small, small, small, large, beyond, LONG_MAX - small});
}

void expectBoxBlur(Random& random) {
    const Plane plane = randomPlane(random, random.oneOf({1, 1, 3}));
    Reach reach = {randomRadius(random, plane.width), randomRadius(random, plane.height),
                   randomRadius(random, plane.width), randomRadius(random, plane.height)};
    reach.right += std::max(reach.left, reach.right) == 0;
    reach.bottom += std::max(reach.top, reach.bottom) == 0;
    expectFilter(random, plane, boxBlur(reach),
                 {boxPayload(plane, reach, false), boxPayload(plane, reach, true)}, reach, {mean});
}

// To both sides, or less to the left.
void expectSmallWindowsInRowsOfEveryLength(Random& random) {
    for (const long channels : {1, 3})
        for (long width = 1; width <= 200; ++width)
            for (const long radius : {0, 1, 2}) {
                const Plane plane = {width, random.between(1, 9), channels,
                                     width * channels + random.oneOf({0, 3})};
                const Reach reach = {random.between(0, radius), random.between(0, 2),
                                     std::max<long>(radius, 1), random.between(1, 2)};
                const Reach even = {reach.right, reach.top, reach.right, reach.bottom};
                for (const Reach& r : {reach, even})
                    ASSERT_NO_FATAL_FAILURE(expectFilter(
                        random, plane, boxBlur(r),
                        {boxPayload(plane, r, false), boxPayload(plane, r, true)}, r, {mean}));
            }
}

void expectGaussianBlur(Random& random) {
    const Plane plane = randomPlane(random, random.oneOf({1, 1, 3}));
    const long size = random.oneOf({random.between(-1, 9), randomRadius(random, 50)});
    const long r = size / 2;
    std::vector<Reduce*> passes(plane.pitch == plane.width ? 3 : 2, mean);
    if (size <= 1 || plane.width <= 2 * r)
        passes.clear();
    const Bytes image = random.image(plane.size()), before = random.image(plane.size());
    const GuardedMemory source(image), out(before);
    const Bytes& start = size <= 1 ? image : before; // a copy takes padding along
    ASSERT_EQ(gaussianBlur(size)(nullptr, plane, source.data(), out.data()), ERR_NONE);
    ASSERT_EQ(out.content(), filterPlainly(plane, {r, r, r, r}, passes, image, start));
    note(out.content());
    if (passes.size() == 3) // bottom-up the pitch is not the width
        passes.pop_back();
    const Bytes up = turned(plane, image);
    ASSERT_EQ(bottomUp(gaussianBlur(size))(nullptr, plane, source.data(), source.data()), ERR_NONE);
    ASSERT_EQ(turned(plane, source.content()), filterPlainly(plane, {r, r, r, r}, passes, up, up));
}

struct Operation {
    decltype(sbrErode)* function;
    std::vector<Reduce*> steps;
};
const Operation operations[] = {
    {sbrErode, {least}}, {sbrDilate, {most}}, {sbrOpen, {least, most}}, {sbrClose, {most, least}}};

void expectMorphology(Random& random, const Operation& operation, const Plane& plane, long r) {
    const long stride = (plane.channels * (plane.width + 2 * r + 18) + 3) / 4 * 4;
    const long payload = ((2 * r + 1) * plane.channels + (stride + 8) * (2 * r + 4) + 151) / 4 * 4;
    expectFilter(random, plane, morphology(operation.function, r), {payload, payload},
                 {r, r, r, r + 1}, operation.steps);
}

template <int which>
void expectMorphology(Random& random) {
    const Plane plane = randomPlane(random, random.between(1, 4));
    const long size = std::max(plane.width, plane.height);
    expectMorphology(random, operations[which], plane,
                     random.between(1, random.chance(25) ? 2 * size : 5));
}

// Of every width around the vectors.
void expectRowsOfEveryLength(Random& random) {
    for (const long radius : {1, 2, 3})
        for (const long channels : {1, 2, 3, 4})
            for (long width = 1; width * channels <= 140; ++width)
                for (const long height : {1, 2, 3, 4, 7})
                    ASSERT_NO_FATAL_FAILURE(
                        expectMorphology(random, operations[(width + height) % 2],
                                         {width, height, channels, width * channels}, radius));
}

// Sums of 257 white pixels are the last that fit 16 bits.
void expectWhiteWindowsOfEverySize(Random&) {
    for (const long channels : {1, 3})
        for (const long radius : {41, 42, 43, 63, 64})
            for (const Reach& reach : {Reach{radius, 1, radius, 1}, Reach{radius, 0, radius, 1}}) {
                const Plane plane = {200, 4, channels, 200 * channels};
                const Bytes white(size_t(plane.size()), 255);
                Bytes out = white;
                boxBlur(reach)(nullptr, plane, white.data(), out.data());
                ASSERT_EQ(out, filterPlainly(plane, reach, {mean}, white, white)) << radius;
                note(out);
            }
}

const Register registered{{
    {"BoxBlur", 700, 0xAE9A688E1353C575, expectBoxBlur},
    {"BoxBlurOfWhiteWindows", 1, 0x464EC87576A0F955, expectWhiteWindowsOfEverySize},
    {"BoxBlurOfSmallWindows", 1, 0x2694A4ABBCC6E6D8, expectSmallWindowsInRowsOfEveryLength},
    {"GaussianBlur", 400, 0xCA2BEE3832D516AC, expectGaussianBlur},
    {"Erode", 150, 0x9A6FF4DD739A1514, expectMorphology<0>},
    {"Dilate", 150, 0xC9B569C60DB6B074, expectMorphology<1>},
    {"Open", 120, 0xF7EA25E3A3791F20, expectMorphology<2>},
    {"Close", 120, 0xF3356E378426FCDD, expectMorphology<3>},
    {"ErodeAndDilateRowsOfEveryLength", 1, 0xACE3E15C4DDF7A2E, expectRowsOfEveryLength},
}};

TEST(BoxBlur, TruncatesTheMeanExceptOfFourPixels) {
    Bytes white(25, 255), spot(25);
    spot[0] = 255;
    for (Bytes* image : {&white, &spot})
        boxBlur({1, 1, 1, 1})(nullptr, {5, 5, 1, 5}, image->data(), image->data());
    EXPECT_EQ(Bytes(white.begin(), white.begin() + 6), (Bytes{255, 254, 254, 254, 255, 254}));
    EXPECT_EQ(Bytes(spot.begin(), spot.begin() + 7), (Bytes{63, 42, 0, 0, 0, 42, 28}));
}

// From the heap as from an arena.
TEST(BoxBlur, TakesFourBytesForEachByteOfARow) {
    const Bytes image(70 * 5 * 3);
    for (const long channels : {1, 3})
        for (const long radius : {1, 5}) {
            Bytes out = image;
            allocationsUntilFailure = 0;
            EXPECT_EQ(boxBlur({radius, radius, radius, radius})(nullptr, {70, 5, channels, 210},
                                                                image.data(), out.data()),
                      ERR_NO_MEMORY);
            EXPECT_EQ(lastAllocationSize, 70 * channels * 4);
        }
}

// Around 2^23 pixels the reciprocals fall from 1 to 0.
TEST(BoxBlur, KeepsVeryLargeWindowsExact) {
    const Plane plane = {3000, 2800, 1, 3000};
    Bytes image(size_t(plane.size()), 255);
    boxBlur({LONG_MAX, LONG_MAX, 1499, 0})(nullptr, plane, image.data(), image.data());
    for (const auto& [x, y] : {std::pair{0L, 0L}, {100L, 2000L}, {1499L, 2795L}, {2000L, 2799L}}) {
        const long area = std::min<long>(x + 1500, plane.width) * (y + 1);
        EXPECT_EQ(image[size_t(y * plane.pitch + x)], 255 * area * ((1L << 23) / area) >> 23);
    }
}

TEST(Morphology, ReachesFurtherDownThanUp) {
    Bytes mask(49), expected(49);
    mask[3 * 7 + 3] = 255;
    for (const long row : {1, 2, 3, 4})
        std::fill_n(expected.begin() + row * 7 + 2, 3, 255);
    morphology(sbrDilate, 1)(nullptr, {7, 7, 1, 7}, mask.data(), mask.data());
    EXPECT_EQ(mask, expected);
}

} // namespace
