// The horizontal pass of a resize: samples made from two source bytes each.
#pragma once

#include "image/row_shuffle.h"

#include <cstdint>

namespace kelvane {

// Samples in units of 1/128 on their way from the horizontal to the vertical pass: 0..32640.
using RowValue = int16_t;

// Makes `count` samples from one source row. The storage, aligned to 4 bytes, belongs to the
// caller and holds `count` taps.
class RowResampler {
public:
    RowResampler() = default;

    // `tapOf(k)` gives the tap of sample k in a source row of `rowBytes` bytes. `rows` is how many
    // rows will be made: vector code has to pay for its preparation.
    template <typename TapOf>
    RowResampler(void* storage, int64_t count, int64_t rowBytes, int64_t rows, TapOf tapOf)
        : groups(static_cast<ShuffleGroup*>(storage)) {
        if (shufflePays(count, rows))
            groupCount = makeGroups(count / ShuffleGroup::size, rowBytes, tapOf);
        taps = reinterpret_cast<Tap*>(groups + groupCount);
        tapCount = count - groupCount * ShuffleGroup::size;
        for (int64_t k = 0; k < tapCount; ++k)
            taps[k] = tapOf(count - tapCount + k);
    }

    void resample(const unsigned char* row, RowValue* values) const;

private:
    // All groups or none: when one does not fit a vector, most will not.
    template <typename TapOf>
    int64_t makeGroups(int64_t count, int64_t rowBytes, TapOf tapOf) {
        for (int64_t i = 0; i < count; ++i) {
            Tap members[ShuffleGroup::size];
            for (int64_t k = 0; k < ShuffleGroup::size; ++k)
                members[k] = tapOf(i * ShuffleGroup::size + k);
            if (!makeShuffleGroup(members, rowBytes, &groups[i]))
                return 0;
        }
        return count;
    }

    ShuffleGroup* groups = nullptr;
    int64_t groupCount = 0;
    Tap* taps = nullptr; // of the samples behind the groups
    int64_t tapCount = 0;
};

} // namespace kelvane
