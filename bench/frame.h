// Frames of textured pseudo-random content.
#pragma once

#include "kelvane/kelvane.h"

#include <cstdint>
#include <cstdlib>
#include <memory>

struct Size {
    int width;
    int height;
};

// What one plane of a format holds.
struct PlaneShape {
    int rowBytes;
    int rows;
};

int planeCount(uint32_t format);
int bytesPerPixel(uint32_t format); // of plane 0
PlaneShape planeShape(uint32_t format, int plane, Size size);

// An image with its memory; every plane begins at a cache line.
class Frame {
public:
    Frame() = default;
    Frame(uint32_t format, Size size, int padding);

    // Shows the scene from `dx`, `dy` on: blocks of four sizes above each other, and some noise.
    void paint(int dx, int dy);
    void copyFrom(const Frame& other);

    Size size() const { return {image.width, image.height}; }

    // The functions under measurement take a mutable descriptor.
    mutable __tag_KIRO_OFFSCREEN image{};

private:
    struct Release {
        void operator()(unsigned char* bytes) const { std::free(bytes); }
    };
    std::unique_ptr<unsigned char, Release> memory;
    size_t byteCount = 0;
};
