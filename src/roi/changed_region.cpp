// The region that changed between two frames.
#include "image/format.h"
#include "roi/bounding_box.h"
#include "roi/context.h"

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

// Half of a - b, shifted up: 127 where the frames agree.
void differenceRow(const unsigned char* a, const unsigned char* b, int64_t count,
                   unsigned char* mask) {
    for (int64_t x = 0; x < count; ++x)
        mask[x] = static_cast<unsigned char>((a[x] - b[x] + 255) >> 1);
}

// Fills the mask with the difference of what both frames show, less a margin of the displacement on
// every side of the first frame, in the second frame's coordinates.
void fillDifference(_tag_ROI_CONTEXT& roi, const __tag_KIRO_OFFSCREEN& first,
                    const __tag_KIRO_OFFSCREEN& second, int64_t dx, int64_t dy) {
    const int64_t marginX = dx < 0 ? -dx : dx;
    const int64_t marginY = dy < 0 ? -dy : dy;
    const int64_t pitch = roi.maskPitch();
    VantMemSet(roi.mask, unchanged, roi.height * pitch);
    for (int64_t y = marginY; y < roi.height - marginY; ++y) {
        const unsigned char* const a = first.planes[0] + y * first.pitches[0] + marginX;
        const int64_t moved = (y - dy) * second.pitches[0] + marginX - dx;
        differenceRow(a, second.planes[0] + moved, roi.width - 2 * marginX,
                      roi.mask + (y - dy) * pitch + marginX - dx);
    }
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

struct RowRange {
    int64_t begin;
    int64_t end;
};

// Classifies the mask. Returns the rows from the first to the last change.
RowRange classify(_tag_ROI_CONTEXT& roi) {
    RowRange changed = {roi.height, 0};
    for (int64_t y = 0; y < roi.height; ++y) {
        if (classifyRow(roi.mask + y * roi.maskPitch(), roi.width))
            changed = {std::min(changed.begin, y), y + 1};
    }
    return changed;
}

// The rows that cleaning can alter, with enough unchanged rows around them that their border acts
// like the rows beyond it: each of the four passes reaches radius + 1 rows. Without a change one
// row is left, for which cleaning needs the same memory as for all.
RowRange rowsToClean(const RowRange& changed, int64_t radius, int64_t height) {
    const int64_t reach = 4 * (radius + 1);
    if (changed.begin >= changed.end)
        return {0, 1};
    return {std::max<int64_t>(changed.begin - reach, 0), std::min(changed.end + reach, height)};
}

long cleanMask(_tag_ROI_CONTEXT& roi) {
    const int64_t shorter = std::min(roi.width, roi.height);
    const int64_t pitch = roi.maskPitch();
    long code = GB_GaussianBlurA(roi.memHandle, roi.mask, roi.width, roi.height, pitch, 0, roi.mask,
                                 shorter >> 7);
    if (code != ERR_NONE)
        return code;
    const int64_t radius = shorter / 100;
    const RowRange rows = rowsToClean(classify(roi), radius, roi.height);
    unsigned char* const mask = roi.mask + rows.begin * pitch;
    const int64_t height = rows.end - rows.begin;
    code = sbrOpen(roi.memHandle, mask, roi.width, height, pitch, 1, mask, radius);
    if (code != ERR_NONE)
        return code;
    return sbrClose(roi.memHandle, mask, roi.width, height, pitch, 1, mask, radius);
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
    code = cleanMask(context);
    if (code != ERR_NONE)
        return code;
    const int64_t pitch = context.maskPitch();
    __tag_rect box = boundingBox(context.mask, context.width, context.height, pitch, unchanged);
    long changed = 0;
    code =
        calMaskArea(context.mask, context.width, context.height, pitch, unchanged, &box, &changed);
    out->rect = box;
    out->changedRatio = static_cast<float>(changed) / static_cast<float>(context.width) /
                        static_cast<float>(context.height);
    out->dx = dx;
    out->dy = dy;
    return code;
}
