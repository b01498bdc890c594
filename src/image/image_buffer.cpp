// Images in memory of the library, and copies of their pixels.
#include "kelvane/kelvane.h"

#include "image/format.h"

namespace kelvane {

namespace {

constexpr int planeLimit = 4;

// What one plane of a format holds of an image.
struct PlaneSize {
    int64_t rowBytes;
    int64_t rows;
};

struct PlaneLayout {
    int count; // 0 for a format that is not copied
    PlaneSize planes[planeLimit];
};

PlaneLayout planeLayoutOf(uint32_t format, int64_t width, int64_t height) {
    const PlaneSize luma = {width, height};
    switch (format) {
    case KELVANE_FORMAT_YUYV:
    case KELVANE_FORMAT_YVYU: return {1, {{2 * width, height}}};
    case KELVANE_FORMAT_YUV420:
        return {3, {luma, {width / 2, height / 2}, {width / 2, height / 2}}};
    case KELVANE_FORMAT_YUV422: return {3, {luma, {width / 2, height}, {width / 2, height}}};
    case KELVANE_FORMAT_YUV420_CBCR:
    case KELVANE_FORMAT_YUV420_CRCB: return {2, {luma, {width, height / 2}}};
    case KELVANE_FORMAT_YUV422_CRCB: return {2, {luma, luma}};
    default: return {};
    }
}

bool lacksPlane(const __tag_KIRO_OFFSCREEN& image, const PlaneLayout& layout) {
    for (int k = 0; k < layout.count; ++k) {
        const bool empty = layout.planes[k].rowBytes <= 0 || layout.planes[k].rows <= 0;
        if (!empty && image.planes[k] == nullptr)
            return true;
    }
    return false;
}

// A plane without pixels may be null, and has no row to point to.
void copyPlane(const __tag_KIRO_OFFSCREEN& dst, const __tag_KIRO_OFFSCREEN& src, int plane,
               PlaneSize size) {
    for (int64_t y = 0; y < size.rows && size.rowBytes > 0; ++y)
        VantMemCpy(dst.planes[plane] + y * dst.pitches[plane],
                   src.planes[plane] + y * src.pitches[plane], size.rowBytes);
}

// Sizes that the descriptor's 32-bit fields cannot hold would describe another image.
bool fitsDescriptor(long value) { return value > 0 && value <= INT32_MAX; }

} // namespace

} // namespace kelvane

using namespace kelvane;

extern "C" {

long imgAlloc(void* memHandle, __tag_KIRO_OFFSCREEN* image, long width, long height, long format) {
    const auto code = static_cast<uint32_t>(format);
    if (image == nullptr || code != format || !isPlanarFormat(code) || image->planes[0] != nullptr)
        return ERR_INVALID_PARAM;
    if (!fitsDescriptor(width) || !fitsDescriptor(height))
        return ERR_INVALID_PARAM;
    const int64_t pitch = (width + 3) & -4;
    if (!fitsDescriptor(pitch))
        return ERR_INVALID_PARAM;

    // Below 2^62, so that neither sum can wrap.
    const int64_t lumaSize = pitch * height;
    const int64_t chromaSize = code == KELVANE_FORMAT_YUV422 ? lumaSize : lumaSize / 2;
    auto* const block = static_cast<unsigned char*>(VantMemAlloc(memHandle, lumaSize + chromaSize));
    if (block == nullptr)
        return ERR_NO_MEMORY;

    const auto lumaPitch = static_cast<int32_t>(pitch);
    image->planes[0] = block;
    image->pitches[0] = lumaPitch;
    image->planes[1] = block + lumaSize;
    image->pitches[1] = code == KELVANE_FORMAT_YUV420_CRCB ? lumaPitch : lumaPitch / 2;
    if (code != KELVANE_FORMAT_YUV420_CRCB) {
        image->planes[2] = block + lumaSize + chromaSize / 2;
        image->pitches[2] = lumaPitch / 2;
    }
    image->width = static_cast<int32_t>(width);
    image->height = static_cast<int32_t>(height);
    image->format = code;
    return ERR_NONE;
}

void imgFree(void* memHandle, __tag_KIRO_OFFSCREEN* image) {
    if (image == nullptr)
        return;
    VantMemFree(memHandle, image->planes[0]);
    VantMemSet(image, 0, sizeof *image); // padding included, unlike an assignment
}

long CopyImageData(__tag_KIRO_OFFSCREEN* dst, const __tag_KIRO_OFFSCREEN* src) {
    if (dst == nullptr || src == nullptr || dst->width != src->width ||
        dst->height != src->height || dst->format != src->format)
        return ERR_INVALID_PARAM;
    const PlaneLayout layout = planeLayoutOf(src->format, src->width, src->height);
    if (layout.count == 0)
        return ERR_UNSUPPORTED;
    // Found before the first byte is written.
    if (lacksPlane(*dst, layout) || lacksPlane(*src, layout))
        return ERR_INVALID_PARAM;
    for (int k = 0; k < layout.count; ++k)
        copyPlane(*dst, *src, k, layout.planes[k]);
    return ERR_NONE;
}

} // extern "C"
