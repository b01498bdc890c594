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
constexpr int lowestUnchanged = 100; // of the smoothed differences
constexpr int highestUnchanged = 150;

struct Rows {
    int64_t top = 0;
    int64_t bottom = 0; // exclusive
};

// The box filters that smooth the mask.
struct Smoothing {
    static constexpr int64_t passes = 3; // at most
    int64_t size;

    explicit Smoothing(const _tag_ROI_CONTEXT& roi) : size(std::min(roi.width, roi.height) >> 7) {}
    int64_t radius() const { return size / 2; }
    int64_t reach() const { return passes * radius(); }
    // Means are rounded down, by more where large windows have coarse reciprocals.
    int64_t largestLoss() const {
        const int64_t side = 2 * radius() + 1;
        return size < 2 ? 0 : passes * (1 + ((side * side * 255) >> 23));
    }
};

bool isFrameOf(const _tag_ROI_CONTEXT& roi, const __tag_KIRO_OFFSCREEN& frame) {
    return isPlanarFormat(frame.format) && frame.width == roi.width && frame.height == roi.height &&
           frame.planes[0] != nullptr;
}

// Half of a - b, shifted up: 127 where the frames agree. Rounded down as the complement of a mean
// that is rounded up, for which processors have an instruction. Returns by how much the row rises
// above `lowest`, modulo 256: a row that somewhere falls below it rises the most.
unsigned char differenceRow(const unsigned char* a, const unsigned char* b, int64_t count,
                            unsigned char lowest, unsigned char* mask) {
    unsigned char highest = 0;
    for (int64_t x = 0; x < count; ++x) {
        mask[x] = static_cast<unsigned char>(255 - ((255 - a[x] + b[x] + 1) >> 1));
        highest = std::max(highest, static_cast<unsigned char>(mask[x] - lowest));
    }
    return highest;
}

// Fills the mask with the difference of what both frames show, less a margin of the displacement on
// every side of the first frame, in the second frame's coordinates. Returns the rows from the first
// to the last one that can still differ after smoothing.
Rows fillDifference(_tag_ROI_CONTEXT& roi, const __tag_KIRO_OFFSCREEN& first,
                    const __tag_KIRO_OFFSCREEN& second, int64_t dx, int64_t dy) {
    const int64_t marginX = dx < 0 ? -dx : dx;
    const int64_t marginY = dy < 0 ? -dy : dy;
    const int64_t columns = std::max<int64_t>(roi.width - 2 * marginX, 0);
    const int64_t rows = columns > 0 ? std::max<int64_t>(roi.height - 2 * marginY, 0) : 0;
    const int64_t pitch = roi.maskPitch();
    const int64_t lowest = lowestUnchanged + Smoothing(roi).largestLoss();
    Rows lively;
    unsigned char* mask = roi.mask;
    // From one row's compared part to the next one's nothing is compared.
    int64_t skipped = rows > 0 ? (marginY - dy) * pitch + marginX - dx : roi.height * pitch;
    for (int64_t y = 0; y < rows; ++y) {
        VantMemSet(mask, unchanged, skipped);
        mask += skipped;
        const int64_t row = marginY + y;
        const unsigned char rise =
            differenceRow(first.planes[0] + row * first.pitches[0] + marginX,
                          second.planes[0] + (row - dy) * second.pitches[0] + marginX - dx, columns,
                          static_cast<unsigned char>(std::min<int64_t>(lowest, unchanged)), mask);
        if (lowest > unchanged || rise > highestUnchanged - lowest) {
            lively.top = lively.bottom == 0 ? row - dy : lively.top;
            lively.bottom = row - dy + 1;
        }
        mask += columns;
        skipped = pitch - columns;
    }
    VantMemSet(mask, unchanged, roi.mask + roi.height * pitch - mask);
    return lively;
}

// Masks instead of choices, of which compilers make branches and no vectors.
unsigned char classOf(unsigned char difference) {
    static_assert(darker == 0 && (brighter & unchanged) == unchanged);
    const int notDarker = -static_cast<int>(difference >= lowestUnchanged);
    const int isBrighter = -static_cast<int>(difference > highestUnchanged);
    return static_cast<unsigned char>((notDarker & unchanged) | (isBrighter & brighter));
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

// Classifies rows of the mask. Returns where they changed.
Bounds classify(_tag_ROI_CONTEXT& roi, const Rows& rows) {
    Bounds changed;
    for (int64_t y = rows.top; y < rows.bottom; ++y) {
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

// The rows to smooth: those that the lively ones reach, with as many calm rows around them that
// what the end of the part changes is calm as well. No fewer than take the memory of the whole
// mask.
Rows rowsToSmooth(const Rows& lively, const _tag_ROI_CONTEXT& roi) {
    const Smoothing smoothing(roi);
    const int64_t margin = lively.bottom > 0 ? 2 * smoothing.reach() : 0;
    Rows rows = {.top = std::max<int64_t>(lively.top - margin, 0),
                 .bottom = std::min(lively.bottom + margin, roi.height)};
    const int64_t fewest = std::min(2 * smoothing.radius() + 2, roi.height);
    rows.bottom = std::max(rows.bottom, std::min(rows.top + fewest, roi.height));
    rows.top = std::min(rows.top, rows.bottom - fewest);
    return rows;
}

// Smooths, classifies and cleans the mask. Nothing is changed outside the cleaned area.
long cleanMask(_tag_ROI_CONTEXT& roi, const Rows& lively, Bounds& cleaned) {
    const int64_t pitch = roi.maskPitch();
    const Rows rows = rowsToSmooth(lively, roi);
    unsigned char* const smoothed = roi.mask + rows.top * pitch;
    VantMemSet(roi.mask, unchanged, rows.top * pitch);
    VantMemSet(roi.mask + rows.bottom * pitch, unchanged, (roi.height - rows.bottom) * pitch);
    const long code = GB_GaussianBlurA(roi.memHandle, smoothed, roi.width, rows.bottom - rows.top,
                                       pitch, 0, smoothed, Smoothing(roi).size);
    if (code != ERR_NONE)
        return code;
    const int64_t radius = std::min(roi.width, roi.height) / 100;
    cleaned = areaToClean(classify(roi, rows), roi, radius);
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

    const Rows lively = fillDifference(context, *first, *second, dx, dy);
    Bounds cleaned;
    code = cleanMask(context, lively, cleaned);
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
