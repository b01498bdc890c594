#include "image/row_resampler.h"

namespace kelvane {

void RowResampler::resample(const unsigned char* row, RowValue* values) const {
    if (groupCount > 0)
        resampleByShuffle(row, groups, groupCount, windows, values);
    RowValue* const rest = values + groupCount * ShuffleGroup::size;
    for (int64_t k = 0; k < tapCount; ++k) {
        const int32_t first = row[taps[k].first];
        const int32_t second = row[taps[k].second];
        const auto weight = static_cast<int32_t>(taps[k].weight);
        rest[k] = static_cast<RowValue>(weight * (second - first) + 128 * first);
    }
}

} // namespace kelvane
