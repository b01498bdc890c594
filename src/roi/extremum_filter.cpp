#include "platform/vector_support.h"
#include "roi/extremum_filter_kernel.h"

namespace kelvane {

void filterMinimum(const ExtremumTask& task, unsigned char* working) {
#if defined(__x86_64__)
    if (usesAvx2(task.width))
        return filterMinimumAvx2(task, working);
#endif
    filterImage<Minimum>(task, working);
}

void filterMaximum(const ExtremumTask& task, unsigned char* working) {
#if defined(__x86_64__)
    if (usesAvx2(task.width))
        return filterMaximumAvx2(task, working);
#endif
    filterImage<Maximum>(task, working);
}

} // namespace kelvane
