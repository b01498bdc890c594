// The kernels of one instruction set, compiled with the operations that the including file has
// brought, and their table.
#include "simd/kernels.h"

#include "simd/kernels/extremum.h"

namespace kelvane::KELVANE_TARGET {

constinit const Kernels kernels = {
    .filterExtremum = filterExtremum,
};

} // namespace kelvane::KELVANE_TARGET
