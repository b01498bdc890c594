// What the kernels need of the instruction set: AVX-512 with byte permutations and bit counts.
#pragma once

#define KELVANE_TARGET avx512

#include <cstdint>
#include <immintrin.h>

namespace kelvane::avx512 {

namespace {

constexpr int64_t vectorBytes = 64;

} // namespace

} // namespace kelvane::avx512

#include "simd/vectors.h"

namespace kelvane::avx512 {

namespace {} // namespace

} // namespace kelvane::avx512
