#include "image/row_pair.h"

#include <utility>

namespace kelvane {

// Split as (top + 64 + floor(weight * (bottom - top) / 128)) >> 7, which is the same number and
// stays in 16 bits: the product's high half is the floor when the weight is scaled by 2^9. That
// scale allows weights up to 64, and 64 itself only as -2^15; beyond, the rows change places.
void blendRows(const RowValue* top, const RowValue* bottom, int32_t weight, int64_t count,
               unsigned char* __restrict out) {
    if (weight > 64) {
        std::swap(top, bottom);
        weight = 128 - weight;
    }
    const auto factor = static_cast<int16_t>(-512 * weight);
    for (int64_t k = 0; k < count; ++k) {
        const auto difference = static_cast<int16_t>(top[k] - bottom[k]);
        const auto share = static_cast<int16_t>((difference * factor) >> 16);
        out[k] = static_cast<unsigned char>(static_cast<int16_t>(top[k] + 64 + share) >> 7);
    }
}

} // namespace kelvane
