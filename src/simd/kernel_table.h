// The kernels of one instruction set, compiled with the operations that the including file has
// brought, and their table.
#include "simd/kernels.h"
#include "simd/kernels/row_operations.h"
#include "simd/kernels/row_resampling.h"

namespace kelvane::KELVANE_TARGET {

constinit const Kernels kernels = {planRow, blendRows, doublePlane, writeBgr};

} // namespace kelvane::KELVANE_TARGET
