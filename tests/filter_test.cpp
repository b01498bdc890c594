// Smoothing and morphology: filters that look at a window around every pixel.
#include "support/filter_cases.h"

namespace {

TEST(BoxBlur, EqualsItsDefinition) {
    Random random;
    for (int round = 0; round < 1500 && !HasFailure(); ++round)
        expectBoxBlur(random);
}

TEST(BoxBlur, SmallWindowsInRowsOfEveryLengthEqualTheirDefinition) {
    Random random;
    for (const long channels : {1, 3})
        for (long width = 1; width <= 200; ++width)
            for (const long radius : {0, 1, 2}) { // to both sides, or less to the left
                const Plane plane = {width, random.between(1, 9), channels,
                                     width * channels + random.oneOf({0, 3})};
                const Reach reach = {random.between(0, radius), random.between(0, 2),
                                     std::max(radius, 1L), random.between(1, 2)};
                const Reach even = {reach.right, reach.top, reach.right, reach.bottom};
                for (const Reach& r : {reach, even})
                    expectFilter(random, plane, boxBlur(r),
                                 {boxPayload(plane, r, false), boxPayload(plane, r, true)}, r,
                                 {mean});
                ASSERT_FALSE(HasFailure()) << width << ", " << channels;
            }
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
    allocationsUntilFailure = -1;
}

TEST(BoxBlur, TruncatesTheMeanExceptOfFourPixels) {
    Bytes white(25, 255), spot(25);
    spot[0] = 255;
    for (Bytes* image : {&white, &spot})
        boxBlur({1, 1, 1, 1})(nullptr, {5, 5, 1, 5}, image->data(), image->data());
    EXPECT_EQ(Bytes(white.begin(), white.begin() + 6), (Bytes{255, 254, 254, 254, 255, 254}));
    EXPECT_EQ(Bytes(spot.begin(), spot.begin() + 7), (Bytes{63, 42, 0, 0, 0, 42, 28}));
}

// Sums of 257 white pixels are the last that fit 16 bits.
TEST(BoxBlur, CountsWhiteWindowsOfEverySize) {
    for (const Vectors vectors : {Vectors::Baseline, Vectors::Avx2, Vectors::Avx512})
        for (const long channels : {1, 3})
            for (const long radius : {41, 42, 43, 63, 64}) {
                widestVectors = vectors;
                const Plane plane = {200, 4, channels, 200 * channels};
                const Reach threeRows = {radius, 1, radius, 1}, twoRows = {radius, 0, radius, 1};
                for (const Reach& reach : {threeRows, twoRows}) {
                    const Bytes white(size_t(plane.size()), 255);
                    Bytes out = white;
                    boxBlur(reach)(nullptr, plane, white.data(), out.data());
                    ASSERT_EQ(out, filterPlainly(plane, reach, {mean}, white, white)) << radius;
                }
            }
}

// Around 2^23 pixels the reciprocals fall from 1 to 0.
TEST(BoxBlur, KeepsVeryLargeWindowsExact) {
    const Plane plane = {3000, 2800, 1, 3000};
    Bytes image(size_t(plane.size()), 255);
    boxBlur({LONG_MAX, LONG_MAX, 1499, 0})(nullptr, plane, image.data(), image.data());
    for (const auto& [x, y] : {std::pair{0L, 0L}, {100L, 2000L}, {1499L, 2795L}, {2000L, 2799L}}) {
        const long area = std::min(x + 1500, plane.width) * (y + 1);
        EXPECT_EQ(image[size_t(y * plane.pitch + x)], 255 * area * ((1L << 23) / area) >> 23);
    }
}

TEST(GaussianBlur, RepeatsTheBoxFilter) {
    Random random;
    for (int round = 0; round < 600 && !HasFailure(); ++round)
        expectGaussianBlur(random);
}

TEST(Morphology, EqualsItsDefinition) {
    Random random;
    for (int round = 0; round < 1000 && !HasFailure(); ++round)
        expectMorphology(random);
}

// Of every width around the vectors. The last row ends with the memory.
TEST(Morphology, RowsOfEveryLengthEqualTheirDefinition) {
    Random random;
    for (const long radius : {1, 2, 3})
        for (const long channels : {1, 2, 3, 4})
            for (long width = 1; width * channels <= 140; ++width)
                for (const long height : {1, 2, 3, 4, 7}) {
                    const Plane plane = {width, height, channels, width * channels};
                    expectExtremum(random, plane, sbrErode, radius, least);
                    expectExtremum(random, plane, sbrDilate, radius, most);
                    ASSERT_FALSE(HasFailure()) << width << " x " << height << ", " << channels;
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

// What a filter refuses leaves memory and destination alone.
void expectRefused(const Filter& filter, const Plane& plane, long code) {
    const Arena arena(8192);
    const Bytes image(64, 7);
    Bytes out = image;
    EXPECT_EQ(filter(arena.handle(), plane, image.data(), out.data()), code);
    EXPECT_EQ(filter(nullptr, {4, 4, 1, 4}, nullptr, out.data()), ERR_INVALID_PARAM);
    EXPECT_EQ(filter(nullptr, {4, 4, 1, 4}, image.data(), nullptr), ERR_INVALID_PARAM);
    EXPECT_TRUE(out == image && arena.isEmpty());
}

TEST(Smoothing, TakesBottomUpPlanes) {
    Random random;
    for (int round = 0; round < 200; ++round) {
        const long width = random.between(1, 90), height = random.between(1, 12);
        const long channels = random.oneOf({1, 3}), rowBytes = width * channels;
        const Plane down = {width, height, channels, rowBytes + 1};
        const Plane up = {width, height, channels, -down.pitch};
        Bytes image = random.image(down.size()), turned;
        for (long y = height - 1; y >= 0; --y)
            turned.insert(turned.end(), &image[size_t(y * down.pitch)],
                          &image[size_t(y * down.pitch)] + down.pitch);
        const Reach reach = {1, random.between(0, 9), random.between(0, 9), 2};
        for (const Filter& filter : {boxBlur(reach), gaussianBlur(5), gaussianBlur(0)}) {
            const GuardedMemory source(image), lower(turned), out(image.size()),
                upper(image.size());
            const bool inPlace = random.chance(50);
            unsigned char* const to = inPlace ? source.data() : out.data();
            unsigned char* const first = lower.data() + (height - 1) * down.pitch;
            unsigned char* const upTo = inPlace ? first : upper.data() + (first - lower.data());
            ASSERT_EQ(filter(nullptr, down, source.data(), to), ERR_NONE);
            ASSERT_EQ(filter(nullptr, up, first, upTo), ERR_NONE);
            for (long y = 0; y < height; ++y)
                ASSERT_TRUE(std::equal(to + y * down.pitch, to + y * down.pitch + rowBytes,
                                       upTo + y * up.pitch));
        }
    }
}

TEST(Smoothing, RefusesInvalidArguments) {
    for (const Plane& plane :
         {Plane{0, 4, 1, 4}, Plane{-4, 4, 1, 4}, Plane{4, 0, 1, 4}, Plane{4, LONG_MIN, 1, 4},
          Plane{4, 4, 1, 3}, Plane{4, 4, 3, 11}, Plane{LONG_MAX, 4, 3, 4}, Plane{4, 4, 3, -11},
          Plane{4, 1, 1, LONG_MIN}})
        for (const Filter& filter : {boxBlur({1, 1, 1, 1}), gaussianBlur(0), gaussianBlur(3)})
            expectRefused(filter, plane, ERR_INVALID_PARAM);
    expectRefused(gaussianBlur(0), {4, LONG_MAX, 1, 4}, ERR_INVALID_PARAM); // too large to copy
    for (const Reach& reach : {Reach{-1, 1, 1, 1}, Reach{1, -1, 1, 1}, Reach{1, 1, LONG_MIN, 1},
                               Reach{1, 1, 1, -1}, Reach{1, 0, 1, 0}, Reach{0, 1, 0, 1}})
        expectRefused(boxBlur(reach), {4, 4, 1, 4}, ERR_INVALID_PARAM);
}

TEST(Morphology, RefusesWhatItCannotHandle) {
    const Plane fine = {8, 8, 1, 8}, empty = {8, LONG_MIN, 1, 8};
    for (decltype(sbrErode)* const function : {sbrErode, sbrDilate, sbrOpen, sbrClose}) {
        for (const Plane& plane :
             {Plane{0, 8, 1, 8}, Plane{-8, 8, 1, 8}, Plane{8, 8, 0, 8}, Plane{8, 8, 5, 8},
              Plane{8, 8, (1L << 32) + 1, 8}, Plane{LONG_MAX, 8, 4, 8}, Plane{1L << 62, 8, 4, 8}})
            expectRefused(morphology(function, 1), plane, ERR_NO_MEMORY);
        for (const long radius :
             {-1L, LONG_MIN, LONG_MAX, INT_MAX - 1L, 1L << 31, 1L << 32, (1L << 62) + 1})
            expectRefused(morphology(function, radius), fine, ERR_NO_MEMORY);
        expectRefused(morphology(function, 0), fine, ERR_INVALID_PARAM);
        expectRefused(morphology(function, 1), empty, ERR_NONE);
        expectRefused(morphology(function, 1500), empty, ERR_NO_MEMORY); // more than the arena has
    }
}

} // namespace
