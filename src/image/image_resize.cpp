// Images at another size.
#include "kelvane/kelvane.h"

#include "image/format.h"
#include "image/plane_copy.h"
#include "platform/conversion.h"

namespace {

// Unsigned, so that a saturated length does not overflow.
long roundUpToEven(int64_t value) {
    return static_cast<long>((static_cast<uint64_t>(value) + 1) & ~uint64_t{1});
}

} // namespace

extern "C" {

long imgResize(void* memHandle, const __tag_KIRO_OFFSCREEN* src, __tag_KIRO_OFFSCREEN* dst) {
    if (src == nullptr || dst == nullptr || src->planes[0] == nullptr ||
        dst->planes[0] == nullptr || src->format != dst->format ||
        !kelvane::isPlanarFormat(src->format))
        return ERR_INVALID_PARAM;

    const bool sameLayout = src->width == dst->width && src->height == dst->height &&
                            src->pitches[0] == dst->pitches[0] &&
                            src->pitches[1] == dst->pitches[1];
    if (sameLayout) {
        kelvane::copyPlane(src->planes[0], dst->planes[0], src->width, src->height,
                           src->pitches[0]);
        return ERR_NONE;
    }
    void* buffer = nullptr;
    long code = ImageResize_AllocMem_BL(memHandle, src->width, src->height, 1, dst->width,
                                        dst->height, &buffer);
    if (code != ERR_NONE)
        return code;
    code = ImageResize_BL(src->planes[0], src->width, src->height, src->pitches[0], 1,
                          dst->planes[0], dst->width, dst->height, dst->pitches[0], &buffer);
    VantMemFree(memHandle, buffer);
    return code;
}

void CalSmallImgSize(long width, long height, long* outWidth, long* outHeight, float* scale,
                     long maxSide) {
    const auto longer = static_cast<float>(width > height ? width : height);
    const auto most = static_cast<float>(maxSide);
    *scale = most < longer ? most / longer : 1.0f;
    *outWidth = roundUpToEven(kelvane::roundedProduct<int64_t>(*scale, static_cast<float>(width)));
    *outHeight =
        roundUpToEven(kelvane::roundedProduct<int64_t>(*scale, static_cast<float>(height)));
}

} // extern "C"
