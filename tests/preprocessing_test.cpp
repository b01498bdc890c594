#include "api/engine.h"
#include "support/arena.h"
#include "support/random.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

void put(Bytes& bytes, size_t offset, uint32_t value) {
    std::memcpy(&bytes[offset], &value, sizeof value);
}

uint32_t get(const Bytes& bytes, size_t offset) {
    uint32_t value;
    std::memcpy(&value, &bytes[offset], sizeof value);
    return value;
}

Bytes makeRecord(uint32_t n, uint32_t width, uint32_t height, size_t size) {
    Bytes bytes(size);
    put(bytes, 4, n);
    put(bytes, 16, width);
    put(bytes, 20, height);
    return bytes;
}

size_t sizeOf(size_t n, size_t width, size_t height) { return 32 + n * (8 * width * height + 412); }

// Reads from a block that ends at an inaccessible page, or one byte before.
long readGuarded(void* handle, _tag_Preprocessor_Data** out, const Bytes& bytes, size_t odd = 0) {
    const GuardedMemory block(bytes.size() + odd);
    std::copy(bytes.begin(), bytes.end(), block.data());
    return ReadProcessorData(handle, out, block.data(), static_cast<int>(bytes.size()));
}

void expectCopied(const _tag_Preprocessor_Data& record, const Bytes& bytes) {
    const uint32_t n = get(bytes, 4);
    const size_t mapBytes = size_t{4} * get(bytes, 16) * get(bytes, 20);
    ASSERT_EQ(record.frameCount, static_cast<int32_t>(n));
    ASSERT_EQ(std::memcmp(record.header, bytes.data(), 32), 0);
    size_t offset = 32;
    for (uint32_t** const maps : {record.firstMaps, record.secondMaps}) {
        const auto* const values = reinterpret_cast<unsigned char*>(maps + n);
        for (size_t i = 0; i < n; ++i, offset += mapBytes) {
            ASSERT_EQ(reinterpret_cast<unsigned char*>(maps[i]), values + mapBytes * i);
            ASSERT_EQ(std::memcmp(maps[i], &bytes[offset], mapBytes), 0);
        }
    }
    ASSERT_EQ(std::memcmp(record.records, &bytes[offset], 412 * size_t{n}), 0);
}

TEST(PreprocessingRecord, IsCopiedWhenItsLengthIsExact) {
    Random random;
    const Arena arena(1 << 16);
    int accepted = 0;
    EXPECT_EQ(sizeOf(3, 4, 2), 1460u);
    for (int i = 0; i < 20000; ++i) {
        const auto small = [&] { return random.between<uint32_t>(0, 5); };
        const uint32_t frames = 1 + small();
        const uint32_t width = small();
        const uint32_t height = small();
        Bytes bytes = makeRecord(frames, width, height, sizeOf(frames, width, height));
        for (const size_t field : {4u, 16u, 20u}) {
            if (random.chance(30))
                put(bytes, field,
                    random.oneOf<uint32_t>({small(), 0x10000, 0x40000000, 0xFFFFFFFF,
                                            random.between<uint32_t>(0, UINT32_MAX)}));
        }
        random.fill(bytes.data() + 24, static_cast<int64_t>(bytes.size()) - 24);
        if (random.chance(30))
            bytes.resize(random.oneOf<size_t>(
                {bytes.size() - 1, bytes.size() + 1, 32, random.between<size_t>(0, 31)}));
        long expected = ERR_INVALID_PARAM;
        if (bytes.size() >= 32) {
            __extension__ typedef unsigned __int128 Wide; // the product is below 2^98
            const Wide n = get(bytes, 4);
            if (8 * n * get(bytes, 16) * get(bytes, 20) + 412 * n + 32 == bytes.size())
                // Without frames the arena is asked for blocks of no bytes, which it has not.
                expected = n == 0 ? ERR_NO_MEMORY : ERR_NONE;
        }
        _tag_Preprocessor_Data* record = nullptr;
        ASSERT_EQ(readGuarded(arena.handle(), &record, bytes, random.between<size_t>(0, 1)),
                  expected);
        ASSERT_EQ(record != nullptr, expected == ERR_NONE);
        if (record != nullptr) {
            expectCopied(*record, bytes);
            ASSERT_EQ(FreeProcessorData(arena.handle(), &record), ERR_NONE);
            ASSERT_EQ(record, nullptr);
            ++accepted;
        }
        ASSERT_TRUE(arena.isEmpty());
    }
    EXPECT_GT(accepted, 3000);
}

