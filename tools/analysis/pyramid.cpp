#include "analysis/pyramid.h"

#include <algorithm>

namespace {

constexpr int32_t middleSide = 320;
constexpr int32_t coarsestSide = 160;
constexpr int32_t smallestSide = 16;

int32_t longerSide(const LumaImage& picture) { return std::max(picture.width, picture.height); }
int32_t shorterSide(const LumaImage& picture) { return std::min(picture.width, picture.height); }

} // namespace

LumaImage cut(const LumaImage& picture, int32_t left, int32_t top, int32_t width, int32_t height) {
    LumaImage part = {width, height, {}};
    part.pixels.resize(static_cast<size_t>(width) * static_cast<size_t>(height));
    for (int32_t y = 0; y < height; ++y)
        std::copy_n(picture.pixels.data() + int64_t{top + y} * picture.width + left, width,
                    part.pixels.data() + int64_t{y} * width);
    return part;
}

LumaImage halved(const LumaImage& picture) {
    LumaImage half = {picture.width / 2, picture.height / 2, {}};
    half.pixels.resize(static_cast<size_t>(half.width) * static_cast<size_t>(half.height));
    std::vector<uint16_t> sums(static_cast<size_t>(picture.width)); // of two rows
    for (int32_t y = 0; y < half.height; ++y) {
        const unsigned char* const upper = picture.pixels.data() + int64_t{2} * y * picture.width;
        std::transform(upper, upper + picture.width, upper + picture.width, sums.begin(),
                       [](int a, int b) { return static_cast<uint16_t>(a + b); });
        unsigned char* const out = half.pixels.data() + int64_t{y} * half.width;
        const uint16_t* const in = sums.data();
        for (int32_t x = 0; x < half.width; ++x)
            out[x] = static_cast<unsigned char>((in[2 * x] + in[2 * x + 1] + 2) / 4);
    }
    return half;
}

Pyramid::Pyramid(LumaImage picture) {
    levels_.push_back(std::move(picture));
    while (longerSide(levels_.back()) > coarsestSide &&
           shorterSide(levels_.back()) >= 2 * smallestSide)
        levels_.push_back(halved(levels_.back()));
    while (middle_ + 1 < levels_.size() && longerSide(levels_[middle_]) > middleSide)
        ++middle_;
    middleEdges_ = edgesOf(levels_[middle_]);
}

const std::optional<Spectrum>& Pyramid::spectrum() const {
    const LumaImage& picture = levels_.back();
    if (!spectrum_ && hasSpectrum(picture.width, picture.height))
        spectrum_ = spectrumOf(edgesOf(picture));
    return spectrum_;
}
