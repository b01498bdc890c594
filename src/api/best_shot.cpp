// The three best-shot entry points.
#include "api/preprocessed_ranking.h"
#include "api/ranking.h"

extern "C" {

long DRAV_Kelvane(_tag_DRAV_ENGINE* engine, const __tag_KIRO_OFFSCREEN* frames,
                  const _tag_DRAV_PARAM* params, long n, _tag_DRAV_RESULT* result) {
    return kelvane::rankFrames(engine, frames, params, nullptr, n, result);
}

long DRAV_KelvaneWithPreProcess(_tag_DRAV_ENGINE* engine, const __tag_KIRO_OFFSCREEN* frames,
                                const _tag_DRAV_DATA* record, long n, _tag_DRAV_RESULT* result) {
    return kelvane::rankPreprocessed(engine, frames, record, nullptr, n, result);
}

long DRAV_KelvaneWithPreProcessBlur(_tag_DRAV_ENGINE* engine, const __tag_KIRO_OFFSCREEN* frames,
                                    const _tag_DRAV_DATA* record, const _tag_DRAV_DATA* blurs,
                                    long n, _tag_DRAV_RESULT* result) {
    if (blurs == nullptr)
        return ERR_INVALID_PARAM;
    for (long i = 0; i < n; ++i) {
        if (blurs[i].data == nullptr || blurs[i].size != int64_t{sizeof(_tag_DRAV_BLURRESULT)})
            return ERR_INVALID_PARAM;
    }
    return kelvane::rankPreprocessed(engine, frames, record, blurs, n, result);
}

} // extern "C"
