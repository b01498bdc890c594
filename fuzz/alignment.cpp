// Sequences of calls on one alignment context, or on one for changed regions, follow the rules.
#include "fuzz_case.h"
#include "support/alignment_cases.h"
#include "support/region_cases.h"

void fuzzCase(FuzzedRandom& random) {
    const auto calls = random.between<int>(1, 3);
    const auto side = [&](int64_t least) {
        return random.between(least, random.oneOf<int64_t>({130, 130, 200, 330}));
    };
    switch (random.between(0, 5)) {
    case 0: compareRegions(random, side(100), side(100), calls); break;
    case 1: expectBounded(random); break;
    default: comparePairs(random, side(1), side(1), calls);
    }
}
