// The kernels of one instruction set, compiled with the operations that the including file has
// brought, and their table.
#include "simd/kernels.h"

#include "simd/kernels/box_windows.h"

namespace kelvane::KELVANE_TARGET {

constinit const Kernels kernels = {
    .filterBoxWindows = filterBoxWindows,
};

} // namespace kelvane::KELVANE_TARGET
