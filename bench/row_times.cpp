// Answers one question a line: the name of a row is answered with the seconds that one run of it
// takes, an empty line with the names of all rows. Another program asks several processes in turn,
// each with a library of its own.
#include "measurement.h"
#include "operations.h"

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <optional>

namespace {

std::string nameOf(const Workload& workload) { return workload.name + "/" + workload.sizeText(); }

// The row at hand stays prepared until another one is named.
class PreparedRow {
public:
    explicit PreparedRow(const Workload& workload) : name_(nameOf(workload)), operation_(workload) {
        batch_ = batchOf(seconds(1));
    }
    const std::string& name() const { return name_; }
    double secondsOfOne() const { return seconds(batch_) / static_cast<double>(batch_); }

private:
    double seconds(int64_t count) const {
        const auto run = [this] {
            if (operation_.run() != ERR_NONE)
                std::abort();
        };
        secondsOf(run, 2); // what the other process read has gone from the caches
        return secondsOf(run, count);
    }

    std::string name_;
    Operation operation_;
    int64_t batch_;
};

} // namespace

int main() {
    prepareToMeasure();
    const std::vector<Workload> all = workloads();
    std::optional<PreparedRow> row;
    for (std::string line; std::getline(std::cin, line);) {
        if (line.empty()) {
            for (const Workload& workload : all)
                std::cout << nameOf(workload) << '\n';
            std::cout << std::endl;
            continue;
        }
        if (!row || row->name() != line) {
            row.reset();
            for (const Workload& workload : all)
                if (nameOf(workload) == line)
                    row.emplace(workload);
        }
        if (!row)
            return EXIT_FAILURE;
        std::cout << row->secondsOfOne() << std::endl;
    }
    return EXIT_SUCCESS;
}
