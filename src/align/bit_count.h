// Population counts, shaped so that compilers count in vectors.
#pragma once

#include <cstdint>

namespace kelvane {

// The count of each byte in that byte: the counts of ever wider fields are added in parallel.
template <typename Word>
constexpr Word countsOfBytes(Word word) {
    constexpr Word ones = static_cast<Word>(~Word{0});
    word -= word >> 1 & ones / 3;
    word = (word & ones / 5) + (word >> 2 & ones / 5);
    return (word + (word >> 4)) & ones / 17;
}

// Each byte of a word holds the sum of so many counts without overflow.
constexpr int64_t countsPerByte = 31;

constexpr int64_t sumOfBytes(uint32_t counts) {
    const uint32_t pairs = (counts & 0x00FF00FF) + (counts >> 8 & 0x00FF00FF);
    return (pairs & 0xFFFF) + (pairs >> 16);
}

constexpr int64_t sumOfBytes(uint64_t counts) {
    return sumOfBytes(static_cast<uint32_t>(counts)) +
           sumOfBytes(static_cast<uint32_t>(counts >> 32));
}

} // namespace kelvane
