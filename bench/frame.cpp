#include "frame.h"

#include <algorithm>
#include <cstring>
#include <random>

namespace {

constexpr int cacheLine = 64;

uint64_t blockGrade(int x, int y, int shift) {
    uint64_t h = static_cast<uint64_t>((x >> shift) + 4096) * 0x9E3779B97F4A7C15 +
                 static_cast<uint64_t>((y >> shift) + 4096) * 0xC2B2AE3D27D4EB4F;
    h = (h ^ h >> 31) * 0xBF58476D1CE4E5B9;
    return ((h ^ h >> 29) * 0x94D049BB133111EB) >> 56;
}

int sceneAt(int x, int y) {
    return static_cast<int>((3 * blockGrade(x, y, 7) + 2 * blockGrade(x, y, 5) +
                             2 * blockGrade(x, y, 3) + blockGrade(x, y, 1)) /
                            8);
}

int pixelBytes(uint32_t format, int plane) {
    return plane == 0 ? bytesPerPixel(format) : (format == KELVANE_FORMAT_YUV420_CRCB ? 2 : 1);
}

template <typename Value>
void fillGrey565(unsigned char* row, int width, const Value& value) {
    for (int x = 0; x < width; ++x) {
        const int grey = value(x);
        const int pixel = grey >> 3 << 11 | grey >> 2 << 5 | grey >> 3;
        row[2 * x] = static_cast<unsigned char>(pixel & 255);
        row[2 * x + 1] = static_cast<unsigned char>(pixel >> 8);
    }
}

} // namespace

int planeCount(uint32_t format) {
    if (format == KELVANE_FORMAT_YUV420)
        return 3;
    return format == KELVANE_FORMAT_YUV420_CRCB ? 2 : 1;
}

int bytesPerPixel(uint32_t format) {
    switch (format) {
    case KELVANE_FORMAT_RGB565:
    case KELVANE_FORMAT_YUYV: return 2;
    case KELVANE_FORMAT_BGR24: return 3;
    case KELVANE_FORMAT_XRGB32: return 4;
    default: return 1;
    }
}

PlaneShape planeShape(uint32_t format, int plane, Size size) {
    if (plane == 0)
        return {size.width * bytesPerPixel(format), size.height};
    return {size.width / 2 * pixelBytes(format, plane), size.height / 2};
}

Frame::Frame(uint32_t format, Size size, int padding) {
    image.format = format;
    image.width = size.width;
    image.height = size.height;
    size_t offsets[4] = {};
    for (int plane = 0; plane < planeCount(format); ++plane) {
        const PlaneShape shape = planeShape(format, plane, size);
        image.pitches[plane] = shape.rowBytes + padding;
        offsets[plane] = byteCount;
        const auto planeBytes =
            static_cast<size_t>(image.pitches[plane]) * static_cast<size_t>(shape.rows);
        byteCount += (planeBytes + cacheLine - 1) / cacheLine * cacheLine;
    }
    memory.reset(static_cast<unsigned char*>(std::aligned_alloc(cacheLine, byteCount)));
    std::memset(memory.get(), 0, byteCount); // every page is there before the clock runs
    for (int plane = 0; plane < planeCount(format); ++plane)
        image.planes[plane] = memory.get() + offsets[plane];
}

void Frame::paint(int dx, int dy) {
    std::minstd_rand random(static_cast<unsigned>(1 + dx * dx + dy * dy));
    const auto noise = [&] { return static_cast<int>(random() >> 20 & 7); };
    for (int plane = 0; plane < planeCount(image.format); ++plane) {
        const PlaneShape shape = planeShape(image.format, plane, size());
        const int step = pixelBytes(image.format, plane);
        for (int y = 0; y < shape.rows; ++y) {
            unsigned char* const row = image.planes[plane] + int64_t{y} * image.pitches[plane];
            const auto value = [&](int x) {
                return std::min(255, sceneAt(dx + x, dy + y) + noise());
            };
            if (image.format == KELVANE_FORMAT_RGB565)
                fillGrey565(row, image.width, value);
            else // channels show neighbouring places
                for (int i = 0; i < shape.rowBytes; ++i)
                    row[i] = static_cast<unsigned char>(value(i / step + 37 * (plane + i % step)));
        }
    }
}

void Frame::copyFrom(const Frame& other) {
    std::memcpy(memory.get(), other.memory.get(), std::min(byteCount, other.byteCount));
}
