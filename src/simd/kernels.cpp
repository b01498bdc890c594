#include "simd/kernels.h"

#include "simd/levels.h"

namespace kelvane {

const Kernels& kernelsFor([[maybe_unused]] int64_t rowBytes) {
#if defined(__x86_64__) && !defined(KELVANE_PORTABLE)
    if (rowBytes >= 64 && hasLevel(Level::Avx512))
        return avx512::kernels;
    if (rowBytes >= 32 && hasLevel(Level::Avx2))
        return avx2::kernels;
#endif
    return baseline::kernels;
}

} // namespace kelvane
