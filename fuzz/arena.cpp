// Any sequence of arena operations leaves what its rules say.
#include "fuzz_case.h"
#include "support/arena_model.h"

void fuzzCase(FuzzedRandom& random) { operateAtRandom(random); }
