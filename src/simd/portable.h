// What the kernels need of the instruction set: plain vectors of GCC and Clang, for processors
// without a header of their own.
#pragma once

#define KELVANE_TARGET portable

#include <cstdint>

namespace kelvane::portable {

namespace {

constexpr int64_t vectorBytes = 16;

} // namespace

} // namespace kelvane::portable

#include "simd/vectors.h"

namespace kelvane::portable {

namespace {} // namespace

} // namespace kelvane::portable
