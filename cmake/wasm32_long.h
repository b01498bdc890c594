// Included before everything that is compiled for WebAssembly: `long`, which the interface measures
// in, has 64 bits as on every other platform. The standard library keeps the compiler's own, and so
// comes first.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cassert>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <numeric>
#include <span>
#include <type_traits>
#include <utility>
#if __has_include(<gtest/gtest.h>)
#include <gtest/gtest.h>

#include <functional>
#include <iostream>
#include <random>
#endif

#ifdef __wasm_simd128__
#include <wasm_simd128.h>
#endif

#undef LONG_MAX
#undef LONG_MIN
#define LONG_MAX INT64_MAX
#define LONG_MIN INT64_MIN
#define long long long
