// Compiled for AVX-512: to be called only where the processor has it.
#include "roi/extremum_filter_kernel.h"

namespace kelvane {

void filterExtremumAvx512(const ExtremumTask& task, unsigned char* working) {
    filterImage(task, working);
}

} // namespace kelvane
