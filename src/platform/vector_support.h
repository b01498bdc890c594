// Which vector instructions a call may use beyond those that every processor has.
#pragma once

#include <cstdint>

namespace kelvane {

#if defined(__x86_64__)

bool processorHasAvx2();

// Asks the processor on every call, as the library keeps no state. Under a hypervisor the answer
// takes about 10 microseconds, more than an image below this size gains from it.
inline bool usesAvx2(int64_t width, int64_t height) {
    constexpr int64_t worthwhilePixels = 1 << 18;
    return height > worthwhilePixels / width && processorHasAvx2();
}

#endif

} // namespace kelvane
