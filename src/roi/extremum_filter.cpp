#include "platform/vector_support.h"
#include "roi/extremum_filter_kernel.h"

namespace kelvane {

void filterExtremum(const ExtremumTask& task, unsigned char* working) {
#if defined(__x86_64__)
    if (task.width * task.channels >= shortestFilteredAvx2 && hasAvx2())
        return filterExtremumAvx2(task, working);
#endif
    filterImage(task, working);
}

} // namespace kelvane
