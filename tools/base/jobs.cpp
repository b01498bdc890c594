#include "base/jobs.h"

#include <algorithm>
#include <cinttypes>
#include <csignal>
#include <cstdio>
#include <memory>
#include <new>

#include <oneapi/tbb/info.h>

namespace {

// Processors that the control group grants in the time of a period, rounded up; 0 for no limit.
int grantedProcessors() {
    const std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen("/sys/fs/cgroup/cpu.max", "re"),
                                                     std::fclose);
    int64_t quota = 0, period = 0;
    if (!file || std::fscanf(file.get(), "%" SCNd64 " %" SCNd64, &quota, &period) != 2 ||
        period <= 0)
        return 0;
    return static_cast<int>(std::clamp<int64_t>((quota + period - 1) / period, 1, INT32_MAX));
}

} // namespace

int availableProcessors() {
    const int allowed = tbb::info::default_concurrency(); // by the process's affinity
    const int granted = grantedProcessors();
    return granted > 0 ? std::min(allowed, granted) : allowed;
}

Jobs::Jobs(int count)
    : limit_(count > 0 ? count : availableProcessors()),
      allowed_(tbb::global_control::max_allowed_parallelism, static_cast<size_t>(limit_)),
      arena_(limit_), withoutSignals_(arena_) {}

Jobs::~Jobs() {
    arena_.terminate();
    tbb::finalize(scheduler_, std::nothrow);
}

void Jobs::WithoutSignals::on_scheduler_entry(bool isWorker) {
    if (!isWorker)
        return;
    sigset_t ending;
    sigemptyset(&ending);
    for (const int signal : {SIGHUP, SIGINT, SIGTERM})
        sigaddset(&ending, signal);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);
}
