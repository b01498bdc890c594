#pragma once

#include "base/progress.h"

#include <cstdint>
#include <utility>

#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/task_arena.h>
#include <oneapi/tbb/task_scheduler_observer.h>

// How many processors this process may keep busy.
int availableProcessors();

// The threads of a run: as many as it has jobs, the calling one included. They end with this
// object.
class Jobs {
public:
    // 0 for as many as there are processors.
    explicit Jobs(int count);
    ~Jobs();
    Jobs(const Jobs&) = delete;
    Jobs& operator=(const Jobs&) = delete;

    int count() const { return limit_; }

    // Runs a task in which `processInOrder` shares these threads.
    template <typename Task>
    auto run(Task task) {
        return arena_.execute(std::move(task));
    }

private:
    // Leaves signals to the calling thread, which holds them back while it writes files.
    class WithoutSignals : public tbb::task_scheduler_observer {
    public:
        explicit WithoutSignals(tbb::task_arena& arena) : task_scheduler_observer(arena) {
            observe(true);
        }
        ~WithoutSignals() override { observe(false); }
        void on_scheduler_entry(bool isWorker) override;
    };

    const int limit_;
    tbb::task_scheduler_handle scheduler_{tbb::attach{}};
    tbb::global_control allowed_;
    tbb::task_arena arena_;
    WithoutSignals withoutSignals_;
};
