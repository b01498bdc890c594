// Image records: allocation, copies and the working size.
#include "align/context.h"
#include "support/images.h"

#include <cmath>

namespace {

bool equal(const Image& a, const Image& b) {
    return a.format == b.format && a.width == b.width && a.height == b.height &&
           std::equal(a.planes, a.planes + 4, b.planes) &&
           std::equal(a.pitches, a.pitches + 4, b.pitches);
}

// Laid out in exactly its block, or untouched where 8 bytes are missing.
void expectAllocated(Random& random) {
    const auto format = random.oneOf({0x601u, 0x603u, 0x802u});
    const auto width = random.between<int32_t>(1, 40), height = random.between<int32_t>(1, 20);
    const int32_t pitch = (width + 3) / 4 * 4;
    const long luma = pitch * height, chroma = format == 0x603 ? luma : luma / 2;
    const long size = luma + chroma;
    Image expected = {format, width, height, {}, {pitch, format == 0x802 ? pitch : pitch / 2}};
    const auto place = [&](int k, long offset) { // from the first plane on
        expected.planes[k] = reinterpret_cast<unsigned char*>(offset);
    };
    place(1, luma);
    if (format != 0x802) {
        place(2, luma + chroma / 2);
        expected.pitches[2] = pitch / 2;
    }
    const long payload = std::max<long>((size + 7) / 8 * 8, 16);
    const Arena small(payload - 8), arena(payload);
    Image image = {};
    if (size > payload - 8) {
        ASSERT_EQ(imgAlloc(small.handle(), &image, width, height, format), ERR_NO_MEMORY);
    }
    ASSERT_TRUE(equal(image, {}));
    ASSERT_EQ(imgAlloc(arena.handle(), &image, width, height, format), ERR_NONE);
    ASSERT_EQ(imgAlloc(arena.handle(), &image, width, height, format), ERR_INVALID_PARAM);
    const Image made = image;
    for (int k = 0; k < 3; ++k) {
        const auto offset = made.planes[k] == nullptr ? 0 : made.planes[k] - made.planes[0];
        image.planes[k] = reinterpret_cast<unsigned char*>(offset);
    }
    ASSERT_TRUE(equal(image, expected)) << format << ' ' << width << " x " << height;
    note(image.pitches[1], int64_t{image.planes[1] - image.planes[0]},
         int64_t{image.planes[2] - image.planes[0]});
    image = made;
    imgFree(arena.handle(), &image);
    ASSERT_TRUE(equal(image, {}) && arena.isEmpty());
}

// Any size, mostly refused; what is given holds every byte that it should.
void expectAnySizes(Random& random) {
    const auto any = [&] {
        const auto least = random.oneOf<int64_t>({1, 1, 1, INT64_MIN});
        return random.between(least, random.oneOf<int64_t>({9, 40, 40, INT64_MAX}));
    };
    const long width = any(), height = any();
    const Arena arena(random.between(1, 1000) * 8);
    __tag_KIRO_OFFSCREEN image = {};
    const long format = random.oneOf<long>({0x601, 0x603, 0x802, 0x802, any()});
    const long code = imgAlloc(arena.handle(), &image, width, height, format);
    if (code == ERR_NONE)
        VantMemSet(image.planes[0], 1,
                   image.pitches[0] * (format == 0x603 ? 2 * height : height + height / 2));
    ASSERT_GE(arena.blocksInUse(), 0); // the list of blocks is intact
    imgFree(arena.handle(), &image);

    void *buffer = nullptr, *roi = nullptr;
    const long channels = any(), outWidth = any(), outHeight = any();
    note(code, ImageResize_AllocMem_BL(arena.handle(), width, height, channels, outWidth, outHeight,
                                       &buffer));
    if (buffer != nullptr)
        VantMemSet(buffer, 1, 8 + 16 * outWidth * channels + 4 * (outWidth + outHeight));
    ASSERT_GE(arena.blocksInUse(), 0);
    VantMemFree(arena.handle(), buffer);
    note(roiInit(arena.handle(), width, height, format, &roi));
    roiUninit(&roi);

    _tag_ZEP_ABDEBLUR context{};
    context.memHandle = arena.handle();
    unsigned char* set = nullptr;
    _tag_BitPyramid_Struct* pyramid = nullptr;
    const long levels = any(), k = any();
    note(Alloc_ComputeBitMaps_Video(&context, &set, width, height, levels, k, 4));
    VantMemFree(arena.handle(), set);
    note(Alloc_ComputeBitPyramid_Video(&context, &pyramid, width, height, levels, k, 4));
    ReleasePyrBit(&context, &pyramid);
    ASSERT_TRUE(arena.isEmpty());
}

void expectCopied(Random& random) {
    const auto format = random.oneOf({0x501u, 0x503u, 0x601u, 0x603u, 0x801u, 0x802u, 0x803u});
    const long width = random.between(1, 20), height = random.between(1, 20);
    Frame src(random, format, width, height), dst(random, format, width, height);
    std::vector<Bytes> expected;
    for (int k = 0; dst.rowBytes(k) >= 0; ++k) {
        expected.push_back(dst.drawn(k, [&](long y, long x) { return src.at(k, y, x); }));
        // A plane that is missing is found before the first one is written.
        for (Image* image : {&src.image, &dst.image}) {
            unsigned char* const plane = std::exchange(image->planes[k], nullptr);
            if (plane != nullptr) {
                ASSERT_EQ(CopyImageData(&dst.image, &src.image), ERR_INVALID_PARAM);
            }
            image->planes[k] = plane;
        }
    }
    ASSERT_EQ(CopyImageData(&dst.image, &src.image), ERR_NONE);
    for (size_t k = 0; k < expected.size(); ++k) {
        ASSERT_EQ(dst.planes[k].content(), expected[k]) << format;
        note(expected[k]);
    }
}

void expectWorkingSize(long width, long height, long longest, long smallWidth, long smallHeight) {
    long outWidth = -1, outHeight = -1;
    float scale = -1.0f;
    CalSmallImgSize(width, height, &outWidth, &outHeight, &scale, longest);
    const float ratio = static_cast<float>(longest) / static_cast<float>(std::max(width, height));
    ASSERT_EQ(scale, std::min(ratio, 1.0f));
    ASSERT_EQ(std::pair(outWidth, outHeight), std::pair(smallWidth, smallHeight));
    note(outWidth, outHeight, scale);
}

void expectAnyWorkingSize(Random& random) {
    const long most = 1L << random.between(4, 26);
    const long width = random.between(1, most), height = random.between(1, most);
    const long longest = random.between(1, std::max(width, height));
    const float scale = static_cast<float>(longest) / static_cast<float>(std::max(width, height));
    const auto reduced = [&](long side) {
        const auto size = static_cast<long>(std::fma(scale, static_cast<float>(side), 0.5f));
        return size + size % 2;
    };
    expectWorkingSize(width, height, longest, reduced(width), reduced(height));
}

const Register registered{{
    {"ImageAlloc", 300, 0x723B945E8EF9E4FB, expectAllocated},
    {"AnySizes", 3000, 0x4E96D0C3F920BA61, expectAnySizes},
    {"CopyImage", 300, 0x5B781F5990E3FAA9, expectCopied},
    {"WorkingSize", 20000, 0xB9F1D9B021D8978, expectAnyWorkingSize},
}};

TEST(WorkingSize, KeepsTheRatioWithinTheLongestSide) {
    expectWorkingSize(1920, 1080, 800, 800, 450);
    expectWorkingSize(600, 1001, 800, 480, 800);
    expectWorkingSize(799, 600, 800, 800, 600);
    expectWorkingSize(0, 0, 800, 0, 0);
}

// Resizing proper is tested with that of planes.
TEST(ImageResize, CopiesOneLayoutInOneBlock) {
    const Arena noRoom(8);
    Bytes from = Random().image(32), to(32);
    const auto expectCopy = [&](long start, int32_t pitch, int32_t chromaPitch, bool padding) {
        Image src = {0x802, 6, 4, {from.data() + start}, {pitch}};
        Image dst = {0x802, 6, 4, {to.data() + start}, {pitch, chromaPitch}};
        to.assign(32, 9);
        // The pitches of plane 1 differ, and what is copied by rows is resized.
        EXPECT_EQ(imgResize(chromaPitch == 0 ? noRoom.handle() : nullptr, &src, &dst), ERR_NONE);
        for (size_t i = 0; i < 32; ++i)
            EXPECT_EQ(to[i], padding || i % 8 < 6 ? from[i] : 9);
    };
    expectCopy(0, 8, 0, true);
    expectCopy(0, 8, 8, false);
    expectCopy(24, -8, 0, false);
    Bytes row(1 << 16, 5), copy(1 << 16); // longer than what can be resized
    Image src = {0x802, 1 << 16, 1, {row.data()}, {-(1 << 16)}}, dst = src;
    dst.planes[0] = copy.data();
    EXPECT_EQ(imgResize(nullptr, &src, &dst), ERR_NONE);
    EXPECT_TRUE(row == copy);
}

} // namespace
