#include "api/preprocessing_record.h"

#include "platform/allocation.h"
#include "platform/unaligned.h"

using namespace kelvane;

namespace {

// Bytes of one map, and whether a block of `size` bytes holds exactly what the header announces.
// In 64 bits: a header whose length wraps 32 bits would lead beyond the block.
struct RecordLayout {
    int64_t mapBytes = 0;
    bool matches = false;
};

RecordLayout layoutOf(const PreprocessingHeader& header, int64_t size) {
    constexpr int64_t fixedBytes = sizeof(PreprocessingHeader);
    const int64_t frames = header.frameCount;
    const int64_t mapsSize = size - fixedBytes - frames * int64_t{sizeof(FrameRecord)};
    const uint64_t values = uint64_t{header.mapWidth} * header.mapHeight;
    if (mapsSize < 0)
        return {};
    if (frames == 0)
        return {.mapBytes = 0, .matches = mapsSize == 0};
    // Two sets of four-byte values; after this bound the products below cannot wrap.
    if (values > static_cast<uint64_t>(mapsSize) / 8)
        return {};
    const auto mapBytes = static_cast<int64_t>(values * 4);
    return {.mapBytes = mapBytes, .matches = 2 * frames * mapBytes == mapsSize};
}

// One block: a pointer for each map, then the maps.
uint32_t** copyMaps(void* memHandle, const unsigned char* source, int64_t count, int64_t mapBytes) {
    const int64_t entry = int64_t{sizeof(uint32_t*)} + mapBytes;
    auto** const maps = static_cast<uint32_t**>(allocArray(memHandle, count, entry));
    if (maps == nullptr)
        return nullptr;
    auto* const values = reinterpret_cast<unsigned char*>(maps + count);
    for (int64_t i = 0; i < count; ++i)
        maps[i] = reinterpret_cast<uint32_t*>(values + i * mapBytes);
    VantMemCpy(values, source, count * mapBytes);
    return maps;
}

long fillRecord(void* memHandle, _tag_Preprocessor_Data* record, const unsigned char* block,
                int64_t size) {
    if (size < int64_t{sizeof(PreprocessingHeader)})
        return ERR_INVALID_PARAM;
    const auto header = loadUnaligned<PreprocessingHeader>(block);
    VantMemCpy(record->header, block, sizeof record->header);
    record->frameCount = static_cast<int32_t>(header.frameCount);
    const RecordLayout layout = layoutOf(header, size);
    if (!layout.matches)
        return ERR_INVALID_PARAM;

    const int64_t frames = header.frameCount;
    const unsigned char* const firstSet = block + sizeof header;
    const unsigned char* const secondSet = firstSet + frames * layout.mapBytes;
    const unsigned char* const frameRecords = secondSet + frames * layout.mapBytes;
    record->firstMaps = copyMaps(memHandle, firstSet, frames, layout.mapBytes);
    if (record->firstMaps == nullptr)
        return ERR_NO_MEMORY;
    record->secondMaps = copyMaps(memHandle, secondSet, frames, layout.mapBytes);
    if (record->secondMaps == nullptr)
        return ERR_NO_MEMORY;
    record->records =
        static_cast<unsigned char*>(allocArray(memHandle, frames, sizeof(FrameRecord)));
    if (record->records == nullptr)
        return ERR_NO_MEMORY;
    VantMemCpy(record->records, frameRecords, frames * int64_t{sizeof(FrameRecord)});
    return ERR_NONE;
}

} // namespace

long ReadProcessorData(void* memHandle, _tag_Preprocessor_Data** out, void* block, int size) {
    if (out == nullptr || block == nullptr)
        return ERR_INVALID_PARAM;
    auto* record = static_cast<_tag_Preprocessor_Data*>(
        allocZeroedArray(memHandle, 1, sizeof(_tag_Preprocessor_Data)));
    if (record == nullptr)
        return ERR_NO_MEMORY;
    const long code = fillRecord(memHandle, record, static_cast<unsigned char*>(block), size);
    if (code != ERR_NONE) {
        FreeProcessorData(memHandle, &record);
        return code;
    }
    *out = record;
    return ERR_NONE;
}

long FreeProcessorData(void* memHandle, _tag_Preprocessor_Data** record) {
    if (record == nullptr || *record == nullptr)
        return ERR_INVALID_PARAM;
    VantMemFree(memHandle, (*record)->firstMaps);
    VantMemFree(memHandle, (*record)->secondMaps);
    VantMemFree(memHandle, (*record)->records);
    VantMemFree(memHandle, *record);
    *record = nullptr;
    return ERR_NONE;
}
