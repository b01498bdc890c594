// What the kernels need of the instruction set: AVX2.
#pragma once

#define KELVANE_TARGET avx2

#include <cstdint>
#include <immintrin.h>

namespace kelvane::avx2 {

namespace {

constexpr int64_t vectorBytes = 32;

} // namespace

} // namespace kelvane::avx2

#include "simd/vectors.h"

namespace kelvane::avx2 {

namespace {} // namespace

} // namespace kelvane::avx2
