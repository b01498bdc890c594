#include "analysis/light.h"

#include <algorithm>
#include <array>

namespace {

using Histogram = std::array<int64_t, 256>;

Histogram histogramOf(const LumaImage& picture) {
    Histogram histogram = {};
    for (const unsigned char pixel : picture.pixels)
        ++histogram[pixel];
    return histogram;
}

// For each grey value of one picture, that of the other with as many darker pixels as the middle
// of its own.
std::array<unsigned char, 256> equalRanks(const Histogram& from, const Histogram& to) {
    std::array<unsigned char, 256> ranks;
    int64_t darker = 0, counted = to[0];
    size_t value = 0;
    for (size_t i = 0; i < from.size(); ++i) {
        while (value + 1 < to.size() && counted <= darker + from[i] / 2)
            counted += to[++value];
        ranks[i] = static_cast<unsigned char>(value);
        darker += from[i];
    }
    return ranks;
}

} // namespace

LumaImage matchLight(const LumaImage& picture, const LumaImage& model) {
    const auto ranks = equalRanks(histogramOf(picture), histogramOf(model));
    LumaImage matched = picture;
    for (unsigned char& pixel : matched.pixels)
        pixel = ranks[pixel];
    return matched;
}
