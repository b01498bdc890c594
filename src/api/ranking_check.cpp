#include "api/ranking_check.h"

#include "image/format.h"

namespace kelvane {

namespace {

bool isInsideFrame(const __tag_rect& rect, const __tag_KIRO_OFFSCREEN& frame) {
    return rect.left < rect.right && rect.top < rect.bottom && rect.left >= 0 && rect.top >= 0 &&
           rect.right <= frame.width && rect.bottom <= frame.height;
}

bool isFaceValid(const _tag_DRAV_FACEINFO& faces, int64_t j, const __tag_KIRO_OFFSCREEN& frame) {
    return isInsideFrame(faces.rects[j], frame) && faces.codes[j] <= 16 &&
           (faces.eyes == nullptr || faces.eyes[j] <= 2) &&
           (faces.smiles == nullptr || faces.smiles[j] <= 3);
}

// Whether some frame so far has supplied the optional arrays: later faces then need them too.
struct SeenArrays {
    bool eyes = false;
    bool smiles = false;
};

bool areFacesValid(const _tag_DRAV_FACEINFO* faces, const __tag_KIRO_OFFSCREEN& frame,
                   SeenArrays& seen) {
    if (faces == nullptr)
        return false;
    if (faces->count <= 0)
        return true;
    const bool missing = faces->rects == nullptr || faces->codes == nullptr ||
                         (seen.eyes && faces->eyes == nullptr) ||
                         (seen.smiles && faces->smiles == nullptr);
    if (missing)
        return false;
    seen.eyes |= faces->eyes != nullptr;
    seen.smiles |= faces->smiles != nullptr;
    // Face by face, so that an absurd count reads no further than the first face at fault.
    for (int64_t j = 0; j < faces->count; ++j) {
        if (!isFaceValid(*faces, j, frame))
            return false;
    }
    return true;
}

bool isAlignmentValid(const _tag_DRAV_ALIGNMENT* alignment, int64_t n) {
    return alignment != nullptr && alignment->frameIndex >= 0 && alignment->frameIndex < n;
}

} // namespace

bool areRankingArgumentsValid(const _tag_DRAV_ENGINE* engine, const __tag_KIRO_OFFSCREEN* frames,
                              const _tag_DRAV_PARAM* params, int64_t n,
                              const _tag_DRAV_RESULT* result) {
    if (engine == nullptr || frames == nullptr || params == nullptr || result == nullptr)
        return false;
    if (n < 1 || result->count < 1 || result->indices == nullptr)
        return false;
    const __tag_KIRO_OFFSCREEN& first = frames[0];
    if (first.width % 2 != 0 || first.height % 2 != 0)
        return false;

    const bool aligned = params[0].alignment != nullptr;
    SeenArrays seen;
    for (int64_t i = 0; i < n; ++i) {
        const __tag_KIRO_OFFSCREEN& frame = frames[i];
        // Formats may be mixed: each frame is measured in its own.
        if (!isPlanarFormat(frame.format) || frame.width != first.width ||
            frame.height != first.height)
            return false;
        if (aligned && !isAlignmentValid(params[i].alignment, n))
            return false;
        if (!areFacesValid(params[i].faces, frame, seen))
            return false;
    }
    return true;
}

} // namespace kelvane
