// The vectors of the box filter's row operations.
#pragma once

#include "platform/vectors.h"

namespace kelvane {

namespace {

// Long vectors would leave too much of a row over.
constexpr bool masksLanes = vectorBytes == 64;

using Words = uint16_t __attribute__((vector_size(vectorBytes)));
using Longs = uint32_t __attribute__((vector_size(vectorBytes)));

// Vectors of the bytes of each channel.
template <int channels>
struct Channels {
    Words bytes[channels];
};

} // namespace

} // namespace kelvane
