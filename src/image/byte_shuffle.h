// Byte shuffles by an index vector: every 64-bit Arm processor has them, x86-64 since SSSE3.
#pragma once

#if defined(__x86_64__)
#define KELVANE_SHUFFLE_SSSE3
#define KELVANE_TARGET_SHUFFLE __attribute__((target("ssse3")))
#include <cpuid.h>
#include <tmmintrin.h>
#elif defined(__aarch64__)
#define KELVANE_SHUFFLE_NEON
#include <arm_neon.h>
#endif

namespace kelvane {

#if defined(KELVANE_SHUFFLE_SSSE3)

// Asked in every call that can gain from it, since the library keeps no state of its own; under a
// hypervisor the answer takes some microseconds.
inline bool hasByteShuffle() {
    unsigned a = 0, b = 0, c = 0, d = 0;
    __cpuid(1, a, b, c, d);
    return (c & bit_SSSE3) != 0;
}

inline __m128i loadVector(const void* bytes) {
    return _mm_loadu_si128(static_cast<const __m128i*>(bytes));
}

inline __m128i loadHalfVector(const void* bytes) {
    return _mm_loadl_epi64(static_cast<const __m128i*>(bytes));
}

inline void storeVector(void* bytes, __m128i vector) {
    _mm_storeu_si128(static_cast<__m128i*>(bytes), vector);
}

#elif defined(KELVANE_SHUFFLE_NEON)

inline bool hasByteShuffle() { return true; }

#else

inline bool hasByteShuffle() { return false; }

#endif

} // namespace kelvane
