// How a run is timed, the same in every program that measures.
#pragma once

#include <cstdint>
#include <functional>

// One processor, and memory that stays with the process.
void prepareToMeasure();

// Of `count` runs, on the processor: without what other processes took meanwhile.
double secondsOf(const std::function<void()>& run, int64_t count);

// How many runs make a batch: short ones, so that a disturbance spoils few.
int64_t batchOf(double secondsOfOne);
