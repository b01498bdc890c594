// Sharpness of whole frames, beside reading the same rows with wide loads.
#include "kelvane/kelvane.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

namespace {

struct Frame {
    std::vector<unsigned char> pixels;
    __tag_KIRO_OFFSCREEN image{};

    Frame(uint32_t format, int bytesPerPixel, int width, int height)
        : pixels(static_cast<size_t>(width) * static_cast<size_t>(height * bytesPerPixel)) {
        std::minstd_rand random(1);
        for (unsigned char& pixel : pixels)
            pixel = static_cast<unsigned char>(random() >> 8);
        image.format = format;
        image.width = width;
        image.height = height;
        image.planes[0] = pixels.data();
        image.pitches[0] = width * bytesPerPixel;
    }
};

void sharpness(benchmark::State& state, uint32_t format, int bytesPerPixel) {
    Frame frame(format, bytesPerPixel, static_cast<int>(state.range(0)),
                static_cast<int>(state.range(1)));
    __tag_rect whole = {0, 0, frame.image.width, frame.image.height};
    for (auto _ : state) {
        float value = 0.0f;
        imgEvaluateSharpness(nullptr, &frame.image, &value, &whole);
        benchmark::DoNotOptimize(value);
    }
}

// The roof: the two of four rows that the samples touch, read once.
void readRows(benchmark::State& state) {
    Frame frame(KELVANE_FORMAT_YUV420, 1, static_cast<int>(state.range(0)),
                static_cast<int>(state.range(1)));
    const auto width = static_cast<size_t>(frame.image.width);
    for (auto _ : state) {
        uint64_t sum = 0;
        for (int y = 0; y < frame.image.height; y += 2) {
            const unsigned char* const row = frame.pixels.data() + static_cast<size_t>(y) * width;
            for (size_t x = 0; x + 8 <= width; x += 8) {
                uint64_t word;
                std::memcpy(&word, row + x, sizeof word);
                sum += word;
            }
        }
        benchmark::DoNotOptimize(sum);
    }
}

void frameSizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Args({1920, 1080})->Args({4000, 3000})->Unit(benchmark::kMicrosecond);
}

BENCHMARK(readRows)->Apply(frameSizes);
BENCHMARK_CAPTURE(sharpness, 0x601, KELVANE_FORMAT_YUV420, 1)->Apply(frameSizes);
BENCHMARK_CAPTURE(sharpness, 0x501, KELVANE_FORMAT_YUYV, 2)->Apply(frameSizes);
BENCHMARK_CAPTURE(sharpness, 0x101, KELVANE_FORMAT_RGB565, 2)->Apply(frameSizes);
BENCHMARK_CAPTURE(sharpness, 0x304, KELVANE_FORMAT_XRGB32, 4)->Apply(frameSizes);

} // namespace
