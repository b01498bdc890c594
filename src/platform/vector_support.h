// Until every caller takes its kernels from simd/kernels.h.
#pragma once

#include "simd/levels.h"

namespace kelvane {

inline bool hasAvx2() { return hasLevel(Level::Avx2); }
inline bool hasAvx512() { return hasLevel(Level::Avx512); }
inline bool usesAvx2(int64_t width) { return width >= 16 && hasAvx2(); }
inline bool usesAvx512(int64_t width) { return width >= 64 && hasAvx512(); }

} // namespace kelvane
