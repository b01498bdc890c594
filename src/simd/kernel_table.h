// The kernels of one instruction set, compiled with the operations that the including file has
// brought, and their table.
#include "simd/kernels.h"

#include "simd/kernels/box_rows.h"
#include "simd/kernels/box_windows.h"

namespace kelvane::KELVANE_TARGET {

constinit const Kernels kernels = {
    .moveBoxRows = moveBoxRows,
    .divideBoxRow = divideBoxRow,
    .filterBoxWindows = filterBoxWindows,
};

} // namespace kelvane::KELVANE_TARGET
