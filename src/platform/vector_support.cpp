// Not inline, so that tests can answer in the processor's place.
#include "platform/vector_support.h"

namespace kelvane {

#if defined(__x86_64__)

bool hasAvx2() { return __builtin_cpu_supports("avx2") != 0; }
bool hasAvx512() {
    return __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512bw") != 0 &&
           __builtin_cpu_supports("avx512dq") != 0 && __builtin_cpu_supports("avx512vl") != 0 &&
           __builtin_cpu_supports("avx512vbmi") != 0;
}

#endif

} // namespace kelvane
