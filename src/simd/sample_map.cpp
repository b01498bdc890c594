#include "simd/sample_map.h"

namespace kelvane {

void fillTaps(const SampleMap& map, int64_t firstSample, int64_t count, Tap* taps) {
    int64_t column = firstSample / map.channels;
    const int64_t endByte = map.firstByte + map.channels * map.channelStep;
    int64_t byte = map.firstByte + firstSample % map.channels * map.channelStep;
    for (int64_t k = 0; k < count; ++k) {
        const Position position = map.columns[column];
        const bool hasNext = column < map.interpolated;
        const uint32_t weight = map.average ? 64 : hasNext ? position.weight : 0;
        const uint32_t distance = map.average ? position.weight : hasNext ? 1 : 0;
        const auto first = static_cast<uint32_t>(position.index * map.pixelBytes + byte);
        taps[k] = {first, (first + distance * map.pixelBytes) & 0xFFFFFF, weight & 0xFF};
        byte += map.channelStep;
        if (byte == endByte) {
            byte = map.firstByte;
            ++column;
        }
    }
}

} // namespace kelvane
