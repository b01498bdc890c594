#include "commands.h"
#include "json_output.h"
#include "shift_fit.h"
#include "shift_report.h"

Output runAlign(const Options& options, PhaseTimes& times) {
    LumaPair frames = readLumaPair(options.first, options.second, times);
    const PhaseTimer timer(times.library);
    const Shift shift = Aligner().find(frames.first, frames.second);
    const ShiftFit fit = measureFit(frames.first, frames.second, shift);
    if (!options.json)
        return {shiftText(shift, fit)};
    OrderedJson json = jsonHead("align");
    json["first"] = options.first;
    json["second"] = options.second;
    json["width"] = frames.first.width;
    json["height"] = frames.first.height;
    json.update(shiftJson(shift, fit));
    return {printJson(json)};
}
