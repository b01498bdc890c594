#pragma once

#include <array>
#include <cstdint>
#include <functional>

// Luma and chroma as a video codec decodes them, valid while they are visited.
struct CodedPlanes {
    struct Plane {
        const uint8_t* data = nullptr;
        int64_t pitch = 0; // in bytes
    };

    int width = 0;
    int height = 0;
    int bitDepth = 8;
    int sampleBytes = 1;
    int count = 3; // of planes; 1: luma only
    int chromaShiftX = 0;
    int chromaShiftY = 0;
    bool fullRange = false;
    int matrix = 2; // ITU-T H.273; 2: not specified
    std::array<Plane, 3> planes;
};

using CodedPlanesVisitor = std::function<void(const CodedPlanes&)>;
