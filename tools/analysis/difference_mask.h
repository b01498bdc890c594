// The library's changed region in plain steps. Its smoothing and its morphology are taken as given.
#pragma once

#include "base/shift.h"
#include "kelvane/kelvane.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

// Rows of luma in the memory of others.
struct LumaRows {
    const unsigned char* data;
    int64_t pitch;
};

// In the second frame's coordinates: 0 where it is brighter than the first, 255 where it is darker,
// `unchanged` elsewhere. The rows are as long as the library's own, since the number of smoothing
// passes depends on whether they are padded.
struct DifferenceMask {
    static constexpr unsigned char unchanged = 128;

    int64_t width;
    int64_t height;
    int64_t pitch = (width + 3) / 4 * 4;
    std::vector<unsigned char> pixels =
        std::vector<unsigned char>(static_cast<size_t>(pitch * height), unchanged);

    // Compares two frames of the mask's size. Returns ERR_NONE, or what a filter returned.
    long compare(const LumaRows& first, const LumaRows& second, Shift shift) {
        subtract(first, second, shift);
        unsigned char* const mask = pixels.data();
        const int64_t shorter = std::min(width, height), radius = shorter / 100;
        long code = GB_GaussianBlurA(nullptr, mask, width, height, pitch, 0, mask, shorter / 128);
        std::transform(pixels.begin(), pixels.end(), mask, classOf);
        if (code == ERR_NONE)
            code = sbrOpen(nullptr, mask, width, height, pitch, 1, mask, radius);
        if (code == ERR_NONE)
            code = sbrClose(nullptr, mask, width, height, pitch, 1, mask, radius);
        return code;
    }

private:
    // Half the difference of what both frames show, 127 where they agree. A margin of the shift is
    // left out on every side of the first frame.
    void subtract(const LumaRows& first, const LumaRows& second, Shift shift) {
        const int64_t marginX = std::abs(shift.dx), marginY = std::abs(shift.dy);
        for (int64_t y = marginY; y < height - marginY; ++y) {
            const unsigned char* const a = first.data + y * first.pitch;
            const unsigned char* const b = second.data + (y - shift.dy) * second.pitch;
            unsigned char* const row = pixels.data() + (y - shift.dy) * pitch;
            for (int64_t x = marginX; x < width - marginX; ++x)
                row[x - shift.dx] = static_cast<unsigned char>((a[x] - b[x - shift.dx] + 255) / 2);
        }
    }

    static unsigned char classOf(unsigned char difference) {
        if (difference < 100)
            return 0;
        return difference > 150 ? 255 : unchanged;
    }
};
