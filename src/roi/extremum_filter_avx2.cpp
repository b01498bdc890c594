// Compiled for AVX2: to be called only where the processor has it.
#include "roi/extremum_filter_kernel.h"

namespace kelvane {

void filterExtremumAvx2(const ExtremumTask& task, unsigned char* working) {
    filterImage(task, working);
}

} // namespace kelvane
