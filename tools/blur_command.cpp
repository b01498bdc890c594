#include "commands.h"
#include "csv.h"
#include "error.h"
#include "measured_frames.h"
#include "report.h"

Output runBlur(const Options& options, PhaseTimes& times) {
    Engine engine;
    ImageViewer viewer;
    Progress progress;
    Measurement measured;
    ReadSummary summary = readFrames(
        expandInputs(options.inputs), options, progress, times, [&](const SourceFrame& frame) {
            const ImageView view = viewer.view(*frame.pixels, frame.path, times);
            measured.frames.push_back(measureFrame(frame, view, engine, times));
        });
    if (summary.visited == 0)
        throw InputError(options.inputs.front(), "no frame could be read");
    measured.isVideo = summary.isVideo;
    sortByScore(measured);
    return {.text = options.json  ? blurJson(measured, summary.skipped)
                    : options.csv ? blurCsv(measured)
                                  : blurTable(measured),
            .skipped = std::move(summary.skipped)};
}
