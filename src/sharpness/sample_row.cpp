#include "sharpness/sample_row.h"

#include "kelvane/kelvane.h"
#include "platform/prefetch.h"
#include "platform/unaligned.h"
#include "platform/vector_support.h"
#include "sharpness/sample_row_avx2.h"

namespace kelvane {

namespace {

// Each sampler makes one sample from the pixels 0 and 2 of two rows. `group` may read all four
// pixels of a grid step, which lets it work on whole words; `last` reads the two pixels alone.
// `wideGroups` does the same as `group` for many samples.

// One byte per pixel. Masking leaves pixels 0 and 2 in 16-bit halves, which add without carry.
struct LumaSampler {
    static constexpr int64_t bytesPerPixel = 1;
    static constexpr SampleGroups* wideGroups = lumaGroupsAvx2;
    static uint32_t group(const unsigned char* upper, const unsigned char* lower) {
        constexpr uint32_t mask = 0x00FF00FF;
        const uint32_t sums =
            (loadUnaligned<uint32_t>(upper) & mask) + (loadUnaligned<uint32_t>(lower) & mask);
        return ((sums & 0xFFFF) + (sums >> 16) + 2) >> 2;
    }
    static uint32_t last(const unsigned char* upper, const unsigned char* lower) {
        return (uint32_t{upper[0]} + upper[2] + lower[0] + lower[2] + 2) >> 2;
    }
};

// Two bytes per pixel, the first of each being the luma.
struct PackedLumaSampler {
    static constexpr int64_t bytesPerPixel = 2;
    static constexpr SampleGroups* wideGroups = packedLumaGroupsAvx2;
    static uint32_t group(const unsigned char* upper, const unsigned char* lower) {
        constexpr uint32_t mask = 0xFF;
        return ((loadUnaligned<uint32_t>(upper) & mask) +
                (loadUnaligned<uint32_t>(upper + 4) & mask) +
                (loadUnaligned<uint32_t>(lower) & mask) +
                (loadUnaligned<uint32_t>(lower + 4) & mask) + 2) >>
               2;
    }
    static uint32_t last(const unsigned char* upper, const unsigned char* lower) {
        return (uint32_t{upper[0]} + upper[4] + lower[0] + lower[4] + 2) >> 2;
    }
};

// Colours as luma: BT.601 weights scaled by 2^14. The 5-bit fields count twice as much per step as
// the 6-bit one, hence their weights scaled by 2^15. The fields of four pixels are summed in place
// and shifted down once.
struct Rgb565Sampler {
    static constexpr int64_t bytesPerPixel = 2;
    static constexpr SampleGroups* wideGroups = rgb565GroupsAvx2;
    static uint32_t luma(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
        const uint32_t red = ((a & 0xF800) + (b & 0xF800) + (c & 0xF800) + (d & 0xF800)) >> 11;
        const uint32_t green = ((a & 0x07E0) + (b & 0x07E0) + (c & 0x07E0) + (d & 0x07E0)) >> 5;
        const uint32_t blue = (a & 0x001F) + (b & 0x001F) + (c & 0x001F) + (d & 0x001F);
        return (9798 * red + 9617 * green + 3736 * blue + 8192) >> 14;
    }
    static uint32_t group(const unsigned char* upper, const unsigned char* lower) {
        return luma(loadUnaligned<uint32_t>(upper), loadUnaligned<uint32_t>(upper + 4),
                    loadUnaligned<uint32_t>(lower), loadUnaligned<uint32_t>(lower + 4));
    }
    static uint32_t last(const unsigned char* upper, const unsigned char* lower) {
        return luma(loadUnaligned<uint16_t>(upper), loadUnaligned<uint16_t>(upper + 4),
                    loadUnaligned<uint16_t>(lower), loadUnaligned<uint16_t>(lower + 4));
    }
};

// Bytes 1, 2 and 3 of a pixel are red, green and blue. Red and blue are summed in the 16-bit
// halves of one word. The rounding term is a quarter of what the shift would ask for; results of
// the measure have always been formed with it.
struct Xrgb32Sampler {
    static constexpr int64_t bytesPerPixel = 4;
    static constexpr SampleGroups* wideGroups = xrgb32GroupsAvx2;
    static uint32_t group(const unsigned char* upper, const unsigned char* lower) {
        const uint32_t a = loadUnaligned<uint32_t>(upper);
        const uint32_t b = loadUnaligned<uint32_t>(upper + 8);
        const uint32_t c = loadUnaligned<uint32_t>(lower);
        const uint32_t d = loadUnaligned<uint32_t>(lower + 8);
        constexpr uint32_t mask = 0x00FF00FF;
        const uint32_t redBlue =
            (a >> 8 & mask) + (b >> 8 & mask) + (c >> 8 & mask) + (d >> 8 & mask);
        const uint32_t green =
            (a >> 16 & 0xFF) + (b >> 16 & 0xFF) + (c >> 16 & 0xFF) + (d >> 16 & 0xFF);
        return (4899 * (redBlue & 0xFFFF) + 9617 * green + 1868 * (redBlue >> 16) + 8192) >> 16;
    }
    static uint32_t last(const unsigned char* upper, const unsigned char* lower) {
        return group(upper, lower);
    }
};

template <typename Sampler>
void convertRow(const unsigned char* upper, const unsigned char* lower, int64_t count,
                int64_t ahead, unsigned char* __restrict samples) {
    constexpr int64_t step = 4 * Sampler::bytesPerPixel;
    const int64_t last = count - 1;
#if defined(__x86_64__)
    if (last >= leastSamplesAvx2 && hasAvx2())
        Sampler::wideGroups(upper, lower, last, ahead, samples);
    else
#endif
    {
        prefetchRow(upper + ahead, step * last);
        prefetchRow(lower + ahead, step * last);
        for (int64_t x = 0; x < last; ++x)
            samples[x] =
                static_cast<unsigned char>(Sampler::group(upper + step * x, lower + step * x));
    }
    samples[last] =
        static_cast<unsigned char>(Sampler::last(upper + step * last, lower + step * last));
}

template <typename Sampler>
SampleFormat sampledBy(bool evenWidth, bool evenHeight) {
    return {convertRow<Sampler>, Sampler::bytesPerPixel, evenWidth, evenHeight};
}

} // namespace

SampleFormat sampleFormatOf(uint32_t format) {
    switch (format) {
    case KELVANE_FORMAT_YUV420:
    case KELVANE_FORMAT_YUV420_CBCR:
    case KELVANE_FORMAT_YUV420_CRCB: return sampledBy<LumaSampler>(true, true);
    case KELVANE_FORMAT_YUV422:
    case KELVANE_FORMAT_YUV422_CRCB: return sampledBy<LumaSampler>(true, false);
    case KELVANE_FORMAT_YUYV: return sampledBy<PackedLumaSampler>(true, false);
    case KELVANE_FORMAT_RGB565: return sampledBy<Rgb565Sampler>(false, false);
    case KELVANE_FORMAT_XRGB32: return sampledBy<Xrgb32Sampler>(false, false);
    default: return {};
    }
}

} // namespace kelvane
