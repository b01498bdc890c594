#include "burst_groups.h"

#include <algorithm>
#include <numeric>

std::vector<BurstGroup> groupByTime(const std::vector<InputFile>& files, double gap) {
    constexpr double rounding = 1e-6; // of seconds since 1970 as floating point
    std::vector<CaptureTime> times;
    for (const InputFile& file : files)
        times.push_back(readCaptureTime(file.path));
    std::vector<size_t> order(files.size());
    std::iota(order.begin(), order.end(), size_t{0});
    std::ranges::stable_sort(order, {}, [&](size_t i) { return times[i].seconds; });

    std::vector<BurstGroup> groups;
    double last = 0;
    for (const size_t i : order) {
        if (groups.empty() || times[i].seconds - last > gap + rounding)
            groups.emplace_back();
        groups.back().files.files.push_back(files[i]);
        groups.back().times.push_back(times[i]);
        last = times[i].seconds;
    }
    return groups;
}
