#include "platform/vector_support.h"

#if defined(__x86_64__)

#include <cpuid.h>

namespace kelvane {

// The AVX2 flag alone does not tell whether the operating system saves the wide registers.
bool processorHasAvx2() {
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
    __cpuid(1, a, b, c, d);
    if ((c & bit_OSXSAVE) == 0 || (c & bit_AVX) == 0)
        return false;
    unsigned enabled = 0;
    unsigned upper = 0;
    __asm__("xgetbv" : "=a"(enabled), "=d"(upper) : "c"(0));
    constexpr unsigned vectorState = 0b110; // 128-bit and 256-bit registers
    if ((enabled & vectorState) != vectorState)
        return false;
    __cpuid_count(7, 0, a, b, c, d); // present wherever AVX is
    return (b & bit_AVX2) != 0;
}

} // namespace kelvane

#endif
