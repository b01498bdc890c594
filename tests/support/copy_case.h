// Random copies of images.
#pragma once

#include "image_check.h"

inline void expectCopied(Random& random) {
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
    for (size_t k = 0; k < expected.size(); ++k)
        ASSERT_EQ(dst.planes[k].content(), expected[k]) << format;
}
