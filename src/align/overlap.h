// Where two planes of one size overlap after a displacement.
#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>

namespace kelvane {

// The displacement d compares a(p) with b(p - d). It is brought to the form in which `b` is entered
// from column `shift` on: for dx > 0 the planes exchange roles, as a(p) against b(p - d) is
// b(q) against a(q + d).
struct Overlap {
    const unsigned char* a; // first overlapping row, from column 0
    const unsigned char* b; // first overlapping row, from its first byte
    int64_t shift;          // columns into b
    int64_t dy;             // after the exchange
    bool exchanged;

    Overlap(const unsigned char* planeA, const unsigned char* planeB, int64_t rowBytes, int64_t dx,
            int64_t displacementY)
        : a(planeA), b(planeB), shift(dx > 0 ? dx : -dx),
          dy(dx > 0 ? -displacementY : displacementY), exchanged(dx > 0) {
        if (exchanged)
            std::swap(a, b);
        if (dy > 0)
            a += dy * rowBytes;
        else
            b -= dy * rowBytes;
    }
};

// How many of `length` positions remain after a displacement.
inline int64_t overlapLength(int64_t length, int64_t displacement) {
    return displacement < 0 ? length + displacement : length - displacement;
}

// The positions common to the three candidates around a centre, so that their counts compare.
inline int64_t commonLength(int64_t length, int64_t displacement, int64_t fromCentre) {
    return std::min(overlapLength(length, displacement - fromCentre) - 1,
                    overlapLength(length, displacement));
}

} // namespace kelvane
