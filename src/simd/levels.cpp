#include "simd/levels.h"

namespace kelvane {

bool hasLevel(Level level) {
#if defined(__x86_64__) && !defined(KELVANE_PORTABLE)
    switch (level) {
    case Level::Baseline: return true;
    case Level::Avx2: return __builtin_cpu_supports("avx2") != 0;
    case Level::Avx512:
        return __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512bw") != 0 &&
               __builtin_cpu_supports("avx512dq") != 0 && __builtin_cpu_supports("avx512vl") != 0 &&
               __builtin_cpu_supports("avx512vbmi") != 0 &&
               __builtin_cpu_supports("avx512vpopcntdq") != 0;
    }
    return false;
#else
    return level == Level::Baseline;
#endif
}

const char* nameOf(Level level) {
    switch (level) {
    case Level::Avx2: return "AVX2";
    case Level::Avx512: return "AVX-512";
    default: break;
    }
#if defined(KELVANE_PORTABLE)
    return "portable vectors";
#elif defined(__x86_64__)
    return "SSE2";
#elif defined(__aarch64__)
    return "NEON";
#else
    return "portable vectors";
#endif
}

} // namespace kelvane
