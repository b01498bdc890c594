// Plain vectors of GCC and Clang, for processors without a header of their own.
#pragma once

#define KELVANE_TARGET portable

#include <cstdint>

namespace kelvane::portable {

namespace {

constexpr int64_t vectorBytes = 16;

} // namespace

} // namespace kelvane::portable

#include "simd/operations.h"

namespace kelvane::portable {

namespace {

using Gather = NoGather;

} // namespace

} // namespace kelvane::portable
