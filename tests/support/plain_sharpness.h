// The sharpness measure as its definition reads, one pixel at a time.
#pragma once

#include "kelvane/kelvane.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

struct PlainGrid {
    int64_t left, top, right, bottom;

    int64_t columns() const { return (right - left) / 4; }
    int64_t rows() const { return (bottom - top) / 4; }
    bool operator==(const PlainGrid&) const = default;
};

inline PlainGrid plainGrid(int64_t width, int64_t height, const __tag_rect* region) {
    const auto down4 = [](int64_t value) { return value / 4 * 4; };
    if (region != nullptr)
        return {down4(region->left), down4(region->top), down4(region->right),
                down4(region->bottom)};
    const int64_t side = width > height ? height : width;
    const int64_t margin = side - static_cast<int64_t>(static_cast<float>(side) * 0.8f);
    const int64_t cropWidth = down4(width - margin);
    const int64_t cropHeight = down4(height - margin);
    const int64_t left = down4((width - cropWidth) / 2);
    const int64_t top = down4((height - cropHeight) / 2);
    return {left, top, down4(std::min(left + cropWidth, width)),
            down4(std::min(top + cropHeight, height))};
}

inline int64_t bytesPerPixel(uint32_t format) {
    return format == 0x304 ? 4 : format == 0x501 || format == 0x101 ? 2 : 1;
}

inline int64_t plainSample(const __tag_KIRO_OFFSCREEN& image, int64_t x, int64_t y) {
    int64_t first = 0;
    int64_t second = 0;
    int64_t third = 0;
    for (const int64_t dy : {0, 2}) {
        for (const int64_t dx : {0, 2}) {
            const unsigned char* const p = image.planes[0] + (y + dy) * image.pitches[0] +
                                           (x + dx) * bytesPerPixel(image.format);
            if (image.format == 0x101) {
                const int pixel = p[0] + 256 * p[1];
                first += pixel / 2048;
                second += pixel / 32 % 64;
                third += pixel % 32;
            } else if (image.format == 0x304) {
                first += p[1];
                second += p[2];
                third += p[3];
            } else {
                first += p[0];
            }
        }
    }
    if (image.format == 0x101)
        return (9798 * first + 9617 * second + 3736 * third + 8192) / 16384;
    if (image.format == 0x304)
        return (4899 * first + 9617 * second + 1868 * third + 8192) / 65536;
    return (first + 2) / 4;
}

// For arguments that are accepted; 0 where there is no grid.
inline float plainSharpness(const __tag_KIRO_OFFSCREEN& image, const __tag_rect* region) {
    const PlainGrid grid = plainGrid(image.width, image.height, region);
    if (grid.columns() < 1 || grid.rows() < 1)
        return 0.0f;
    std::vector<int64_t> above;
    int64_t sum = 0;
    for (int64_t y = grid.top; y < grid.bottom; y += 4) {
        std::vector<int64_t> row;
        for (int64_t x = grid.left; x < grid.right; x += 4)
            row.push_back(plainSample(image, x, y));
        for (size_t x = 1; y > grid.top && x < row.size(); ++x)
            sum += std::abs(row[x - 1] - row[x]) + std::abs(above[x] - row[x]);
        above = row;
    }
    return static_cast<float>(sum) / static_cast<float>(grid.columns()) /
           static_cast<float>(grid.rows());
}
