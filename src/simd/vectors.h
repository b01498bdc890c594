// Vectors of the compiler's own kind, as long as the registers of the target at hand, which has
// defined `KELVANE_TARGET`, the name of its namespace, and `vectorBytes`. Everything that a target
// compiles has internal linkage, so that no code of one instruction set is ever shared with
// another.
#pragma once

#include <cstdint>
#include <cstring>

namespace kelvane::KELVANE_TARGET {

namespace {

using U8 [[gnu::vector_size(vectorBytes)]] = uint8_t;
using U16 [[gnu::vector_size(vectorBytes)]] = uint16_t;
using I16 [[gnu::vector_size(vectorBytes)]] = int16_t;
using U32 [[gnu::vector_size(vectorBytes)]] = uint32_t;
using I32 [[gnu::vector_size(vectorBytes)]] = int32_t;
using U64 [[gnu::vector_size(vectorBytes)]] = uint64_t;

// What interleaved bytes hold: a vector of the bytes of each channel.
template <int count>
struct Channels {
    U8 vectors[count];
};

// A vector, or a single value for what no vector fits.
template <typename Value>
[[gnu::always_inline]] inline Value load(const void* bytes) {
    Value value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

template <typename Value>
[[gnu::always_inline]] inline void store(void* bytes, Value value) {
    std::memcpy(bytes, &value, sizeof value);
}

template <typename Lane>
struct Lanes {
    alignas(vectorBytes) Lane lanes[vectorBytes / static_cast<int64_t>(sizeof(Lane))] = {};
};

// One number after the other.
template <typename Lane, int first>
constexpr Lanes<Lane> numbersFrom = [] {
    Lanes<Lane> numbers;
    Lane number = first;
    for (Lane& lane : numbers.lanes)
        lane = number++;
    return numbers;
}();

template <typename Value>
[[gnu::always_inline]] inline Value smaller(Value a, Value b) {
    return a < b ? a : b;
}

template <typename Value>
[[gnu::always_inline]] inline Value larger(Value a, Value b) {
    return a > b ? a : b;
}

#ifndef KELVANE_MASKS_BYTES
// The first bytes, at most a vector's, and zeros.
[[gnu::always_inline]] inline U8 loadFirst(const uint8_t* bytes, int64_t count) {
    U8 value = {};
    std::memcpy(&value, bytes, static_cast<size_t>(count));
    return value;
}

[[gnu::always_inline]] inline void storeFirst(uint8_t* bytes, U8 value, int64_t count) {
    std::memcpy(bytes, &value, static_cast<size_t>(count));
}
#endif

// Where a vector of `size` elements starts that shall process from `position`: the last one of a
// row goes over some elements again, so that it ends with the row.
[[gnu::always_inline]] inline int64_t vectorStart(int64_t position, int64_t size, int64_t count) {
    return smaller(position, count - size);
}

} // namespace

} // namespace kelvane::KELVANE_TARGET
