// The pre-processing record, checked byte by byte.
#pragma once

#include "support/arena.h"

#include <gtest/gtest.h>

__extension__ typedef unsigned __int128 Wide; // lengths are below 2^98

// The maps and records that follow the header of an accepted block.
inline void expectHeld(const _tag_Preprocessor_Data& record, const unsigned char* block) {
    uint32_t header[8];
    std::memcpy(header, block, sizeof header);
    const size_t n = header[1];
    const size_t mapBytes = size_t{4} * header[4] * header[5];
    ASSERT_TRUE(record.frameCount == static_cast<int32_t>(n) &&
                std::memcmp(record.header, block, 32) == 0);
    block += 32;
    for (uint32_t** const maps : {record.firstMaps, record.secondMaps}) {
        for (size_t i = 0; i < n; ++i, block += mapBytes) {
            const auto* const values = reinterpret_cast<unsigned char*>(maps + n) + mapBytes * i;
            ASSERT_EQ(reinterpret_cast<unsigned char*>(maps[i]), values);
            ASSERT_EQ(std::memcmp(values, block, mapBytes), 0);
        }
    }
    ASSERT_EQ(std::memcmp(record.records, block, 412 * n), 0);
}

// Reads and releases the record, which is accepted when its length is the one that it gives.
inline void expectRead(const Arena& arena, unsigned char* block, int size, int& accepted) {
    uint32_t header[8] = {};
    std::memcpy(header, block, std::min<size_t>(sizeof header, static_cast<size_t>(size)));
    long expected = ERR_INVALID_PARAM;
    const Wide n = header[1];
    if (size >= 32 && 8 * n * header[4] * header[5] + 412 * n + 32 == static_cast<Wide>(size))
        // Without frames the arena is asked for blocks of no bytes, which it has not.
        expected = n == 0 ? ERR_NO_MEMORY : ERR_NONE;
    _tag_Preprocessor_Data* record = nullptr;
    ASSERT_EQ(ReadProcessorData(arena.handle(), &record, block, size), expected);
    ASSERT_EQ(record != nullptr, expected == ERR_NONE);
    if (record != nullptr) {
        expectHeld(*record, block);
        ASSERT_EQ(FreeProcessorData(arena.handle(), &record), ERR_NONE);
        ASSERT_EQ(record, nullptr);
        ++accepted;
    }
    ASSERT_TRUE(arena.isEmpty());
}
