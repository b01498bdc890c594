// Erosion and dilation against their definition, computed rectangle by rectangle.
#include "random_images.h"

#include "kelvane/kelvane.h"
#include "platform/vector_support.h"
#include "roi/extremum_filter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <vector>

namespace {

struct Case {
    long width, height, pitch, channels, radius;

    long imageSize() const { return (height - 1) * pitch + width * channels; }
};

std::ostream& operator<<(std::ostream& out, const Case& c) {
    return out << c.width << "x" << c.height << " pitch " << c.pitch << " channels " << c.channels
               << " radius " << c.radius;
}

using Function = decltype(sbrErode);

// Bytes that are no pixels keep what `destination` held.
template <typename Choose>
Bytes definition(const Case& c, Choose choose, const Bytes& source, Bytes destination) {
    for (long y = 0; y < c.height; ++y) {
        for (long x = 0; x < c.width; ++x) {
            for (long channel = 0; channel < c.channels; ++channel) {
                unsigned char chosen = source[size_t(y * c.pitch + x * c.channels + channel)];
                for (long v = std::max(0L, y - c.radius);
                     v <= std::min(c.height - 1, y + c.radius + 1); ++v)
                    for (long u = std::max(0L, x - c.radius);
                         u <= std::min(c.width - 1, x + c.radius); ++u)
                        chosen =
                            choose(chosen, source[size_t(v * c.pitch + u * c.channels + channel)]);
                destination[size_t(y * c.pitch + x * c.channels + channel)] = chosen;
            }
        }
    }
    return destination;
}

Bytes eroded(const Case& c, const Bytes& source, const Bytes& destination) {
    return definition(
        c, [](unsigned char a, unsigned char b) { return std::min(a, b); }, source, destination);
}

Bytes dilated(const Case& c, const Bytes& source, const Bytes& destination) {
    return definition(
        c, [](unsigned char a, unsigned char b) { return std::max(a, b); }, source, destination);
}

long call(Function& function, void* memory, const Case& c, const unsigned char* source,
          unsigned char* destination) {
    return function(memory, source, c.width, c.height, c.pitch, c.channels, destination, c.radius);
}

long blockSize(const Case& c) {
    const long stride = (c.channels * (c.width + 2 * c.radius + 18) + 3) / 4 * 4;
    return ((2 * c.radius + 1) * c.channels + (stride + 8) * (2 * c.radius + 4) + 151) / 4 * 4;
}

long arenaSize(const Case& c) { return (blockSize(c) + 7) / 8 * 8 + 32; }

// Widths reach over several vectors of every kind, radii beyond the image.
Case randomCase(Random& random) {
    Case c = {random.between(1, random.between(0, 2) == 0 ? 140 : 24), random.between(1, 24), 0,
              random.between(1, 4), random.between(1, 5)};
    if (random.between(0, 3) == 0)
        c.radius = random.between(1, 2 * std::max(c.width, c.height));
    c.pitch = c.width * c.channels + random.between(0, 1) * random.between(0, 40);
    return c;
}

// Every buffer ends, or begins, at an inaccessible page.
TEST(Morphology, EqualsTheDefinitionSeparatelyAndInPlace) {
    Random random;
    for (int round = 0; round < 2500; ++round) {
        const Case c = randomCase(random);
        SCOPED_TRACE(testing::Message() << c);
        const Bytes image = random.fill(c.imageSize());
        const Bytes before = random.fill(c.imageSize());
        GuardedBuffer source(image, round % 2 == 0);
        GuardedBuffer destination(before, round % 2 == 0);
        ASSERT_EQ(call(sbrErode, nullptr, c, source.data(), destination.data()), ERR_NONE);
        ASSERT_EQ(destination.copy(), eroded(c, image, before));
        ASSERT_EQ(call(sbrDilate, nullptr, c, source.data(), destination.data()), ERR_NONE);
        ASSERT_EQ(destination.copy(), dilated(c, image, before));
        ASSERT_EQ(source.copy(), image);
        ASSERT_EQ(
            call(round % 3 == 0 ? sbrErode : sbrDilate, nullptr, c, source.data(), source.data()),
            ERR_NONE);
        ASSERT_EQ(source.copy(),
                  round % 3 == 0 ? eroded(c, image, image) : dilated(c, image, image));
    }
}

#if defined(__x86_64__)
// Narrow images never take the wider vectors unless asked to.
TEST(Morphology, EqualsTheDefinitionWithWiderVectors) {
    if (!kelvane::hasAvx2())
        GTEST_SKIP() << "no AVX2";
    Random random;
    for (int round = 0; round < 1500; ++round) {
        const Case c = randomCase(random);
        SCOPED_TRACE(testing::Message() << c);
        const Bytes image = random.fill(c.imageSize());
        GuardedBuffer inPlace(image, round % 2 == 0);
        const kelvane::ExtremumTask task = {inPlace.data(), inPlace.data(), c.width, c.height,
                                            c.pitch,        c.channels,     c.radius};
        Bytes working(size_t((2 * c.radius + 4) * c.channels * (c.width + 2 * c.radius)));
        kelvane::filterMinimumAvx2(task, working.data());
        const Bytes once = eroded(c, image, image);
        ASSERT_EQ(inPlace.copy(), once);
        kelvane::filterMaximumAvx2(task, working.data());
        ASSERT_EQ(inPlace.copy(), dilated(c, once, once));
    }
}
#endif

TEST(Morphology, EqualsTheDefinitionForALargeImage) {
    const Case c = {701, 400, 710, 1, 3};
    const Bytes image = Random().fill(c.imageSize());
    Bytes result = image;
    ASSERT_EQ(call(sbrErode, nullptr, c, result.data(), result.data()), ERR_NONE);
    ASSERT_EQ(result, eroded(c, image, image));
}

TEST(Morphology, OpensAndCloses) {
    Random random;
    for (int round = 0; round < 500; ++round) {
        const Case c = randomCase(random);
        SCOPED_TRACE(testing::Message() << c);
        const Bytes image = random.fill(c.imageSize());
        const Bytes minimum = eroded(c, image, image);
        const Bytes maximum = dilated(c, image, image);
        const Bytes opened = dilated(c, minimum, minimum);
        const Bytes closed = eroded(c, maximum, maximum);
        Bytes result = image;
        ASSERT_EQ(call(sbrOpen, nullptr, c, image.data(), result.data()), ERR_NONE);
        ASSERT_EQ(result, opened);
        ASSERT_EQ(call(sbrClose, nullptr, c, image.data(), result.data()), ERR_NONE);
        ASSERT_EQ(result, closed);
        result = image;
        ASSERT_EQ(call(sbrOpen, nullptr, c, result.data(), result.data()), ERR_NONE);
        ASSERT_EQ(result, opened);
    }
}

TEST(Morphology, UsesExactlyItsStatedMemory) {
    Random random;
    for (int round = 0; round < 2000; ++round) {
        const Case c = randomCase(random);
        SCOPED_TRACE(testing::Message() << c);
        const Bytes image = random.fill(c.imageSize());
        Bytes result = image;
        std::vector<uint64_t> pool(static_cast<size_t>(arenaSize(c) / 8));
        void* const small = VantMemMgrCreate(pool.data(), arenaSize(c) - 8);
        for (Function* function : {&sbrErode, &sbrDilate, &sbrOpen, &sbrClose})
            ASSERT_EQ(call(*function, small, c, image.data(), result.data()), ERR_NO_MEMORY);
        ASSERT_EQ(result, image);
        void* const arena = VantMemMgrCreate(pool.data(), arenaSize(c));
        for (Function* function : {&sbrOpen, &sbrClose})
            ASSERT_EQ(call(*function, arena, c, image.data(), result.data()), ERR_NONE);
        ASSERT_EQ(GetMaxAllocMemSize(arena), arenaSize(c) - 32);
    }
}

TEST(Morphology, RefusesWhatItCannotHandle) {
    const Bytes image(64, 7);
    Bytes out = image;
    std::vector<uint64_t> pool(1024);
    void* const arena = VantMemMgrCreate(pool.data(), 8192);
    for (void* const memory : {static_cast<void*>(nullptr), arena}) {
        for (Function* function : {&sbrErode, &sbrDilate, &sbrOpen, &sbrClose}) {
            const auto code = [&](const Case& c) {
                return call(*function, memory, c, image.data(), out.data());
            };
            for (const Case& c : {Case{0, 8, 8, 1, 1},
                                  {-8, 8, 8, 1, 1},
                                  {8, 8, 8, 0, 1},
                                  {8, 8, 8, 5, 1},
                                  {8, 8, 8, (1L << 32) + 1, 1},
                                  {8, 8, 8, 1, -1},
                                  {8, 8, 8, 1, LONG_MIN},
                                  {8, 8, 8, 1, LONG_MAX},
                                  {8, 8, 8, 1, INT_MAX - 1L},
                                  {8, 8, 8, 1, 1L << 31},
                                  {8, 8, 8, 1, 1L << 32},
                                  {8, 8, 8, 1, (1L << 62) + 1},
                                  {LONG_MAX, 8, 8, 4, 1},
                                  {1L << 62, 8, 8, 4, 1}})
                EXPECT_EQ(code(c), ERR_NO_MEMORY) << c;
            EXPECT_EQ(code({8, 8, 8, 1, 0}), ERR_INVALID_PARAM);
            EXPECT_EQ(call(*function, memory, {8, 8, 8, 1, 1}, nullptr, out.data()),
                      ERR_INVALID_PARAM);
            EXPECT_EQ(call(*function, memory, {8, 8, 8, 1, 1}, image.data(), nullptr),
                      ERR_INVALID_PARAM);
            EXPECT_EQ(code({8, 0, 8, 1, 1}), ERR_NONE);
            EXPECT_EQ(code({8, LONG_MIN, 8, 1, 1}), ERR_NONE);
        }
    }
    EXPECT_EQ(out, image);
    EXPECT_EQ(GetMaxAllocMemSize(arena), 8192 - 32);
    // Even without rows the block must be there.
    void* const tiny = VantMemMgrCreate(pool.data(), 64);
    EXPECT_EQ(call(sbrErode, tiny, {8, 0, 8, 1, 1}, image.data(), out.data()), ERR_NO_MEMORY);
}

} // namespace
