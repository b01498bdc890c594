// Which vector instructions there are beyond those that every processor has. The compiler's runtime
// asks the processor when the library is loaded.
#pragma once

#include <cstdint>

namespace kelvane {

#if defined(__x86_64__)
bool hasAvx2();
bool hasAvx512(); // the foundation with BW, DQ, VL and VBMI

// Rows that fill no vector are faster without.
inline bool usesAvx2(int64_t width) { return width >= 16 && hasAvx2(); }
inline bool usesAvx512(int64_t width) { return width >= 64 && hasAvx512(); }
#endif

} // namespace kelvane
