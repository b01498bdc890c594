// Sample rows with AVX2: to be called only where the processor has it. On x86-64 alone.
#pragma once

#include <cstdint>

namespace kelvane {

constexpr int64_t leastSamplesAvx2 = 32;

// Makes `count` samples from all four pixels of each grid step of two rows. The next rows lie
// `ahead` of these.
using SampleGroups = void(const unsigned char* upper, const unsigned char* lower, int64_t count,
                          int64_t ahead, unsigned char* samples);

SampleGroups lumaGroupsAvx2;
SampleGroups packedLumaGroupsAvx2;
SampleGroups rgb565GroupsAvx2;
SampleGroups xrgb32GroupsAvx2;

// Sum over x >= 1 of the differences to the left and to the upper neighbour, for rows of more than
// `leastSamplesAvx2` samples.
int64_t sumOfDifferencesAvx2(const unsigned char* row, const unsigned char* above, int64_t count);

} // namespace kelvane
