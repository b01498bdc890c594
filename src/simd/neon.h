// What the kernels need of the instruction set: NEON, which every 64-bit Arm processor has.
#pragma once

#define KELVANE_TARGET neon

#include <arm_neon.h>
#include <cstdint>

namespace kelvane::neon {

namespace {

constexpr int64_t vectorBytes = 16;

} // namespace

} // namespace kelvane::neon

#include "simd/vectors.h"

namespace kelvane::neon {

namespace {} // namespace

} // namespace kelvane::neon
