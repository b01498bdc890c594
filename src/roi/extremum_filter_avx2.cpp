// Compiled for AVX2: to be called only where the processor has it.
#include "roi/extremum_filter_kernel.h"

namespace kelvane {

void filterMinimumAvx2(const ExtremumTask& task, unsigned char* working) {
    filterImage<Minimum>(task, working);
}

void filterMaximumAvx2(const ExtremumTask& task, unsigned char* working) {
    filterImage<Maximum>(task, working);
}

} // namespace kelvane