TEST(PreprocessingRecord, LengthsThatWrapAreRefused) {
    _tag_Preprocessor_Data* record = nullptr;
    // Right in 32 bits: 8wh is 2^32; 412N is 103 * 2^32; 8Nwh is 2^32 more than the maps' bytes.
    for (const Bytes& bytes : {makeRecord(1, 0x10000, 0x2000, 444), makeRecord(1u << 30, 0, 0, 32),
                               makeRecord(8192, 65545, 1, 32 + 412 * 8192 + 9 * 65536)})
        EXPECT_EQ(readGuarded(nullptr, &record, bytes), ERR_INVALID_PARAM);
    unsigned char byte = 0;
    for (const int size : {0, 31, -1, INT32_MIN})
        EXPECT_EQ(ReadProcessorData(nullptr, &record, &byte, size), ERR_INVALID_PARAM);
    EXPECT_EQ(ReadProcessorData(nullptr, &record, nullptr, 32), ERR_INVALID_PARAM);
    EXPECT_EQ(ReadProcessorData(nullptr, nullptr, &byte, 32), ERR_INVALID_PARAM);
    EXPECT_EQ(record, nullptr);
    EXPECT_EQ(FreeProcessorData(nullptr, nullptr), ERR_INVALID_PARAM);
    EXPECT_EQ(FreeProcessorData(nullptr, &record), ERR_INVALID_PARAM);
}

struct Entry {
    uint32_t code, smileDegree, eyesOpen;
};

// Ranks two frames of one supplied sharpness, so that their faces alone decide.
struct PreprocessedRanking : testing::Test {
    PreprocessedRanking() { DRAV_Init(arena.handle(), &engine); }
    ~PreprocessedRanking() override {
        DRAV_Uninit(&engine);
        EXPECT_TRUE(arena.isEmpty());
    }

    void putFaces(uint32_t frame, int32_t count, const Entry& entry) {
        const size_t offset = bytes.size() - 412 * (2 - frame);
        for (int32_t face = 0; face < std::min(count, 10); ++face) {
            const uint32_t fields[] = {1, 2, 3, 4, entry.code, entry.smileDegree, entry.eyesOpen};
            for (size_t i = 0; i < 7; ++i)
                put(bytes, offset + 40 * static_cast<size_t>(face) + 4 * i, fields[i]);
        }
        put(bytes, offset + 400, static_cast<uint32_t>(count));
    }
    long rank(int64_t n = 2) {
        result = {1, &index, -1};
        const long code =
            DRAV_KelvaneWithPreProcessBlur(engine, frames, &record, blurs, n, &result);
        EXPECT_EQ(arena.blocksInUse(), 1 + (engine->movingRects != nullptr));
        return code;
    }
    int64_t best() {
        EXPECT_EQ(rank(), ERR_NONE);
        return result.best;
    }

    Arena arena{1 << 14};
    _tag_DRAV_ENGINE* engine = nullptr;
    __tag_KIRO_OFFSCREEN frames[2] = {{0x601, 8, 8, {}, {}}, {0x802, 8, 8, {}, {}}};
    _tag_DRAV_BLURRESULT blurResults[2] = {};
    _tag_DRAV_DATA blurs[2] = {{&blurResults[0], 16}, {&blurResults[1], 16}};
    Bytes bytes = makeRecord(2, 1, 3, sizeOf(2, 1, 3));
    _tag_DRAV_DATA record = {bytes.data(), static_cast<int64_t>(bytes.size())};
    int64_t index = -1;
    _tag_DRAV_RESULT result = {};
};

TEST_F(PreprocessedRanking, FaceEntriesBecomeAttributes) {
    // Each is worth more than the one before: closed eyes and a code that counts against the
    // frame, closed eyes, the code alone, nothing known, smile, open eyes, broad smile, and both.
    const Entry rising[] = {{16, 0, 0}, {12, 0, 0}, {13, 0, 2}, {0, 50, 7}, {12, 30, 2},
                            {0, 0, 1},  {0, 80, 7}, {0, 30, 1}, {0, 80, 1}};
    for (size_t better = 1; better < std::size(rising); ++better) {
        for (size_t worse = 0; worse < better; ++worse) {
            putFaces(0, 1, rising[worse]);
            putFaces(1, 1, rising[better]);
            EXPECT_EQ(best(), 1) << worse << ' ' << better;
        }
    }
    putFaces(0, 1, {0, 0, 2}); // no smile is worth as much as none known
    putFaces(1, 1, {16, 31, 2});
    EXPECT_EQ(best(), 0);
    putFaces(0, 1, {0, 80, 1});
    putFaces(1, 10, {0, 31, 7});
    EXPECT_EQ(best(), 1);
    putFaces(0, 2, {0, 0, 0}); // one face in all is enough for two frames
    putFaces(1, -1, {});
    EXPECT_EQ(best(), 1);
    putFaces(1, -2, {});
    EXPECT_EQ(best(), 0);
    blurResults[1].score = 1;
    EXPECT_EQ(best(), 1);
    blurResults[0].score = 2;
    EXPECT_EQ(best(), 0);
}

