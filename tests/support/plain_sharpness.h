// The sharpness measure as its definition reads, one pixel at a time.
#pragma once

#include "kelvane/kelvane.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

// The edges of the sampled area, all multiples of 4.
inline __tag_rect plainGrid(int32_t width, int32_t height, const __tag_rect* region) {
    const auto down4 = [](int32_t value) { return value / 4 * 4; };
    if (region != nullptr)
        return {down4(region->left), down4(region->top), down4(region->right),
                down4(region->bottom)};
    const int32_t side = std::min(width, height);
    const int32_t margin = side - static_cast<int32_t>(static_cast<float>(side) * 0.8f);
    const int32_t cropWidth = down4(width - margin);
    const int32_t cropHeight = down4(height - margin);
    const int32_t left = down4((width - cropWidth) / 2);
    const int32_t top = down4((height - cropHeight) / 2);
    return {left, top, down4(std::min(left + cropWidth, width)),
            down4(std::min(top + cropHeight, height))};
}

inline int32_t bytesPerPixel(uint32_t format) {
    return format == 0x304 ? 4 : format == 0x501 || format == 0x101 ? 2 : 1;
}

inline int plainSample(const __tag_KIRO_OFFSCREEN& image, int64_t x, int64_t y) {
    int sums[3] = {}; // of luma, or of red, green and blue
    for (const int64_t row : {y, y + 2}) {
        for (const int64_t column : {x, x + 2}) {
            const unsigned char* const p =
                image.planes[0] + row * image.pitches[0] + column * bytesPerPixel(image.format);
            const int word = image.format == 0x101 ? p[0] + 256 * p[1] : 0;
            const int fields[] = {word / 2048, word / 32 % 64, word % 32};
            for (int i = 0; i < 3; ++i)
                sums[i] += image.format == 0x101   ? fields[i]
                           : image.format == 0x304 ? p[i + 1]
                           : i == 0                ? p[0]
                                                   : 0;
        }
    }
    if (image.format == 0x101)
        return (9798 * sums[0] + 9617 * sums[1] + 3736 * sums[2] + 8192) / 16384;
    if (image.format == 0x304)
        return (4899 * sums[0] + 9617 * sums[1] + 1868 * sums[2] + 8192) / 65536;
    return (sums[0] + 2) / 4;
}

// For arguments that are accepted; 0 where there is no grid.
inline float plainSharpness(const __tag_KIRO_OFFSCREEN& image, const __tag_rect* region) {
    const __tag_rect grid = plainGrid(image.width, image.height, region);
    if (grid.left >= grid.right || grid.top >= grid.bottom)
        return 0.0f;
    int64_t sum = 0;
    std::vector<int> above;
    for (int64_t y = grid.top; y < grid.bottom; y += 4) {
        std::vector<int> row;
        for (int64_t x = grid.left; x < grid.right; x += 4)
            row.push_back(plainSample(image, x, y));
        for (size_t x = 1; !above.empty() && x < row.size(); ++x)
            sum += std::abs(row[x - 1] - row[x]) + std::abs(above[x] - row[x]);
        above = row;
    }
    return static_cast<float>(sum) / static_cast<float>((grid.right - grid.left) / 4) /
           static_cast<float>((grid.bottom - grid.top) / 4);
}
