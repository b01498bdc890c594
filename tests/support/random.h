// Random numbers that can be repeated, the same with every standard library: the seed is printed
// and taken from KELVANE_TEST_SEED.
#pragma once

#include "kelvane/kelvane.h"

#include <cstdlib>
#include <initializer_list>
#include <iostream>
#include <random>
#include <vector>

class Random {
public:
    Random() : Random(seed()) { std::cout << "KELVANE_TEST_SEED=" << seed() << '\n'; }
    explicit Random(uint64_t seed) : engine_(seed) {}
    virtual ~Random() = default;

    // Whether what follows from the seed is that of other runs.
    static bool isUsual() { return seed() == usualSeed; }

    // Both bounds included.
    template <typename Integer = int64_t>
    Integer between(int64_t low, int64_t high) {
        return static_cast<Integer>(draw(low, high));
    }
    bool chance(int64_t percent) { return between(1, 100) <= percent; }
    template <typename T>
    T oneOf(std::initializer_list<T> values) {
        return values.begin()[between(0, static_cast<int64_t>(values.size()) - 1)];
    }
    __tag_rect rectInside(int32_t width, int32_t height) {
        const auto left = between<int32_t>(0, width - 1);
        const auto top = between<int32_t>(0, height - 1);
        return {left, top, between<int32_t>(left + 1, width), between<int32_t>(top + 1, height)};
    }
    void fill(unsigned char* bytes, int64_t count) {
        for (int64_t i = 0; i < count; ++i)
            bytes[i] = static_cast<unsigned char>(engine_());
    }
    // All black, all white, alternating, lone marks, or noise.
    std::vector<unsigned char> image(int64_t size) {
        std::vector<unsigned char> bytes(static_cast<size_t>(size));
        fill(bytes.data(), size);
        const auto kind = between<unsigned>(0, 6);
        for (size_t i = 0; i < bytes.size() && kind < 4; ++i) {
            const bool white = kind < 2 ? kind == 1 : kind == 2 ? i % 2 == 1 : bytes[i] < 4;
            bytes[i] = white ? 255 : 0;
        }
        return bytes;
    }

protected:
    virtual int64_t draw(int64_t low, int64_t high) {
        // The remainder favours small values by less than any test can tell.
        const uint64_t last = static_cast<uint64_t>(high) - static_cast<uint64_t>(low);
        const uint64_t value = last == UINT64_MAX ? engine_() : engine_() % (last + 1);
        return static_cast<int64_t>(static_cast<uint64_t>(low) + value);
    }

private:
    static constexpr uint64_t usualSeed = 20150306;

    static uint64_t seed() {
        const char* const wanted = std::getenv("KELVANE_TEST_SEED");
        return wanted != nullptr ? std::strtoull(wanted, nullptr, 10) : usualSeed;
    }
    std::mt19937_64 engine_;
};