TEST_F(PreprocessedRanking, RefusesWhatIsNotConsistent) {
    for (const int32_t count : {11, INT32_MAX}) {
        putFaces(1, count, {});
        EXPECT_EQ(rank(), ERR_INVALID_PARAM);
    }
    putFaces(1, 10, {17, 0, 0});
    EXPECT_EQ(rank(), ERR_INVALID_PARAM);
    putFaces(1, 10, {16, 0, 0});
    EXPECT_EQ(rank(), ERR_NONE);
    for (const int64_t n : {int64_t{1}, int64_t{0}, INT64_MIN})
        EXPECT_EQ(rank(n), ERR_INVALID_PARAM);
    ++record.size;
    EXPECT_EQ(rank(), ERR_INVALID_PARAM);
    record.size += (int64_t{1} << 32) - 1; // the length is taken as 32 bits
    EXPECT_EQ(rank(), ERR_NONE);

    const auto call = DRAV_KelvaneWithPreProcess;
    const _tag_DRAV_DATA empty = {nullptr, record.size};
    EXPECT_EQ(call(nullptr, frames, &record, 2, &result), ERR_INVALID_PARAM);
    EXPECT_EQ(call(engine, nullptr, &record, 2, &result), ERR_INVALID_PARAM);
    EXPECT_EQ(call(engine, frames, nullptr, 2, &result), ERR_INVALID_PARAM);
    EXPECT_EQ(call(engine, frames, &empty, 2, &result), ERR_INVALID_PARAM);
    EXPECT_EQ(call(engine, frames, &record, 2, nullptr), ERR_INVALID_PARAM);
    EXPECT_EQ(call(engine, frames, &record, 2, &result), ERR_INVALID_PARAM); // no planes to measure

    for (const _tag_DRAV_DATA& faulty :
         {_tag_DRAV_DATA{blurResults, 12}, {blurResults, 17}, {blurResults, -16}, {nullptr, 16}}) {
        blurs[1] = faulty;
        EXPECT_EQ(rank(), ERR_INVALID_PARAM);
    }
    EXPECT_EQ(DRAV_KelvaneWithPreProcessBlur(engine, frames, &record, nullptr, 2, &result),
              ERR_INVALID_PARAM);
}

TEST(FaceStorage, LayoutAndOwnership) {
    constexpr int64_t n = 3;
    const Arena arena(n * 440 + 16 + n * 24); // room for just both blocks
    _tag_DRAV_PARAM params[n] = {};
    ASSERT_EQ(allocParams(arena.handle(), params, n), ERR_NONE);
    EXPECT_EQ(GetMaxAllocMemSize(arena.handle()), 0);
    const auto* const block = reinterpret_cast<unsigned char*>(params[0].faces);
    for (size_t i = 0; i < n; ++i) {
        const _tag_DRAV_FACEINFO& faces = *params[i].faces;
        const auto offsetOf = [&](const void* part) {
            return static_cast<const unsigned char*>(part) - block - 440 * static_cast<long>(i);
        };
        EXPECT_TRUE(offsetOf(&faces) == 0 && offsetOf(faces.rects) == 40 &&
                    offsetOf(faces.codes) == 200 && offsetOf(faces.eyes) == 280 &&
                    offsetOf(faces.smiles) == 360);
        EXPECT_EQ(faces.count, 0);
        for (const unsigned char* byte = block + 440 * i + 40; byte < block + 440 * (i + 1); ++byte)
            ASSERT_EQ(*byte, 0);
        EXPECT_EQ(params[i].alignment, params[0].alignment + i);
        EXPECT_EQ(params[i].alignment->frameIndex, 0);
    }
    freeParams(arena.handle(), params, n);
    EXPECT_TRUE(arena.isEmpty());
    for (const _tag_DRAV_PARAM& param : params)
        EXPECT_TRUE(param.faces == nullptr && param.alignment == nullptr);
    freeParams(arena.handle(), params, n);
    for (const auto release : {freeParams, freeParamsFace, freeParamsAlign})
        release(arena.handle(), nullptr, n);

    for (const auto allocate : {allocParams, allocParamsFace, allocParamsAlign}) {
        EXPECT_EQ(allocate(arena.handle(), nullptr, n), ERR_INVALID_PARAM);
        EXPECT_EQ(allocate(arena.handle(), params, 0), ERR_INVALID_PARAM);
        for (const int64_t tooMany : {INT64_MAX, INT64_MAX / 440 + 2, (int64_t{1} << 32) / 8})
            EXPECT_EQ(allocate(arena.handle(), params, tooMany), ERR_NO_MEMORY);
    }
    // No more entries are cleared than can exist when what is released was for fewer.
    ASSERT_EQ(allocParams(arena.handle(), params, n), ERR_NONE);
    EXPECT_EQ(allocParams(arena.handle(), params, INT64_MAX), ERR_NO_MEMORY);
    EXPECT_TRUE(arena.isEmpty() && params[0].faces == nullptr && params[1].faces != nullptr);
}

} // namespace
