#include "align/threshold_bits.h"

#include "kelvane/kelvane.h"
#include "simd/kernels.h"

namespace kelvane {

namespace {

// A constant comparison: all pixels are above a negative threshold, none above 255.
void fillBits(int64_t count, bool above, unsigned char* bits) {
    VantMemSet(bits, above ? 0xFF : 0, (count + 7) / 8);
    if (above && count % 8 != 0)
        bits[count / 8] = static_cast<unsigned char>((1 << count % 8) - 1);
}

} // namespace

void packAbove(const unsigned char* pixels, int64_t step, int64_t count, int64_t threshold,
               unsigned char* bits) {
    if (threshold < 0 || threshold >= 255)
        return fillBits(count, threshold < 0, bits);
    kernelsFor(count).packAbove(pixels, step, count, static_cast<unsigned char>(threshold + 1),
                                bits);
}

} // namespace kelvane
