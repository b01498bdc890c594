#include "measurement.h"

#include <malloc.h>
#include <sched.h>

#include <algorithm>
#include <cstdio>
#include <ctime>

namespace {

constexpr double batchSeconds = 0.002;

// Nobody here waits or has a second thread.
double processorSeconds() {
    timespec now = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

// The last processor that it may use: the first one serves the interrupts.
void pin() {
    cpu_set_t allowed;
    if (sched_getaffinity(0, sizeof allowed, &allowed) != 0)
        return;
    for (int cpu = CPU_SETSIZE - 1; cpu >= 0; --cpu) {
        if (!CPU_ISSET(cpu, &allowed))
            continue;
        CPU_ZERO(&allowed);
        CPU_SET(cpu, &allowed);
        if (sched_setaffinity(0, sizeof allowed, &allowed) != 0)
            std::fprintf(stderr, "not pinned to a processor\n");
        return;
    }
}

} // namespace

void prepareToMeasure() {
    // Large blocks stay with the process: no side pays for the kernel to clear pages every time.
    mallopt(M_MMAP_THRESHOLD, 1 << 30);
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    pin();
}

double secondsOf(const std::function<void()>& run, int64_t count) {
    const double start = processorSeconds();
    for (int64_t i = 0; i < count; ++i)
        run();
    return processorSeconds() - start;
}

int64_t batchOf(double secondsOfOne) {
    return std::clamp<int64_t>(static_cast<int64_t>(batchSeconds / secondsOfOne), 1, 100000);
}
