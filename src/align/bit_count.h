// Population counts.
#pragma once

#include <bit>
#include <cstdint>

namespace kelvane {

// Where the machine has no instruction for it, the counts of ever wider fields are added in
// parallel, inline: a call per word would stop the compiler from counting in vectors.
inline int64_t countBits(uint64_t word) {
#if defined(__POPCNT__) || defined(__aarch64__)
    return std::popcount(word);
#else
    word -= word >> 1 & 0x5555555555555555;
    word = (word & 0x3333333333333333) + (word >> 2 & 0x3333333333333333);
    word = (word + (word >> 4)) & 0x0F0F0F0F0F0F0F0F;
    return static_cast<int64_t>(word * 0x0101010101010101 >> 56);
#endif
}

} // namespace kelvane
