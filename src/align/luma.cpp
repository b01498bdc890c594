#include "align/luma.h"

namespace kelvane {

namespace {

// A constant step lets the compiler turn the loop into shuffles.
template <int64_t step>
void sampleAtStep(const unsigned char* source, int64_t count, unsigned char* samples) {
    for (int64_t x = 0; x < count; ++x)
        samples[x] = source[step * x];
}

} // namespace

void samplePixels(const unsigned char* source, int64_t step, int64_t count,
                  unsigned char* samples) {
    switch (step) {
    case 1: return VantMemCpy(samples, source, count);
    case 2: return sampleAtStep<2>(source, count, samples);
    case 4: return sampleAtStep<4>(source, count, samples);
    case 8: return sampleAtStep<8>(source, count, samples);
    default:
        for (int64_t x = 0; x < count; ++x)
            samples[x] = source[step * x];
    }
}

} // namespace kelvane
