// Sequences of calls on one alignment context, or on one for changed regions, follow the rules.
#include "fuzz_case.h"
#include "support/alignment_cases.h"
#include "support/region_cases.h"

void fuzzCase(FuzzedRandom& random) {
    const auto calls = random.between<int>(1, 3);
    // One long side is enough for every kind of level, and does not cost much.
    int64_t width = random.between(1, 60), height = random.between(1, 60);
    if (random.chance(50))
        (random.chance(80) ? width : height) = random.between(61, 1300);
    switch (random.between(0, 7)) {
    case 0: compareRegions(random, 100 + width % 160, 100 + height % 160, calls); break;
    case 1: expectBounded(random); break;
    default: comparePairs(random, width, height, calls);
    }
}
