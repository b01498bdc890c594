#include "changed_mask.h"
#include "commands.h"
#include "error.h"
#include "library.h"
#include "overlay.h"
#include "shift_report.h"
#include "text.h"

#include <algorithm>

namespace {

_tag_ROI_INFO findChanges(const Options& options, LumaPair& frames) {
    void* roi = nullptr;
    checkResult(
        roiInit(nullptr, frames.first.width, frames.first.height, KELVANE_FORMAT_YUV420, &roi),
        "roiInit");
    __tag_KIRO_OFFSCREEN first = frames.first.view(), second = frames.second.view();
    _tag_DRAV_ALIGNMENT alignment = {};
    _tag_ROI_INFO info = {};
    const long code = roiCalculate(roi, &first, &second, &alignment, &info);
    roiUninit(&roi);
    // All else that it refuses has been checked: a frame can be narrower than the search reaches.
    if (code == ERR_INVALID_PARAM)
        throw InputError(options.second, "the shift against " + options.first +
                                             " would be as large as the picture");
    checkResult(code, "roiCalculate");
    return info;
}

std::string changesText(const _tag_ROI_INFO& info) {
    const __tag_rect& rect = info.rect;
    if (rect.right == 0)
        return "Changed: nothing.\n";
    return "Changed: " + sizeText(rect.right - rect.left, rect.bottom - rect.top) + " pixels at " +
           pairText(rect.left, rect.top) + " of B; " + fixed(100.0 * info.changedRatio, 2) +
           " % of the picture differ.\n";
}

OrderedJson changesJson(const Options& options, const LumaPair& frames, const _tag_ROI_INFO& info) {
    OrderedJson json = jsonHead("changes");
    json["first"] = options.first;
    json["second"] = options.second;
    json["width"] = frames.first.width;
    json["height"] = frames.first.height;
    json["rect"] = info.rect.right == 0 ? OrderedJson() : toJson(info.rect);
    json["changed_ratio"] = info.changedRatio;
    return json;
}

} // namespace

Output runChanges(const Options& options, PhaseTimes& times) {
    if (!options.output.empty())
        checkOutputPath(options.output, options.force);
    LumaPair frames = readLumaPair(options.first, options.second, times);
    if (std::min(frames.first.width, frames.first.height) < smallestChangedSide)
        throw InputError(options.first,
                         sizeText(frames.first.width, frames.first.height) +
                             " pixels: finding changes needs 100 on the shorter side");
    Output output;
    {
        const PhaseTimer timer(times.library);
        const _tag_ROI_INFO info = findChanges(options, frames);
        const Shift shift = {info.dx, info.dy};
        const ShiftFit fit = measureFit(frames.first, frames.second, shift);
        if (options.json) {
            OrderedJson json = changesJson(options, frames, info);
            json.update(shiftJson(shift, fit));
            output.text = printJson(json);
        } else {
            output.text = changesText(info) + shiftText(shift, fit);
        }
    }
    if (!options.output.empty())
        output.file = {options.output, drawOverlay(options.first, frames, times), options.force};
    return output;
}
