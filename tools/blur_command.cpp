#include "commands.h"
#include "measured_frames.h"
#include "report.h"

Output runBlur(const Options& options, PhaseTimes& times) {
    Engine engine;
    Measurement measured = measureFrames(options, Sizes::any, engine, times);
    return {options.json ? blurJson(measured) : blurTable(measured), std::move(measured.skipped)};
}
