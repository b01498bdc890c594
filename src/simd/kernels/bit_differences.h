// Counting the bits in which two bitmaps differ.
#pragma once

namespace kelvane::KELVANE_TARGET {

namespace {

// The bits from bit `shift` (0 to 7) of the bytes on. Reads one byte more than the value has.
template <typename Value>
[[gnu::always_inline]] inline Value loadShifted(const uint8_t* bytes, int shift) {
    return load<Value>(bytes) >> shift | load<Value>(bytes + 1) << (8 - shift);
}

// What is left over of a row: the last bytes that fill a vector, of which some are counted already.
struct RowRest {
    int64_t start;
    U8 counted;

    RowRest(int64_t bytes, int64_t done, uint8_t lastByte)
        : start(bytes - vectorBytes), counted(~firstLanes<U8>(done - start)) {
        counted[vectorBytes - 1] &= lastByte;
    }
};

// Rows that fill no vector, a byte at a time in the first lane.
int64_t countNarrow(const BitArea& area, const uint8_t* counted, uint8_t lastByte) {
    U64 counts = {};
    for (int64_t y = 0; y < area.rows; ++y) {
        const uint8_t* const a = area.a + y * area.pitch;
        const uint8_t* const b = area.b + y * area.pitch;
        for (int64_t i = 0; i < area.bytes; ++i) {
            const int shifted = (b[i] | b[i + 1] << 8) >> area.shift;
            int bits = a[i] ^ shifted;
            bits &= counted != nullptr ? counted[i] : i + 1 < area.bytes ? 0xFF : lastByte;
            counts += bitCounts(U64{static_cast<uint64_t>(bits)});
        }
    }
    return static_cast<int64_t>(counts[0]);
}

int64_t countDifferences(const BitArea& area, uint8_t lastByte) {
    if (area.bytes < vectorBytes)
        return countNarrow(area, nullptr, lastByte);
    // The last byte is left to the rest.
    const int64_t whole = (area.bytes - 1) / vectorBytes * vectorBytes;
    const RowRest rest(area.bytes, whole, lastByte);
    U64 counts = {};
    for (int64_t y = 0; y < area.rows; ++y) {
        const uint8_t* const a = area.a + y * area.pitch;
        const uint8_t* const b = area.b + y * area.pitch;
        const auto differing = [=](int64_t x) {
            return load<U64>(a + x) ^ loadShifted<U64>(b + x, area.shift);
        };
        for (int64_t x = 0; x < whole; x += vectorBytes)
            counts += bitCounts(differing(x));
        counts += bitCounts(differing(rest.start) & (U64)rest.counted);
    }
    return sumOfLanes(counts);
}

int64_t countMaskedDifferences(const BitArea& area, const uint8_t* counted) {
    if (area.bytes < vectorBytes)
        return countNarrow(area, counted, 0);
    U64 counts = {};
    for (int64_t next = 0; next < area.bytes; next += vectorBytes) {
        const int64_t x = vectorStart(next, vectorBytes, area.bytes);
        const U64 mask = (U64)(load<U8>(counted + x) & ~firstLanes<U8>(next - x));
        const uint8_t* a = area.a + x;
        const uint8_t* b = area.b + x;
        for (int64_t y = 0; y < area.rows; ++y, a += area.pitch, b += area.pitch)
            counts += bitCounts((load<U64>(a) ^ loadShifted<U64>(b, area.shift)) & mask);
    }
    return sumOfLanes(counts);
}

// The counts for the displacements to the right, none and to the left, of the bits 1 to 30 of every
// word: the neighbours of the others lie in other words.
struct ThreeCounts {
    U64 right = {}, same = {}, left = {};

    [[gnu::always_inline]] void add(U32 a, U32 b, U32 counted) {
        right += bitCounts((U64)((a ^ b >> 1) & counted));
        same += bitCounts((U64)((a ^ b) & counted));
        left += bitCounts((U64)((a ^ b << 1) & counted));
    }
};

void countThreeDifferences(const BitArea& area, int64_t sums[3]) {
    const U32 interior = U32{} + 0x7FFFFFFE;
    ThreeCounts counts;
    const int64_t whole = area.bytes / vectorBytes * vectorBytes;
    for (int64_t y = 0; y < area.rows; ++y) {
        const uint8_t* const a = area.a + y * area.pitch;
        const uint8_t* const b = area.b + y * area.pitch;
        for (int64_t x = 0; x < whole; x += vectorBytes)
            counts.add(load<U32>(a + x), loadShifted<U32>(b + x, area.shift), interior);
        if (whole > 0 && whole < area.bytes) {
            const int64_t x = area.bytes - vectorBytes;
            counts.add(load<U32>(a + x), loadShifted<U32>(b + x, area.shift),
                       interior & (U32)~firstLanes<U8>(whole - x));
        } else {
            for (int64_t x = whole; x < area.bytes; x += 4)
                counts.add(U32{load<uint32_t>(a + x)},
                           U32{loadShifted<uint32_t>(b + x, area.shift)}, U32{0x7FFFFFFE});
        }
    }
    sums[0] = sumOfLanes(counts.right);
    sums[1] = sumOfLanes(counts.same);
    sums[2] = sumOfLanes(counts.left);
}

} // namespace

} // namespace kelvane::KELVANE_TARGET
