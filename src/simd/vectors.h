// Vectors of the compiler's own kind, as long as the registers of the target at hand, which has
// defined `KELVANE_TARGET`, the name of its namespace, and `vectorBytes`. Everything that a target
// compiles has internal linkage, so that no code of one instruction set is ever shared with
// another.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>
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

template <int constant>
using Constant = std::integral_constant<int, constant>;

template <typename Vector>
using Lane = std::remove_reference_t<decltype(Vector{}[0])>;

template <typename Vector>
constexpr int laneCount = sizeof(Vector) / sizeof(Lane<Vector>);

template <typename Vector>
using LaneIndexes = std::make_integer_sequence<int, laneCount<Vector>>;

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

template <typename Value>
[[gnu::always_inline]] inline Value smaller(Value a, Value b) {
    return a < b ? a : b;
}

template <typename Value>
[[gnu::always_inline]] inline Value larger(Value a, Value b) {
    return a > b ? a : b;
}

// Where a vector of `size` elements starts that shall process from `position`: the last one of a
// row goes over some elements again, so that it ends with the row.
[[gnu::always_inline]] inline int64_t vectorStart(int64_t position, int64_t size, int64_t count) {
    return smaller(position, count - size);
}

template <typename Vector, typename ValueAt, int... lane>
[[gnu::always_inline]] inline Vector generated(ValueAt, std::integer_sequence<int, lane...>) {
    return Vector{static_cast<Lane<Vector>>(ValueAt{}(lane))...};
}

// The constant vector with valueAt(i) in lane i.
template <typename Vector, typename ValueAt>
[[gnu::always_inline]] inline Vector generated(ValueAt valueAt) {
    return generated<Vector>(valueAt, LaneIndexes<Vector>());
}

template <typename Vector, typename LaneAt, int... lane>
[[gnu::always_inline]] inline Vector shuffled(Vector a, Vector b, LaneAt,
                                              std::integer_sequence<int, lane...>) {
    return __builtin_shufflevector(a, b, LaneAt{}(lane)...);
}

// In lane i the lane laneAt(i) of both, those of `b` counted after those of `a`.
template <typename Vector, typename LaneAt>
[[gnu::always_inline]] inline Vector shuffled(Vector a, Vector b, LaneAt laneAt) {
    return shuffled(a, b, laneAt, LaneIndexes<Vector>());
}

// All bits of the first `count` lanes.
template <typename Vector>
[[gnu::always_inline]] inline Vector firstLanes(int64_t count) {
    return (Vector)(generated<Vector>([](int i) { return i; }) < static_cast<Lane<Vector>>(count));
}

// How a set gathers the samples of a resize (simd/kernels/row_resampling.h) when it cannot: it has
// no byte shuffles.
struct NoGather {
    static constexpr bool isPossible = false;
};

[[gnu::always_inline]] inline int64_t sumOfLanes(U64 a) {
    int64_t sum = 0;
    for (int i = 0; i < laneCount<U64>; ++i)
        sum += static_cast<int64_t>(a[i]);
    return sum;
}

} // namespace

} // namespace kelvane::KELVANE_TARGET
