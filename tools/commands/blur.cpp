#include "analysis/burst.h"
#include "analysis/frame_measurer.h"
#include "base/error.h"
#include "commands/options.h"
#include "output/report.h"

#include <oneapi/tbb/enumerable_thread_specific.h>

namespace {

std::string blurText(const FrameOptions& options, const Measurement& measured,
                     std::span<const Skipped> skipped) {
    if (options.csv)
        return blurCsv(measured);
    if (!options.json)
        return blurTable(measured);
    OrderedJson json = jsonHead("blur");
    json.update(blurJson(measured));
    json["notes"] = blurNotes(measured);
    json["skipped"] = skippedJson(skipped);
    return printJson(json);
}

Output runBlur(const FrameOptions& options, PhaseTimes& times) {
    tbb::enumerable_thread_specific<FrameMeasurer> measurers;
    Progress progress;
    Measurement measured;
    FrameSelection selection = options.frames;
    selection.request.lumaOnly = true;
    ReadSummary summary =
        readFrames(expandInputs(options.inputs), selection, progress, times,
                   [&](const SourceFrame& frame, PhaseTimes& used) {
                       return [&, found = measurers.local().measure(frame, {}, used)] {
                           measured.frames.push_back(found.frame);
                       };
                   });
    if (summary.visited == 0)
        throw InputError(options.inputs.front(), "no frame could be read");
    measured.isVideo = summary.isVideo;
    measured.measure = options.measure;
    sortByMeasure(measured);
    return {blurText(options, measured, summary.skipped), std::move(summary.skipped)};
}

} // namespace

void addBlur(CLI::App& app, Invocation& invocation) {
    const auto [command, options] =
        addCommand(app, invocation, "blur", "Score pictures, the sharpest first", runBlur);
    addFrameOptions(command, options, invocation).required();
}
