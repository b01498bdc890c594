#include "fuzz_case.h"

#include "support/allocation_hook.h"
#include "support/vector_hook.h"

#include <gtest/gtest.h>

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    GTEST_FLAG_SET(throw_on_failure, true); // libFuzzer keeps the input of an uncaught exception
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedRandom random(data, size);
    widestVectors = random.between<Vectors>(0, 2);
    allocationsUntilFailure = -1;
    fuzzCase(random);
    return 0;
}
