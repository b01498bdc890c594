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

    // `tapOf(k)` gives the tap of sample k in a source row of `rowBytes` bytes. `shuffle` says that
    // the processor has byte shuffles and that their preparation pays.
    template <typename TapOf>
    RowResampler(void* storage, int64_t count, int64_t rowBytes, bool shuffle, TapOf tapOf)
        : groups(static_cast<ShuffleGroup*>(storage)) {
        if (shuffle && !makeGroups(count, rowBytes, 1, tapOf) &&
            !makeGroups(count, rowBytes, 2, tapOf))
            makeGroups(count, rowBytes, 4, tapOf);
        taps = reinterpret_cast<Tap*>(groups + groupCount);
        tapCount = count - groupCount * ShuffleGroup::size;
        for (int64_t k = 0; k < tapCount; ++k)
            taps[k] = tapOf(count - tapCount + k);
    }

    void resample(const unsigned char* row, RowValue* values) const;

private:
    // All groups or none: when one does not fit its windows, most will not.
    template <typename TapOf>
    bool makeGroups(int64_t count, int64_t rowBytes, int64_t groupWindows, TapOf tapOf) {
        const int64_t wholeGroups = count / ShuffleGroup::size;
        for (int64_t i = 0; i < wholeGroups; ++i) {
            Tap members[ShuffleGroup::size];
            for (int64_t k = 0; k < ShuffleGroup::size; ++k)
                members[k] = tapOf(i * ShuffleGroup::size + k);
            if (!makeShuffleGroup(members, rowBytes, groupWindows, &groups[i]))
                return false;
        }
        groupCount = wholeGroups;
        windows = groupWindows;
        return true;
    }

    ShuffleGroup* groups = nullptr;
    int64_t groupCount = 0;
    int64_t windows = 1; // of each group
    Tap* taps = nullptr; // of the samples behind the groups
    int64_t tapCount = 0;
};

} // namespace kelvane
