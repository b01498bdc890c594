#pragma once

#include "capture_time.h"
#include "inputs.h"

#include <vector>

// Pictures that were taken soon after each other.
struct BurstGroup {
    InputList files;                // in the order of time
    std::vector<CaptureTime> times; // of each
};

// Sorts pictures by capture time and splits them where nothing was taken for more than `gap`
// seconds.
std::vector<BurstGroup> groupByTime(const std::vector<InputFile>& files, double gap);
