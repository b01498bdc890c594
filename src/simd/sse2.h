// What the kernels need of the instruction set: SSE2, which every x86-64 processor has.
#pragma once

#define KELVANE_TARGET sse2

#include <cstdint>
#include <emmintrin.h>

namespace kelvane::sse2 {

namespace {

constexpr int64_t vectorBytes = 16;

} // namespace

} // namespace kelvane::sse2

#include "simd/vectors.h"

namespace kelvane::sse2 {

namespace {} // namespace

} // namespace kelvane::sse2
