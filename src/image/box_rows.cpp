#include "image/box_rows.h"

#if defined(__SSE2__)
#include "image/box_vectors_sse2.h"
#else
#include "image/box_vectors_neon.h"
#endif

#include "image/box_rows_kernel.h"

namespace kelvane {

BoxRowOperations boxRowOperations() { return {accumulate<3>, divide<3>}; }

} // namespace kelvane
