#include "platform/vector_support.h"
#include "roi/extremum_filter_kernel.h"

namespace kelvane {

void filterExtremum(const ExtremumTask& task, unsigned char* working) {
#if defined(__x86_64__)
    const int64_t rowBytes = task.width * task.channels;
    if (rowBytes >= shortestAvx512Filtered && hasAvx512())
        return filterExtremumAvx512(task, working);
    if (rowBytes >= shortestAvx2Filtered && hasAvx2())
        return filterExtremumAvx2(task, working);
#endif
    filterImage(task, working);
}

} // namespace kelvane
