// Compiled for AVX2: to be called only where the processor has it.
#include "image/box_vectors_avx2.h"

#include "image/box_rows_kernel.h"

namespace kelvane {

BoxRowOperations boxRowOperationsAvx2() { return {accumulate<3>, divide<3>}; }

} // namespace kelvane
