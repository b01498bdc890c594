// Writes a PPM picture of 12 megapixels to stdout that costs a JPEG decoder about what a photograph
// does: detail of all sizes, colours that change slowly, and the noise of a sensor.
//   kelvane-photograph NUMBER
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

constexpr int width = 4000, height = 3000;

// From -0.5 to 0.5.
float randomAt(int x, int y, int seed) {
    uint64_t h = static_cast<uint64_t>(x) * 0x9E3779B97F4A7C15 +
                 static_cast<uint64_t>(y) * 0xC2B2AE3D27D4EB4F +
                 static_cast<uint64_t>(seed) * 0x165667B19E3779F9;
    h = (h ^ h >> 31) * 0xBF58476D1CE4E5B9;
    return static_cast<float>((h ^ h >> 29) * 0x94D049BB133111EB >> 40) / (1 << 24) - 0.5F;
}

// Adds one row of random values on a grid of `cell` pixels, interpolated between them.
void addDetail(std::vector<float>& row, int y, int cell, float amplitude, int seed) {
    const auto fraction = [cell](int position) {
        return static_cast<float>(position % cell) / static_cast<float>(cell);
    };
    const auto edge = [&](int column) {
        const float above = randomAt(column, y / cell, seed);
        return above + (randomAt(column, y / cell + 1, seed) - above) * fraction(y);
    };
    float left = edge(0), right = edge(1);
    for (int x = 0; x < width; ++x) {
        if (x > 0 && x % cell == 0) {
            left = right;
            right = edge(x / cell + 1);
        }
        row[static_cast<size_t>(x)] += amplitude * (left + (right - left) * fraction(x));
    }
}

void writeRow(int y, int seed) {
    std::vector<float> light(width, 128), red(width), blue(width);
    constexpr struct {
        int cell;
        float amplitude;
    } details[] = {{512, 110}, {128, 70}, {32, 45}, {8, 32}, {3, 26}};
    for (const auto& [cell, amplitude] : details)
        addDetail(light, y, cell, amplitude, seed + cell);
    addDetail(red, y, 200, 60, seed);
    addDetail(blue, y, 150, 60, seed + 1);
    std::array<uint8_t, 3 * width> bytes;
    for (int x = 0; x < width; ++x) {
        const auto i = static_cast<size_t>(x);
        const float noise = 20 * (randomAt(x, y, seed + 2) + randomAt(x, y, seed + 3));
        const float colours[] = {red[i], -0.3F * (red[i] + blue[i]), blue[i]};
        for (size_t c = 0; c < 3; ++c)
            bytes[3 * i + c] =
                static_cast<uint8_t>(std::clamp(light[i] + noise + colours[c], 0.0F, 255.0F));
    }
    std::fwrite(bytes.data(), 1, bytes.size(), stdout);
}

} // namespace

int main(int argc, char** argv) {
    const int number = argc > 1 ? std::atoi(argv[1]) : 0;
    std::printf("P6\n%d %d\n255\n", width, height);
    for (int y = 0; y < height; ++y)
        writeRow(y, 1000 * number);
    return std::fflush(stdout) == 0 ? 0 : 1;
}
