// The region that changed between two frames.
#include "image/format.h"
#include "roi/bounding_box.h"
#include "roi/context.h"
#include "roi/morphology.h"

#include <algorithm>
#include <cstdlib>

using namespace kelvane;

namespace {

constexpr unsigned char darker = 0; // what the mask holds where the first frame is darker
constexpr unsigned char unchanged = 128;
constexpr unsigned char brighter = 255;

// Rows that overlap, as with a pitch below the width, are no frame.
bool isFrameOf(const _tag_ROI_CONTEXT& roi, const __tag_KIRO_OFFSCREEN& frame) {
    return isPlanarFormat(frame.format) && frame.width == roi.width && frame.height == roi.height &&
           frame.planes[0] != nullptr && frame.pitches[0] >= frame.width;
}

// Half of a - b, shifted up: 127 where the frames agree. Rounded down as the complement of a mean
// that is rounded up, for which processors have an instruction.
void differenceRow(const unsigned char* a, const unsigned char* b, int64_t count,
                   unsigned char* mask) {
    for (int64_t x = 0; x < count; ++x)
        mask[x] = static_cast<unsigned char>(255 - ((255 - a[x] + b[x] + 1) >> 1));
}

// Fills the mask with the difference of what both frames show, less a margin of the displacement on
// every side of the first frame, in the second frame's coordinates.
void fillDifference(_tag_ROI_CONTEXT& roi, const __tag_KIRO_OFFSCREEN& first,
                    const __tag_KIRO_OFFSCREEN& second, int64_t dx, int64_t dy) {
    const int64_t marginX = dx < 0 ? -dx : dx;
    const int64_t marginY = dy < 0 ? -dy : dy;
    const int64_t columns = std::max<int64_t>(roi.width - 2 * marginX, 0);
    const int64_t rows = columns > 0 ? std::max<int64_t>(roi.height - 2 * marginY, 0) : 0;
    const int64_t pitch = roi.maskPitch();
    unsigned char* mask = roi.mask;
    // From one row's compared part to the next one's nothing is compared.
    int64_t skipped = rows > 0 ? (marginY - dy) * pitch + marginX - dx : roi.height * pitch;
    for (int64_t y = 0; y < rows; ++y) {
        VantMemSet(mask, unchanged, skipped);
        mask += skipped;
        const int64_t row = marginY + y;
        differenceRow(first.planes[0] + row * first.pitches[0] + marginX,
                      second.planes[0] + (row - dy) * second.pitches[0] + marginX - dx, columns,
                      mask);
        mask += columns;
        skipped = pitch - columns;
    }
    VantMemSet(mask, unchanged, roi.mask + roi.height * pitch - mask);
}

// Without branches, so that rows are classified in vectors.
unsigned char classOf(unsigned char difference) {
    constexpr unsigned char aboveDarker = unchanged - darker;
    constexpr unsigned char aboveUnchanged = brighter - unchanged;
    return static_cast<unsigned char>(darker + (difference >= 100 ? aboveDarker : 0) +
                                      (difference > 150 ? aboveUnchanged : 0));
}

// Returns whether the row holds a change.
bool classifyRow(unsigned char* row, int64_t count) {
    unsigned char different = 0;
    for (int64_t x = 0; x < count; ++x) {
        row[x] = classOf(row[x]);
        different = static_cast<unsigned char>(different | (row[x] ^ unchanged));
    }
    return different != 0;
}

// Classifies the mask. Returns where it changed.
Bounds classify(_tag_ROI_CONTEXT& roi) {
    Bounds changed;
    for (int64_t y = 0; y < roi.height; ++y) {
        unsigned char* const row = roi.mask + y * roi.maskPitch();
        if (classifyRow(row, roi.width))
            changed.includeRow(row, roi.width, y, unchanged);
    }
    return changed;
}

// The area that cleaning can alter, with enough unchanged pixels around it that its border acts
// like what lies beyond: each of the four passes reaches radius + 1 rows and fewer columns.
Bounds areaToClean(const Bounds& changed, const _tag_ROI_CONTEXT& roi, int64_t radius) {
    const int64_t reach = 4 * (radius + 1);
    if (changed.isEmpty())
        return {.left = 0};
    return {.left = std::max<int64_t>(changed.left - reach, 0),
            .top = std::max<int64_t>(changed.top - reach, 0),
            .right = std::min(changed.right + reach, roi.width),
            .bottom = std::min(changed.bottom + reach, roi.height)};
}

// Smooths, classifies and cleans the mask. Nothing is changed outside the cleaned area.
long cleanMask(_tag_ROI_CONTEXT& roi, Bounds& cleaned) {
    const int64_t shorter = std::min(roi.width, roi.height);
    const int64_t pitch = roi.maskPitch();
    const long code = GB_GaussianBlurA(roi.memHandle, roi.mask, roi.width, roi.height, pitch, 0,
                                       roi.mask, shorter >> 7);
    if (code != ERR_NONE)
        return code;
    const int64_t radius = shorter / 100;
    cleaned = areaToClean(classify(roi), roi, radius);
    return openAndClose(roi.memHandle, roi.mask, roi.width, pitch, cleaned, radius);
}

__tag_rect changedBox(const _tag_ROI_CONTEXT& roi, const Bounds& cleaned) {
    const int64_t pitch = roi.maskPitch();
    __tag_rect box =
        boundingBox(roi.mask + cleaned.top * pitch + cleaned.left, cleaned.right - cleaned.left,
                    cleaned.bottom - cleaned.top, pitch, unchanged);
    if (box.right == 0)
        return box;
    box.left += static_cast<int32_t>(cleaned.left);
    box.right += static_cast<int32_t>(cleaned.left);
    box.top += static_cast<int32_t>(cleaned.top);
    box.bottom += static_cast<int32_t>(cleaned.top);
    return box;
}

} // namespace

long roiCalculate(void* roi, __tag_KIRO_OFFSCREEN* first, __tag_KIRO_OFFSCREEN* second,
                  _tag_DRAV_ALIGNMENT* alignment, _tag_ROI_INFO* out) {
    // The alignment entry must be there, but the displacement is always searched for.
    if (roi == nullptr || first == nullptr || second == nullptr || alignment == nullptr ||
        out == nullptr)
        return ERR_INVALID_PARAM;
    auto& context = *static_cast<_tag_ROI_CONTEXT*>(roi);
    if (first->format != second->format || !isFrameOf(context, *first) ||
        !isFrameOf(context, *second))
        return ERR_INVALID_PARAM;

    long displacements[2][2];
    long* results[2] = {displacements[0], displacements[1]};
    _tag_ZEP_NS_INPUTINFO input = {.count = 2, .images = {first, second}};
    long code = Image_Alignment_Video(context.alignCtx, &input, 0, results, 1);
    if (code != ERR_NONE)
        return code;
    const long dx = displacements[1][0];
    const long dy = displacements[1][1];
    if (std::abs(dx) >= context.width || std::abs(dy) >= context.height)
        return ERR_INVALID_PARAM;

    fillDifference(context, *first, *second, dx, dy);
    Bounds cleaned;
    code = cleanMask(context, cleaned);
    if (code != ERR_NONE)
        return code;
    __tag_rect box = changedBox(context, cleaned);
    long changed = 0;
    code = calMaskArea(context.mask, context.width, context.height, context.maskPitch(), unchanged,
                       &box, &changed);
    out->rect = box;
    out->changedRatio = static_cast<float>(changed) / static_cast<float>(context.width) /
                        static_cast<float>(context.height);
    out->dx = dx;
    out->dy = dy;
    return code;
}
