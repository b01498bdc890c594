// Float to integer conversions that are defined for every value.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace kelvane {

// Truncates toward zero; values beyond the target's range saturate and NaN gives 0, which is what
// the Arm conversion instructions do and what a plain cast leaves undefined.
template <typename Integer, typename Float>
Integer truncateTo(Float value) {
    constexpr Integer lowest = std::numeric_limits<Integer>::min();
    constexpr Integer highest = std::numeric_limits<Integer>::max();
    // Both bounds are powers of two and therefore exact: -2^(n-1) and 2^(n-1).
    constexpr Float lower = static_cast<Float>(lowest);
    constexpr Float upper = -lower;
    if (value >= upper)
        return highest;
    if (value <= lower)
        return lowest;
    return value == value ? static_cast<Integer>(value) : Integer{0};
}

// a * b + 0.5 as one fused operation, truncated: rounding of non-negative products.
template <typename Integer>
Integer roundedProduct(float a, float b) {
    return truncateTo<Integer>(std::fma(a, b, 0.5f));
}

} // namespace kelvane
