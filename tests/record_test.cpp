// The pre-processing record, checked byte by byte, and the face data of a burst.
#include "support/arena.h"
#include "support/cases.h"

namespace {

__extension__ typedef unsigned __int128 Wide; // lengths are below 2^98

// The maps and records that follow the header of an accepted block.
void expectHeld(const _tag_Preprocessor_Data& record, const unsigned char* block) {
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
void expectRead(const Arena& arena, unsigned char* block, int size) {
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
    note(expected);
    if (record != nullptr) {
        expectHeld(*record, block);
        noteBytes(record->firstMaps[0], 4L * header[4] * header[5]);
        noteBytes(record->records, 412L * record->frameCount);
        ASSERT_EQ(FreeProcessorData(arena.handle(), &record), ERR_NONE);
        ASSERT_EQ(record, nullptr);
    }
    ASSERT_TRUE(arena.isEmpty());
}

void expectRecord(Random& random) {
    const Arena arena(1 << 16);
    const auto small = [&] { return random.between<uint32_t>(0, 5); };
    uint32_t header[8] = {0, small(), 0, 0, small(), small()};
    auto size = static_cast<int>(32 + header[1] * (8 * header[4] * header[5] + 412));
    if (random.chance(30))
        header[random.oneOf({1, 4, 5})] = random.oneOf<uint32_t>(
            {small(), 0x10000, 0x40000000, 0xFFFFFFFF, random.between<uint32_t>(0, UINT32_MAX)});
    if (random.chance(10)) { // 8wh is 2^32 or 2^35
        header[4] = 0x10000;
        header[5] = random.oneOf({0x2000u, 0x10000u});
    }
    if (random.chance(30))
        size = random.oneOf({size - 1, size + 1, 32, 444, random.between<int>(0, 31)});
    if (random.chance(1)) { // 8Nwh is 2^32 more than the bytes of the maps
        header[1] = 8192;
        header[4] = 65545;
        header[5] = 1;
        size = 32 + 412 * 8192 + 9 * 65536;
    }
    // Ends at an inaccessible page, or one byte before.
    const GuardedMemory block(static_cast<size_t>(size) + random.between<size_t>(0, 1));
    random.fill(block.data(), size);
    std::memcpy(block.data(), header, std::min<size_t>(sizeof header, static_cast<size_t>(size)));
    expectRead(arena, block.data(), size);
}

const Register registered{{
    {"Record", 4000, 0x7482319868A02B72, expectRecord},
}};

TEST(FaceStorage, LayoutAndOwnership) {
    constexpr int64_t n = 3;
    const Arena arena(n * 440 + 16 + n * 24); // room for just both blocks
    _tag_DRAV_FACEINFO faces = {};
    _tag_DRAV_PARAM params[n];
    for (_tag_DRAV_PARAM& param : params) {
        param = {nullptr, &faces};
        EXPECT_EQ(DRAV_GetDefaultParam(&param), ERR_NONE);
        EXPECT_EQ(param.faces, nullptr);
    }
    ASSERT_EQ(allocParams(arena.handle(), params, n), ERR_NONE);
    EXPECT_EQ(GetMaxAllocMemSize(arena.handle()), 0);
    const auto* const block = reinterpret_cast<unsigned char*>(params[0].faces);
    for (size_t i = 0; i < n; ++i) {
        const _tag_DRAV_FACEINFO& made = *params[i].faces;
        const auto offsetOf = [&](const void* part) {
            return static_cast<const unsigned char*>(part) - block - 440 * static_cast<long>(i);
        };
        EXPECT_TRUE(offsetOf(&made) == 0 && offsetOf(made.rects) == 40 &&
                    offsetOf(made.codes) == 200 && offsetOf(made.eyes) == 280 &&
                    offsetOf(made.smiles) == 360);
        EXPECT_EQ(made.count, 0);
        for (const unsigned char* byte = block + 440 * i + 40; byte < block + 440 * (i + 1); ++byte)
            ASSERT_EQ(*byte, 0);
        EXPECT_EQ(params[i].alignment, params[0].alignment + i);
        EXPECT_EQ(params[i].alignment->frameIndex, 0);
    }
    for (int times = 0; times < 2; ++times) { // once released, nothing happens
        freeParams(arena.handle(), params, n);
        EXPECT_TRUE(arena.isEmpty() && !params[n - 1].faces && !params[n - 1].alignment);
    }
    for (const auto release : {freeParams, freeParamsFace, freeParamsAlign})
        release(arena.handle(), nullptr, n);
    for (const auto allocate : {allocParams, allocParamsFace, allocParamsAlign})
        for (const int64_t tooMany : {INT64_MAX, INT64_MAX / 440 + 2, (int64_t{1} << 32) / 8})
            EXPECT_EQ(allocate(arena.handle(), params, tooMany), ERR_NO_MEMORY);
    // An earlier block is released when there is no room for another, and no more entries are
    // cleared than can exist.
    for (const auto allocate : {allocParams, allocParamsFace, allocParamsAlign}) {
        ASSERT_EQ(allocParams(arena.handle(), params, n), ERR_NONE);
        EXPECT_EQ(allocate(arena.handle(), params, INT64_MAX), ERR_NO_MEMORY);
        EXPECT_EQ(params[0].faces == nullptr, allocate != allocParamsAlign);
        EXPECT_EQ(params[0].alignment == nullptr, allocate != allocParamsFace);
        EXPECT_TRUE(params[1].faces != nullptr && params[1].alignment != nullptr);
        freeParams(arena.handle(), params, 1);
        EXPECT_TRUE(arena.isEmpty());
    }
}

} // namespace
