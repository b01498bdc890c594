#include "api/preprocessed_ranking.h"

#include "api/engine.h"
#include "api/preprocessing_record.h"
#include "api/ranking.h"
#include "platform/allocation.h"
#include "platform/unaligned.h"

namespace kelvane {

namespace {

uint64_t eyeState(uint32_t eyesOpen) {
    switch (eyesOpen) {
    case 0: return 2;
    case 1: return 1;
    default: return 0;
    }
}

uint64_t smileState(uint32_t degree) {
    switch (degree) {
    case 0: return 1;
    case 30: return 2;
    case 80: return 3;
    default: return 0;
    }
}

// A count beyond the record's ten entries is refused: what it claims is not in the record.
long fillFaces(const unsigned char* records, _tag_DRAV_PARAM* params, int64_t n) {
    for (int64_t i = 0; i < n; ++i) {
        const auto record = loadUnaligned<FrameRecord>(records + i * int64_t{sizeof(FrameRecord)});
        if (record.faceCount > facesPerRecord)
            return ERR_INVALID_PARAM;
        _tag_DRAV_FACEINFO& faces = *params[i].faces;
        faces.count = record.faceCount;
        for (int32_t j = 0; j < record.faceCount; ++j) {
            const FaceEntry& face = record.faces[j];
            faces.rects[j] = face.rect;
            faces.codes[j] = face.code;
            faces.eyes[j] = eyeState(face.eyesOpen);
            faces.smiles[j] = smileState(face.smileDegree);
        }
    }
    return ERR_NONE;
}

} // namespace

long rankPreprocessed(_tag_DRAV_ENGINE* engine, const __tag_KIRO_OFFSCREEN* frames,
                      const _tag_DRAV_DATA* block, const _tag_DRAV_DATA* supplied, int64_t n,
                      _tag_DRAV_RESULT* result) {
    if (engine == nullptr || frames == nullptr || block == nullptr || block->data == nullptr ||
        result == nullptr || n < 1)
        return ERR_INVALID_PARAM;
    void* const memHandle = engine->memHandle;
    _tag_Preprocessor_Data* record = nullptr;
    long code =
        ReadProcessorData(memHandle, &record, block->data, static_cast<int32_t>(block->size));
    if (code != ERR_NONE)
        return code;

    _tag_DRAV_PARAM* params = nullptr;
    if (record->frameCount != n)
        code = ERR_INVALID_PARAM;
    if (code == ERR_NONE) {
        params =
            static_cast<_tag_DRAV_PARAM*>(allocZeroedArray(memHandle, n, sizeof(_tag_DRAV_PARAM)));
        if (params == nullptr)
            code = ERR_NO_MEMORY;
    }
    if (code == ERR_NONE)
        code = allocParamsFace(memHandle, params, n);
    if (code == ERR_NONE)
        code = fillFaces(record->records, params, n);
    if (code == ERR_NONE)
        code = rankFrames(engine, frames, params, supplied, n, result);

    FreeProcessorData(memHandle, &record);
    freeParamsFace(memHandle, params, n);
    VantMemFree(memHandle, params);
    return code;
}

} // namespace kelvane
