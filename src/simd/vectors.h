// Vectors of the compiler's own kind, as long as the registers of the target at hand, which has
// defined `KELVANE_TARGET`, the name of its namespace, and `vectorBytes`. Everything that a target
// compiles has internal linkage, so that no code of one instruction set is ever shared with
// another.
#pragma once

#include <cstdint>
#include <cstring>
#include <utility>

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

// From the lane `first` on every second one of both, block by block of 16 bytes: two of the one,
// then two of the other.
template <int first, int... lane>
[[gnu::always_inline]] inline U32 everySecond(U32 a, U32 b, std::integer_sequence<int, lane...>) {
    return __builtin_shufflevector(
        a, b, (lane / 4 * 4 + lane % 2 * 2 + first + lane % 4 / 2 * (vectorBytes / 4))...);
}

using LaneIndexes = std::make_integer_sequence<int, vectorBytes / 4>;

[[gnu::always_inline]] inline U32 evenLanes(U32 a, U32 b) {
    return everySecond<0>(a, b, LaneIndexes());
}
[[gnu::always_inline]] inline U32 oddLanes(U32 a, U32 b) {
    return everySecond<1>(a, b, LaneIndexes());
}

template <int... lane>
[[gnu::always_inline]] inline U8 lanesBelow(int64_t count, std::integer_sequence<int, lane...>) {
    return (U8)(U8{lane...} < static_cast<uint8_t>(count));
}

// All bits of the first `count` bytes.
[[gnu::always_inline]] inline U8 firstLanes(int64_t count) {
    return lanesBelow(count, std::make_integer_sequence<int, vectorBytes>());
}

[[gnu::always_inline]] inline int64_t sumOfLanes(U64 a) {
    int64_t sum = 0;
    for (int64_t i = 0; i < vectorBytes / 8; ++i)
        sum += static_cast<int64_t>(a[i]);
    return sum;
}

} // namespace

} // namespace kelvane::KELVANE_TARGET
