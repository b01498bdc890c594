// Measures images that end where the definition stops reading them.
#pragma once

#include "api/engine.h"
#include "support/allocation_hook.h"
#include "support/arena.h"
#include "support/plain_sharpness.h"
#include "support/random.h"
#include "support/vector_hook.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>

inline bool hasAcceptedSize(const __tag_KIRO_OFFSCREEN& image) {
    const uint32_t format = image.format;
    const bool anyWidth = format == 0x101 || format == 0x304;
    const bool evenHeight = format == 0x601 || format == 0x801 || format == 0x802;
    return (anyWidth || image.width % 2 == 0) && (!evenHeight || image.height % 2 == 0);
}

struct SharpnessCheck {
    explicit SharpnessCheck(Random& source) : random(source) { DRAV_Init(nullptr, &engine); }
    ~SharpnessCheck() { DRAV_Uninit(&engine); }

    // Measures in an arena that just holds the scratch block.
    void expectPlainValue(__tag_KIRO_OFFSCREEN& image, __tag_rect* region) {
        const int64_t scratch = image.width < 4 ? 0 : 2 * ((image.width / 4 + 3) / 4) * 4;
        const Arena arena(std::max<int64_t>(scratch, 8));
        const bool accepted = hasAcceptedSize(image);
        const long code = accepted ? ERR_NONE : ERR_INVALID_PARAM;
        const float expected = accepted ? plainSharpness(image, region) : -7.0f;
        float sharpness = -7.0f;
        lastAllocationSize = 0;
        ASSERT_EQ(imgEvaluateSharpness(arena.handle(), &image, &sharpness, region), code);
        ASSERT_EQ(std::bit_cast<uint32_t>(sharpness), std::bit_cast<uint32_t>(expected))
            << image.format << ' ' << image.width << 'x' << image.height << ' ' << image.pitches[0];
        ASSERT_EQ(lastAllocationSize, accepted ? scratch : 0);
        ASSERT_TRUE(arena.isEmpty() || scratch == 0);
        if (region != nullptr ||
            (image.format != 0x601 && image.format != 0x603 && image.format != 0x802))
            return;
        ASSERT_EQ(DRAV_DetectBlur(engine, &image, &blur), code);
        if (accepted) // otherwise the last result stays
            expectedBlur = {image.width, image.height, image.format,
                            static_cast<int32_t>(std::fma(expected, 10000.0f, 0.5f))};
        ASSERT_EQ(std::memcmp(&engine->blurResult, &expectedBlur, sizeof expectedBlur), 0);
        ASSERT_TRUE(expectedBlur.format == 0 ||
                    (blur.data == &engine->blurResult && blur.size == 16));
    }

    // Plane 0 holds the bytes from the first to the last one that the grid needs, and nothing else.
    void measureTight(__tag_KIRO_OFFSCREEN image, __tag_rect* region) {
        const __tag_rect grid = plainGrid(image.width, image.height, region);
        const int64_t pixel = bytesPerPixel(image.format);
        const int64_t first = grid.top * int64_t{image.pitches[0]};
        const int64_t last = (grid.bottom - 2) * int64_t{image.pitches[0]};
        const int64_t begin = std::min(first, last) + grid.left * pixel;
        const int64_t end =
            std::max(first, last) + (grid.right - 2) * pixel + (image.format == 0x501 ? 1 : pixel);
        const bool isEmpty = grid.left >= grid.right || grid.top >= grid.bottom;
        const GuardedMemory memory(isEmpty ? 0 : static_cast<size_t>(end - begin));
        if (!isEmpty) {
            random.fill(memory.data(), end - begin);
            image.planes[0] =
                reinterpret_cast<unsigned char*>(reinterpret_cast<intptr_t>(memory.data()) - begin);
        }
        expectPlainValue(image, region);
    }

    void measureAny() {
        widestVectors = random.oneOf({Vectors::Baseline, Vectors::Avx512});
        const auto format =
            random.oneOf({0x601u, 0x603u, 0x801u, 0x802u, 0x803u, 0x501u, 0x101u, 0x304u});
        const auto side = [&](int64_t most) {
            return 2 * random.between<int32_t>(0, random.oneOf<int64_t>({6, most})) +
                   random.chance(10);
        };
        const int32_t width = side(random.oneOf<int64_t>({50, 50, 200}));
        const int32_t height = side(50);
        const auto padding = random.between<int32_t>(0, random.oneOf<int64_t>({0, 9, 3000}));
        const int32_t pitch = width * bytesPerPixel(format) + padding;
        const __tag_rect given = random.rectInside(std::max(width, 1), std::max(height, 1));
        __tag_rect region = given;
        const bool whole = width == 0 || height == 0 || random.chance(50);
        measureTight({format, width, height, {}, {random.chance(30) ? -pitch : pitch}},
                     whole ? nullptr : &region);
        ASSERT_EQ(std::memcmp(&region, &given, sizeof given), 0);
    }

    Random& random;
    _tag_DRAV_ENGINE* engine = nullptr;
    _tag_DRAV_DATA blur = {};
    _tag_DRAV_BLURRESULT expectedBlur = {};
};
