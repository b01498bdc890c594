#include "analysis/samples.h"

#include "analysis/engine.h"

#include <algorithm>

LumaImage sampleLuma(const __tag_KIRO_OFFSCREEN& image) {
    LumaImage samples = {image.width / sampleStep, image.height / sampleStep, {}};
    samples.pixels.resize(static_cast<size_t>(samples.width) * static_cast<size_t>(samples.height));
    unsigned char* out = samples.pixels.data();
    for (int32_t y = 0; y < samples.height; ++y) {
        const unsigned char* upper = image.planes[0] + int64_t{sampleStep} * y * image.pitches[0];
        const unsigned char* lower = upper + 2 * int64_t{image.pitches[0]};
        for (int32_t x = 0; x < samples.width; ++x, upper += sampleStep, lower += sampleStep)
            *out++ =
                static_cast<unsigned char>((upper[0] + upper[2] + lower[0] + lower[2] + 2) / 4);
    }
    return samples;
}

int64_t measurePart(const LumaImage& samples, __tag_rect part) {
    const int32_t columns = (part.right - part.left) / sampleStep;
    const int32_t rows = (part.bottom - part.top) / sampleStep;
    // Each sample takes the place of the pixels that it was made of.
    LumaImage picture = {sampleStep * columns, sampleStep * rows, {}};
    for (int32_t y = 0; y < picture.height; ++y) {
        const unsigned char* const row = samples.pixels.data() +
                                         int64_t{(part.top + y) / sampleStep} * samples.width +
                                         part.left / sampleStep;
        for (int32_t x = 0; x < columns; ++x)
            picture.pixels.insert(picture.pixels.end(), sampleStep, row[x]);
    }
    return measurePart(picture, {0, 0, picture.width, picture.height});
}

__tag_rect centredCrop(int32_t width, int32_t height) {
    const int32_t shorter = std::min(width, height);
    const int32_t margin = shorter - static_cast<int32_t>(static_cast<float>(shorter) * 0.8f);
    const auto roundedDown = [](int32_t value) { return value & -sampleStep; };
    const int32_t columns = roundedDown(width - margin), rows = roundedDown(height - margin);
    const int32_t left = roundedDown((width - columns) / 2), top = roundedDown((height - rows) / 2);
    return {left, top, left + columns, top + rows};
}
