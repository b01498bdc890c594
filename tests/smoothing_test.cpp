// Box and Gaussian smoothing against their definition, computed window by window.
#include "random_images.h"

#include "image/box_rows.h"
#include "kelvane/kelvane.h"
#include "platform/vector_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <vector>

namespace {

struct Case {
    long width, height, pitch, format;
    long left, top, right, bottom;

    long channels() const { return format == 0x201 ? 3 : 1; }
    long planeSize() const { return (height - 1) * pitch + width * channels(); }
};

std::ostream& operator<<(std::ostream& out, const Case& c) {
    return out << c.width << "x" << c.height << " pitch " << c.pitch << " format " << c.format
               << " radii " << c.left << " " << c.top << " " << c.right << " " << c.bottom;
}

// The first and one past the last position of a window clipped to `length`.
std::pair<long, long> window(long position, long before, long after, long length) {
    const long first = position > before ? position - before : 0;
    return {first, after < length - position ? position + after + 1 : length};
}

// Bytes that are no pixels keep what `destination` held.
Bytes definition(const Case& c, const Bytes& source, Bytes destination) {
    for (long y = 0; y < c.height; ++y) {
        for (long x = 0; x < c.width; ++x) {
            const auto [firstRow, endRow] = window(y, c.top, c.bottom, c.height);
            const auto [firstColumn, endColumn] = window(x, c.left, c.right, c.width);
            const long area = (endRow - firstRow) * (endColumn - firstColumn);
            for (long channel = 0; channel < c.channels(); ++channel) {
                unsigned sum = 0;
                for (long v = firstRow; v < endRow; ++v)
                    for (long u = firstColumn; u < endColumn; ++u)
                        sum += source[size_t(v * c.pitch + u * c.channels() + channel)];
                destination[size_t(y * c.pitch + x * c.channels() + channel)] =
                    static_cast<unsigned char>(sum * static_cast<unsigned>((1L << 23) / area) >>
                                               23);
            }
        }
    }
    return destination;
}

long boxBlur(void* memory, const Case& c, const unsigned char* source, unsigned char* destination) {
    return GB_BoxBlurA(memory, source, c.width, c.height, c.pitch, c.format, destination, c.left,
                       c.top, c.right, c.bottom);
}

// The number of window lengths that occur or lie between those that occur.
long lengthCount(long before, long after, long length) {
    long shortest = LONG_MAX;
    long longest = 0;
    for (long p = 0; p < length; ++p) {
        const auto [first, end] = window(p, before, after, length);
        shortest = std::min(shortest, end - first);
        longest = std::max(longest, end - first);
    }
    return longest - shortest + 1;
}

// What an arena needs for one call. It cuts a block off only when at least 32 bytes remain.
long arenaSize(const Case& c, bool inPlace) {
    const auto block = [](long size) { return (size + 7) / 8 * 8 + 16; };
    const long saved = std::min(c.top + 1, c.height - c.top - 1);
    const long reciprocals =
        lengthCount(c.left, c.right, c.width) * lengthCount(c.top, c.bottom, c.height) * 4;
    return block(c.width * c.channels() * 4) +
           (inPlace && saved >= 1 ? block(saved * c.pitch) : 0) +
           block(std::max(reciprocals, 32L)) + 16;
}

// Mostly small, at times about the size of the image, at times far beyond it.
long randomRadius(Random& random, long size) {
    switch (random.between(0, 9)) {
    case 0: return LONG_MAX - random.between(0, 2);
    case 1: return (1L << random.between(20, 62)) + random.between(-1, 1);
    case 2:
    case 3: return random.between(std::max(size - 3, 0L), 2 * size + 2);
    default: return random.between(0, 6);
    }
}

// Widths reach over several vectors of every kind.
Case randomCase(Random& random) {
    const long width = random.between(1, random.between(0, 2) == 0 ? 150 : 40);
    const long height = random.between(1, 20);
    const long format = random.between(0, 2) == 0 ? 0x201 : random.between(0, 1) * 0x601;
    Case c = {width, height, 0, format, 0, 0, 0, 0};
    c.pitch = width * c.channels() + random.between(0, 1) * random.between(0, 40);
    do {
        c.left = randomRadius(random, width);
        c.right = randomRadius(random, width);
        c.top = randomRadius(random, height);
        c.bottom = randomRadius(random, height);
    } while ((c.left == 0 && c.right == 0) || (c.top == 0 && c.bottom == 0));
    return c;
}

// Every buffer ends, or begins, at an inaccessible page.
TEST(BoxBlur, EqualsTheDefinitionSeparatelyAndInPlace) {
    Random random;
    for (int round = 0; round < 6000; ++round) {
        const Case c = randomCase(random);
        SCOPED_TRACE(testing::Message() << c);
        const Bytes image = random.fill(c.planeSize());
        const Bytes before = random.fill(c.planeSize());
        const bool atEnd = round % 2 == 0;
        GuardedBuffer source(image, atEnd);
        GuardedBuffer destination(before, atEnd);
        ASSERT_EQ(boxBlur(nullptr, c, source.data(), destination.data()), ERR_NONE);
        ASSERT_EQ(source.copy(), image);
        ASSERT_EQ(destination.copy(), definition(c, image, before));
        ASSERT_EQ(boxBlur(nullptr, c, source.data(), source.data()), ERR_NONE);
        ASSERT_EQ(source.copy(), definition(c, image, image));
    }
}

// Around 2^23 pixels the reciprocals fall from 1 to 0.
TEST(BoxBlur, KeepsVeryLargeWindowsExact) {
    const long width = 3000;
    const long height = 2800;
    Bytes image(size_t(width * height), 255);
    ASSERT_EQ(GB_BoxBlurA(nullptr, image.data(), width, height, width, 0, image.data(), LONG_MAX,
                          LONG_MAX, 1499, 0),
              ERR_NONE);
    for (const auto& [x, y] : {std::pair{0L, 0L}, {100L, 2000L}, {1499L, 2795L}, {2000L, 2799L}}) {
        const long area = std::min(x + 1500, width) * (y + 1);
        const long expected = 255 * area * ((1L << 23) / area) >> 23;
        EXPECT_EQ(image[size_t(y * width + x)], expected) << x << " " << y;
    }
}

TEST(BoxBlur, UsesExactlyItsStatedMemory) {
    Random random;
    for (int round = 0; round < 2000; ++round) {
        Case c = randomCase(random);
        if (std::max({c.left, c.top, c.right, c.bottom}) > 1000)
            continue;
        SCOPED_TRACE(testing::Message() << c);
        const bool inPlace = round % 2 == 0;
        const Bytes image = random.fill(c.planeSize());
        Bytes source = image;
        Bytes other = image;
        unsigned char* const destination = inPlace ? source.data() : other.data();
        std::vector<uint64_t> pool(static_cast<size_t>(arenaSize(c, inPlace) / 8));
        const auto arenaOf = [&](long size) { return VantMemMgrCreate(pool.data(), size); };

        void* const small = arenaOf(arenaSize(c, inPlace) - 8);
        const long freeBytes = GetMaxAllocMemSize(small);
        ASSERT_EQ(boxBlur(small, c, source.data(), destination), ERR_NO_MEMORY);
        ASSERT_EQ(GetMaxAllocMemSize(small), freeBytes);
        ASSERT_EQ(source, image);
        ASSERT_EQ(other, image);
        void* const arena = arenaOf(arenaSize(c, inPlace));
        ASSERT_EQ(boxBlur(arena, c, source.data(), destination), ERR_NONE);
        ASSERT_EQ(GetMaxAllocMemSize(arena), arenaSize(c, inPlace) - 32);
    }
}

TEST(BoxBlur, RefusesInvalidArguments) {
    const Bytes image(64, 7);
    Bytes out = image;
    const auto code = [&](const Case& c) { return boxBlur(nullptr, c, image.data(), out.data()); };
    for (const Case& c : {Case{4, 4, 4, 0, -1, 1, 1, 1},
                          {4, 4, 4, 0, 1, -1, 1, 1},
                          {4, 4, 4, 0, 1, 1, LONG_MIN, 1},
                          {4, 4, 4, 0, 1, 1, 1, -1},
                          {4, 4, 4, 0, 1, 0, 1, 0},
                          {4, 4, 4, 0, 0, 1, 0, 1},
                          {0, 4, 4, 0, 1, 1, 1, 1},
                          {-4, 4, 4, 0, 1, 1, 1, 1},
                          {4, 0, 4, 0, 1, 1, 1, 1},
                          {4, LONG_MIN, 4, 0, 1, 1, 1, 1},
                          {4, 4, 3, 0, 1, 1, 1, 1},
                          {4, 4, 11, 0x201, 1, 1, 1, 1},
                          {LONG_MAX, 4, 4, 0x201, 1, 1, 1, 1}})
        EXPECT_EQ(code(c), ERR_INVALID_PARAM) << c;
    const Case fine = {4, 4, 4, 0, 1, 1, 1, 1};
    EXPECT_EQ(boxBlur(nullptr, fine, nullptr, out.data()), ERR_INVALID_PARAM);
    EXPECT_EQ(boxBlur(nullptr, fine, image.data(), nullptr), ERR_INVALID_PARAM);
    EXPECT_EQ(out, image);
    EXPECT_EQ(code({4, 4, 4, 0, 0, 0, 1, 1}), ERR_NONE);
}

#if defined(__x86_64__)
// The rows of both instruction sets, one by one.
TEST(BoxRows, AreTheSameWithEveryInstructionSet) {
    if (!kelvane::hasAvx2())
        GTEST_SKIP() << "no AVX2";
    Random random;
    for (int round = 0; round < 6000; ++round) {
        const int channels = random.between(0, 1) ? 1 : 3;
        const long width = random.between(1, 150);
        const auto plain = kelvane::boxRowOperations(channels);
        const auto wide = kelvane::boxRowOperationsAvx2(channels);
        std::vector<uint32_t> sums(size_t(width * channels));
        std::vector<uint32_t> wideSums = sums;
        const bool atEnd = round % 2 == 0;
        const auto accumulate = [&](unsigned char* added, unsigned char* removed) {
            plain.accumulate(added, removed, width, sums.data());
            wide.accumulate(added, removed, width, wideSums.data());
            ASSERT_EQ(sums, wideSums) << width << " " << channels;
        };
        GuardedBuffer first(random.fill(width * channels), atEnd);
        GuardedBuffer second(random.fill(width * channels), atEnd);
        const long rows = random.between(1, 12);
        for (long i = 0; i < rows; ++i)
            accumulate(first.data(), nullptr);
        accumulate(second.data(), first.data());
        accumulate(second.data(), nullptr);
        accumulate(nullptr, second.data());

        const kelvane::BoxRow row = {width, random.between(0, width - 1),
                                     random.between(0, width - 1)};
        std::vector<uint32_t> reciprocals;
        for (long length = std::min(row.left, row.right) + 1; length <= width; ++length)
            reciprocals.push_back(static_cast<uint32_t>((1L << 23) / (rows * length)));
        Bytes expected(size_t(width * channels));
        GuardedBuffer result(expected, atEnd);
        plain.divide(sums.data(), row, reciprocals.data(), expected.data());
        wide.divide(sums.data(), row, reciprocals.data(), result.data());
        ASSERT_EQ(result.copy(), expected) << width << " " << channels;
    }
}
#endif

// Large enough for every vector to be worthwhile.
TEST(BoxBlur, EqualsTheDefinitionForALargeImage) {
    for (const long format : {0L, 0x201L}) {
        const Case c = {701, 400, 701 * 3 + 5, format, 2, 1, 7, 3};
        const Bytes image = Random().fill(c.planeSize());
        Bytes result = image;
        ASSERT_EQ(boxBlur(nullptr, c, result.data(), result.data()), ERR_NONE);
        ASSERT_EQ(result, definition(c, image, image));
    }
}

Bytes gaussianDefinition(const Case& size, long kernel, const Bytes& source,
                         const Bytes& destination) {
    const long r = kernel / 2;
    if (kernel <= 1)
        return source;
    if (size.width <= 2 * r)
        return destination;
    const Case c = {size.width, size.height, size.pitch, size.format, r, r, r, r};
    Bytes result = definition(c, source, destination);
    for (int pass = 1; pass < (c.pitch == c.width ? 3 : 2); ++pass)
        result = definition(c, result, result);
    return result;
}

TEST(GaussianBlur, RepeatsTheBoxFilter) {
    Random random;
    for (int round = 0; round < 1500; ++round) {
        Case c = randomCase(random);
        const long kernel =
            random.between(0, 3) == 0 ? randomRadius(random, 50) : random.between(-1, 9);
        SCOPED_TRACE(testing::Message() << c << " kernel " << kernel);
        // The copy of small kernels takes the padding of the last row along.
        const Bytes image = random.fill(c.height * c.pitch);
        const Bytes before = random.fill(c.height * c.pitch);
        Bytes separate = before;
        Bytes inPlace = image;
        ASSERT_EQ(GB_GaussianBlurA(nullptr, image.data(), c.width, c.height, c.pitch, c.format,
                                   separate.data(), kernel),
                  ERR_NONE);
        ASSERT_EQ(separate, gaussianDefinition(c, kernel, image, before));
        ASSERT_EQ(GB_GaussianBlurA(nullptr, inPlace.data(), c.width, c.height, c.pitch, c.format,
                                   inPlace.data(), kernel),
                  ERR_NONE);
        ASSERT_EQ(inPlace, gaussianDefinition(c, kernel, image, image));
    }
}

TEST(GaussianBlur, RefusesInvalidPlanesAndStopsAtTheFailingPass) {
    const Bytes image = Random().fill(64);
    Bytes out = image;
    for (const long kernel : {0L, 3L}) {
        const auto code = [&](long width, long height, long pitch) {
            return GB_GaussianBlurA(nullptr, image.data(), width, height, pitch, 0, out.data(),
                                    kernel);
        };
        EXPECT_EQ(code(0, 8, 8), ERR_INVALID_PARAM);
        EXPECT_EQ(code(8, -1, 8), ERR_INVALID_PARAM);
        EXPECT_EQ(code(8, 8, 7), ERR_INVALID_PARAM);
        EXPECT_EQ(code(8, LONG_MAX, 8), ERR_INVALID_PARAM);
        EXPECT_EQ(GB_GaussianBlurA(nullptr, nullptr, 8, 8, 8, 0, out.data(), kernel),
                  ERR_INVALID_PARAM);
        EXPECT_EQ(GB_GaussianBlurA(nullptr, image.data(), 8, 8, 8, 0, nullptr, kernel),
                  ERR_INVALID_PARAM);
    }
    ASSERT_EQ(out, image);

    // Room for the pass that needs no saved rows alone.
    const Case pass = {8, 8, 8, 0, 1, 1, 1, 1};
    std::vector<uint64_t> pool(static_cast<size_t>(arenaSize(pass, false) / 8));
    void* const arena = VantMemMgrCreate(pool.data(), arenaSize(pass, false));
    EXPECT_EQ(GB_GaussianBlurA(arena, image.data(), 8, 8, 8, 0, out.data(), 3), ERR_NO_MEMORY);
    EXPECT_EQ(out, definition(pass, image, image));
}

} // namespace
