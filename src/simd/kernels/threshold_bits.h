// Packing pixels into threshold bits.
#pragma once

namespace kelvane::KELVANE_TARGET {

namespace {

// As many bytes as a vector has, the first or the last of every `step` bytes.
template <int step, bool last>
[[gnu::always_inline]] inline U8 loadFromSteps(const uint8_t* bytes) {
    if constexpr (step == 1) {
        return load<U8>(bytes);
    } else {
        constexpr int half = step / 2;
        return splitTwo(loadFromSteps<half, last>(bytes),
                        loadFromSteps<half, last>(bytes + half * vectorBytes))
            .vectors[last ? 1 : 0];
    }
}

void storeBits(uint64_t mask, int64_t count, uint8_t* bits) {
    for (int64_t x = 0; x < count; x += 8)
        bits[x / 8] = static_cast<uint8_t>(mask >> x);
}

template <int step>
void packAtStep(const uint8_t* pixels, int64_t count, uint8_t lowest, uint8_t* bits) {
    const U8 limit = U8{} + lowest;
    // Nothing after the last pixel is read, not even what belongs to its step.
    const int64_t whole = step == 1 ? count : count - 1;
    int64_t x = 0;
    for (; x + vectorBytes <= whole; x += vectorBytes) {
        const uint64_t mask = notBelow(loadFromSteps<step, false>(pixels + x * step), limit);
        std::memcpy(bits + x / 8, &mask, vectorBytes / 8);
    }
    const int64_t rest = count - x;
    if (rest == 0)
        return;
    uint64_t mask = 0;
    if (x > 0) { // the last pixels that fill a vector, of which some are done
        const uint8_t* const bytes = pixels + (count - vectorBytes) * step - (step - 1);
        mask = notBelow(loadFromSteps<step, true>(bytes), limit) >> (vectorBytes - rest);
    } else {
        for (int64_t i = 0; i < rest; ++i)
            mask |= static_cast<uint64_t>(pixels[i * step] >= lowest) << i;
    }
    storeBits(mask, rest, bits + x / 8);
}

void packAbove(const uint8_t* pixels, int64_t step, int64_t count, uint8_t lowest, uint8_t* bits) {
    switch (step) {
    case 1: return packAtStep<1>(pixels, count, lowest, bits);
    case 2: return packAtStep<2>(pixels, count, lowest, bits);
    case 4: return packAtStep<4>(pixels, count, lowest, bits);
    case 8: return packAtStep<8>(pixels, count, lowest, bits);
    default: break;
    }
    for (int64_t x = 0; x < count; x += 64) {
        const int64_t rest = smaller<int64_t>(64, count - x);
        uint64_t mask = 0;
        for (int64_t i = 0; i < rest; ++i)
            mask |= static_cast<uint64_t>(pixels[(x + i) * step] >= lowest) << i;
        storeBits(mask, rest, bits + x / 8);
    }
}

} // namespace

} // namespace kelvane::KELVANE_TARGET
