// The horizontal pass with byte shuffles: eight samples from a few 16-byte windows of the row.
#pragma once

#include <cstdint>

namespace kelvane {

// One sample: 128 * row[first] + weight * (row[second] - row[first]).
struct Tap {
    uint32_t first; // byte indexes in the source row, first <= second
    uint32_t second : 24;
    uint32_t weight : 8; // 0..128
};

inline Tap makeTap(int64_t first, int64_t second, uint32_t weight) {
    return {static_cast<uint32_t>(first), static_cast<uint32_t>(second) & 0xFFFFFF, weight & 0xFF};
}

// Eight taps, in one, two or four windows that serve as many of them each. Bytes and weights lie as
// the processor's instructions want them.
struct ShuffleGroup {
    static constexpr int64_t size = 8;
    uint32_t starts[4];
    unsigned char bytes[16];
    unsigned char weights[16];
};

static_assert(sizeof(Tap) == 8 && sizeof(ShuffleGroup) <= ShuffleGroup::size * sizeof(Tap));

// False when the taps do not fit `windows` windows (1, 2 or 4) inside a row of `rowBytes` bytes.
bool makeShuffleGroup(const Tap* taps, int64_t rowBytes, int64_t windows, ShuffleGroup* group);

// Makes 8 * `count` samples. Reads nothing outside the windows.
void resampleByShuffle(const unsigned char* row, const ShuffleGroup* groups, int64_t count,
                       int64_t windows, int16_t* values);

} // namespace kelvane
