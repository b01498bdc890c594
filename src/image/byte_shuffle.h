// Byte shuffles by an index vector: every 64-bit Arm processor has them, x86-64 since SSSE3.
#pragma once

#if defined(__x86_64__)
#define KELVANE_SHUFFLE_SSSE3
#define KELVANE_TARGET_SHUFFLE __attribute__((target("ssse3")))
#include <tmmintrin.h>
#elif defined(__aarch64__)
#define KELVANE_SHUFFLE_NEON
#include <arm_neon.h>
#endif

namespace kelvane {

#if defined(KELVANE_SHUFFLE_SSSE3)

inline __m128i loadVector(const void* bytes) {
    return _mm_loadu_si128(static_cast<const __m128i*>(bytes));
}

inline __m128i loadHalfVector(const void* bytes) {
    return _mm_loadl_epi64(static_cast<const __m128i*>(bytes));
}

inline void storeVector(void* bytes, __m128i vector) {
    _mm_storeu_si128(static_cast<__m128i*>(bytes), vector);
}

#endif

} // namespace kelvane
