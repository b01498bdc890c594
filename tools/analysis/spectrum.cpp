#include "analysis/spectrum.h"

#include <algorithm>
#include <bit>
#include <memory>
#include <new>

namespace {

constexpr int32_t largestLength = 8192;

// The next power of two that keeps shifts of up to half the side apart.
int32_t transformLength(int32_t side) {
    return static_cast<int32_t>(std::bit_ceil(static_cast<uint32_t>(side + side / 2 + 1)));
}

class Transform {
public:
    Transform(int length, bool inverse) : length_(static_cast<size_t>(length)) {
        if (av_tx_init(&context_, &run_, AV_TX_FLOAT_FFT, inverse ? 1 : 0, length, nullptr,
                       AV_TX_UNALIGNED) < 0)
            throw std::bad_alloc();
        row_.resize(length_);
    }
    ~Transform() { av_tx_uninit(&context_); }
    Transform(const Transform&) = delete;
    Transform& operator=(const Transform&) = delete;

    // Transforms the first `count` of `rows` rows, and writes the result as columns.
    void rowsToColumns(AVComplexFloat* in, size_t count, size_t rows, AVComplexFloat* out) {
        for (size_t y = 0; y < count; ++y) {
            run_(context_, row_.data(), in + y * length_, sizeof(AVComplexFloat));
            for (size_t x = 0; x < length_; ++x)
                out[x * rows + y] = row_[x];
        }
    }

private:
    const size_t length_;
    AVTXContext* context_ = nullptr;
    av_tx_fn run_ = nullptr;
    std::vector<AVComplexFloat> row_;
};

// The sums for every shift, those of negative ones at the end.
std::vector<float> correlationSums(const Spectrum& first, const Spectrum& second) {
    const int32_t columns = transformLength(first.width), rows = transformLength(first.height);
    const size_t size = first.values.size();
    std::vector<AVComplexFloat> product(size), half(size);
    for (size_t i = 0; i < size; ++i) {
        const auto [a, b] = first.values[i];
        const auto [c, d] = second.values[i];
        product[i] = {a * c + b * d, b * c - a * d};
    }
    const auto w = static_cast<size_t>(columns), h = static_cast<size_t>(rows);
    Transform(columns, true).rowsToColumns(product.data(), h, h, half.data());
    Transform(rows, true).rowsToColumns(half.data(), w, w, product.data());
    std::vector<float> sums(size);
    std::ranges::transform(product, sums.begin(), &AVComplexFloat::re);
    return sums;
}

} // namespace

bool hasSpectrum(int32_t width, int32_t height) {
    return std::max(width, height) <= largestLength / 2 && std::min(width, height) >= 8;
}

Spectrum spectrumOf(const EdgeMap& edges) {
    const auto w = static_cast<size_t>(transformLength(edges.width));
    const auto h = static_cast<size_t>(transformLength(edges.height));
    const auto pictureRows = static_cast<size_t>(edges.height);
    std::vector<AVComplexFloat> field(w * pictureRows);
    for (int32_t y = 0; y < edges.height; ++y)
        for (int32_t x = 0; x < edges.width; ++x)
            field[static_cast<size_t>(y) * w + static_cast<size_t>(x)] = {
                static_cast<float>(edges.row(y)[2 * x]),
                static_cast<float>(edges.row(y)[2 * x + 1])};
    std::vector<AVComplexFloat> half(w * h);
    Transform(static_cast<int>(w), false).rowsToColumns(field.data(), pictureRows, h, half.data());
    Spectrum spectrum = {edges.width, edges.height, std::vector<AVComplexFloat>(w * h)};
    Transform(static_cast<int>(h), false).rowsToColumns(half.data(), w, w, spectrum.values.data());
    return spectrum;
}

std::vector<Shift> highestPeaks(const Spectrum& first, const Spectrum& second, size_t count) {
    const std::vector<float> sums = correlationSums(first, second);
    const int32_t columns = transformLength(first.width), rows = transformLength(first.height);
    const auto at = [&](int32_t dx, int32_t dy) {
        return sums[static_cast<size_t>((dy + rows) % rows) * static_cast<size_t>(columns) +
                    static_cast<size_t>((dx + columns) % columns)];
    };
    struct Peak {
        float sum;
        Shift shift;
    };
    std::vector<Peak> peaks;
    for (int32_t dy = -first.height / 2; dy <= first.height / 2; ++dy)
        for (int32_t dx = -first.width / 2; dx <= first.width / 2; ++dx) {
            const float sum = at(dx, dy);
            if (sum > 0 &&
                sum >= std::max({at(dx - 1, dy), at(dx + 1, dy), at(dx, dy - 1), at(dx, dy + 1)}))
                peaks.push_back({sum, {dx, dy}});
        }
    count = std::min(count, peaks.size());
    std::ranges::partial_sort(peaks, peaks.begin() + static_cast<std::ptrdiff_t>(count),
                              std::ranges::greater(), &Peak::sum);
    std::vector<Shift> shifts;
    for (size_t i = 0; i < count; ++i)
        shifts.push_back(peaks[i].shift);
    return shifts;
}
