// What a fuzz target does with one input: it makes its choices with it.
#pragma once

#include "support/random.h"

#include <fuzzer/FuzzedDataProvider.h>

// Draws from the input, then from an engine that the first bytes of the input seed. Pixels come
// only from the engine, so that a short input is enough for a large plane.
class FuzzedRandom : public Random {
public:
    FuzzedRandom(const uint8_t* data, size_t size)
        : Random(size < 2 ? size : static_cast<uint64_t>(data[0] * 256 + data[1])),
          input_(data, size) {}

    // The part of the input that no choice was made with.
    std::vector<unsigned char> rest() { return input_.ConsumeRemainingBytes<unsigned char>(); }

protected:
    int64_t draw(int64_t low, int64_t high) override {
        return input_.remaining_bytes() == 0 ? Random::draw(low, high)
                                             : input_.ConsumeIntegralInRange(low, high);
    }

private:
    FuzzedDataProvider input_;
};

// Each target defines it. A failed expectation of GoogleTest ends the process.
void fuzzCase(FuzzedRandom& random);
