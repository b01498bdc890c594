// The pre-processing record: any bytes, through all that the library makes of them.
#include "fuzz_case.h"
#include "support/random_burst.h"
#include "support/record_case.h"

namespace {

using Words = std::vector<uint32_t>;

// Gives the bytes the length that their header asks for, and perhaps faces that can be accepted.
void repair(Random& random, Bytes& bytes, long n, const __tag_KIRO_OFFSCREEN& frame) {
    const auto mapWords = random.between<uint32_t>(0, 3);
    const bool tame = random.chance(70);
    Words words(static_cast<size_t>(8 + 2 * mapWords * n + 103 * n));
    bytes.resize(words.size() * 4, static_cast<unsigned char>(random.between(0, 255)));
    std::memcpy(words.data(), bytes.data(), bytes.size());
    words[1] = static_cast<uint32_t>(n);
    words[4] = mapWords;
    words[5] = 1;
    for (size_t record = words.size() - static_cast<size_t>(103 * n); tame && record < words.size();
         record += 103) {
        words[record + 100] = random.oneOf({0u, 0u, 1u, 2u, 10u, words[record + 100] % 12});
        for (size_t face = record; face < record + 100; face += 10) {
            const __tag_rect rect = random.chance(95) ? random.rectInside(frame.width, frame.height)
                                                      : __tag_rect{0, 0, frame.width + 1, 1};
            std::memcpy(&words[face], &rect, sizeof rect);
            words[face + 4] %= random.chance(95) ? 17 : 18;
            words[face + 5] = random.oneOf({0u, 30u, 80u, words[face + 5]});
            words[face + 6] %= 3;
        }
    }
    std::memcpy(bytes.data(), words.data(), bytes.size());
}

// Reads the faces of an accepted record. False when one is at fault.
bool readFaces(const Bytes& bytes, PlainBurst& burst) {
    const size_t n = burst.params.size();
    bool valid = true;
    for (size_t i = 0; i < n && valid; ++i) {
        uint32_t words[103];
        std::memcpy(words, bytes.data() + bytes.size() - 412 * (n - i), sizeof words);
        _tag_DRAV_FACEINFO& faces = *burst.params[i].faces;
        faces.count = static_cast<int32_t>(words[100]);
        valid = faces.count <= 10;
        for (int64_t j = 0; j < faces.count && valid; ++j) {
            const uint32_t* const entry = words + 10 * j;
            __tag_rect& r = faces.rects[j];
            std::memcpy(&r, entry, sizeof r);
            valid = r.left >= 0 && r.left < r.right && r.right <= burst.frames[0].width &&
                    r.top >= 0 && r.top < r.bottom && r.bottom <= burst.frames[0].height &&
                    entry[4] <= 16;
            faces.codes[j] = entry[4];
            faces.smiles[j] = entry[5] == 0 ? 1 : entry[5] == 30 ? 2 : entry[5] == 80 ? 3 : 0;
            faces.eyes[j] = entry[6] == 0 ? 2 : entry[6] == 1 ? 1 : 0;
        }
    }
    return valid;
}

} // namespace

void fuzzCase(FuzzedRandom& random) {
    const long n = random.between(1, 12);
    PlainBurst burst(static_cast<size_t>(n));
    const auto half = [&] { return random.between<int32_t>(1, 20); };
    __tag_KIRO_OFFSCREEN frame = {0x601, 2 * half(), 2 * half(), {}, {40}};
    const GuardedMemory pixels(random.image(40 * 40));
    frame.planes[0] = pixels.data();
    burst.frames.assign(burst.frames.size(), frame);
    std::vector<_tag_DRAV_BLURRESULT> blurs(burst.frames.size());
    std::vector<_tag_DRAV_DATA> list;
    const bool supplied = random.chance(50);
    for (_tag_DRAV_BLURRESULT& blur : blurs) {
        blur.score = random.between<int32_t>(INT32_MIN, INT32_MAX);
        list.push_back({&blur, sizeof blur});
        if (supplied)
            burst.supplied.push_back(blur.score);
    }
    const int64_t failing = random.chance(30) ? random.between(0, 12) : -1;
    const int64_t kept = random.between(1, n + 1);
    const bool repairs = random.chance(80);
    Bytes bytes = random.rest();
    if (repairs)
        repair(random, bytes, n, frame);

    const GuardedMemory block(bytes);
    const auto size = std::ssize(bytes);
    const Arena arena(1 << 18);
    int accepted = 0;
    expectRead(arena, block.data(), static_cast<int>(size), accepted);
    uint32_t count = 0;
    if (accepted != 0)
        std::memcpy(&count, block.data() + 4, sizeof count);

    Column indices(static_cast<size_t>(kept), -1), plainIndices = indices;
    _tag_DRAV_RESULT result = {kept, indices.data(), -1};
    _tag_DRAV_RESULT expected = {kept, plainIndices.data(), -1};
    allocParams(nullptr, burst.params.data(), n);
    long expectedCode = ERR_INVALID_PARAM;
    if (count == n && readFaces(bytes, burst))
        expectedCode = PlainEngine().rank(burst, expected);
    freeParams(nullptr, burst.params.data(), n);

    _tag_DRAV_ENGINE* engine = nullptr;
    DRAV_Init(arena.handle(), &engine);
    const _tag_DRAV_DATA record = {block.data(), size};
    allocationsUntilFailure = failing;
    const long code =
        supplied ? DRAV_KelvaneWithPreProcessBlur(engine, burst.frames.data(), &record, list.data(),
                                                  n, &result)
                 : DRAV_KelvaneWithPreProcess(engine, burst.frames.data(), &record, n, &result);
    if (code == ERR_NO_MEMORY)
        // An allocation failed, or a record without frames asked for none.
        ASSERT_TRUE((failing >= 0 && allocationsUntilFailure == -1) || size == 32);
    else
        ASSERT_TRUE(code == expectedCode && result.best == expected.best &&
                    result.count == expected.count && indices == plainIndices);
    DRAV_Uninit(&engine);
    ASSERT_TRUE(arena.isEmpty());
}
