#include "analysis/detail.h"

#include "base/error.h"
#include "media/luma.h"

#include <algorithm>
#include <vector>

namespace {

constexpr int32_t workingSide = 512;
constexpr long blurSize = 3;            // pixels; the three passes have a deviation of 1.4 together
constexpr double leastStructure = 0.01; // of the energy, below which a picture is all noise

// The kernel of the three passes is (1, 3, 6, 7, 6, 3, 1) / 27 in each direction. White noise that
// has passed it is alike from row to row: of its energy this share is taken for structure.
constexpr double blurredNoise = 15.0 * 126 / (729 * 729);

LumaImage makeLuma(int32_t width, int32_t height) {
    LumaImage luma = {width, height, {}};
    luma.pixels.resize(static_cast<size_t>(width) * static_cast<size_t>(height));
    return luma;
}

// A side at the working size: how many blocks of pixels it becomes, and where each begins.
struct Blocks {
    Blocks(int32_t pixels, int32_t longer) : side(pixels) {
        const int64_t scaled = int64_t{pixels} * workingSide / std::max(longer, workingSide);
        count = std::max(static_cast<int32_t>(scaled), 1);
    }

    int32_t begin(int32_t block) const {
        return static_cast<int32_t>(int64_t{block} * side / count);
    }

    int32_t side;
    int32_t count;
};

// The rounded means of adjoining blocks. No pixel belongs to two of them, as with an interpolation:
// noise stays independent from pixel to pixel.
LumaImage reduced(const __tag_KIRO_OFFSCREEN& image) {
    constexpr int32_t mostPixels = 256; // and columns of a block that count, so that their sums fit
    const int32_t longer = std::max(image.width, image.height);
    const Blocks across(image.width, longer), down(image.height, longer);
    LumaImage means = makeLuma(across.count, down.count);
    std::vector<uint16_t> sums(static_cast<size_t>(image.width));
    unsigned char* mean = means.pixels.data();
    for (int32_t y = 0; y < means.height; ++y) {
        const int32_t top = down.begin(y), rows = std::min(down.begin(y + 1) - top, mostPixels);
        std::ranges::fill(sums, uint16_t{0});
        for (int32_t dy = 0; dy < rows; ++dy) {
            const unsigned char* const row =
                image.planes[0] + (int64_t{top} + dy) * image.pitches[0];
            for (size_t x = 0; x < sums.size(); ++x)
                sums[x] = static_cast<uint16_t>(sums[x] + row[x]);
        }
        for (int32_t x = 0; x < means.width; ++x) {
            const int32_t left = across.begin(x);
            const int32_t columns = std::min(across.begin(x + 1) - left, mostPixels);
            const auto area = static_cast<uint32_t>(rows * columns);
            uint32_t sum = area / 2;
            for (int32_t dx = 0; dx < columns; ++dx)
                sum += sums[static_cast<size_t>(left + dx)];
            *mean++ = static_cast<unsigned char>(sum / area);
        }
    }
    return means;
}

LumaImage blurred(const LumaImage& luma) {
    LumaImage result = luma; // the blur leaves very narrow planes out
    checkResult(GB_GaussianBlurA(nullptr, luma.pixels.data(), luma.width, luma.height, luma.width,
                                 KELVANE_FORMAT_YUV420, result.pixels.data(), blurSize),
                "GB_GaussianBlurA");
    return result;
}

// Sums over the differences of horizontal and vertical neighbours.
struct GradientEnergy {
    int64_t total = 0;     // squares
    int64_t structure = 0; // each times the same difference one row, or one column, further on
};

// Noise has another sign in the next row, the edges of a scene mostly go on there.
GradientEnergy gradientEnergy(const LumaImage& luma) {
    GradientEnergy energy;
    for (int32_t y = 0; y + 1 < luma.height; ++y) {
        const unsigned char* const row = luma.pixels.data() + int64_t{y} * luma.width;
        const unsigned char* const next = row + luma.width;
        int32_t total = 0, structure = 0; // of a row of at most 512 pixels
        for (int32_t x = 0; x + 1 < luma.width; ++x) {
            const int32_t right = row[x + 1] - row[x], rightBelow = next[x + 1] - next[x];
            const int32_t down = next[x] - row[x], downBeside = next[x + 1] - row[x + 1];
            total += right * right + down * down;
            structure += right * rightBelow + down * downBeside;
        }
        energy.total += total;
        energy.structure += structure;
    }
    return energy;
}

} // namespace

double measureDetail(const __tag_KIRO_OFFSCREEN& image) {
    const LumaImage luma = reduced(image);
    const GradientEnergy energy = gradientEnergy(luma);
    const auto total = static_cast<double>(energy.total);
    const auto structure = static_cast<double>(energy.structure);
    if (structure <= leastStructure * total)
        return 0;
    const auto blurredStructure = static_cast<double>(gradientEnergy(blurred(luma)).structure);
    const double left = blurredStructure - blurredNoise * (total - structure);
    return 100 * std::clamp(1 - left / structure, 0.0, 1.0);
}
