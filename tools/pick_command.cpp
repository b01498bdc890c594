#include "commands.h"
#include "engine.h"
#include "faces.h"
#include "measured_frames.h"
#include "report.h"

Output runPick(const Options& options, PhaseTimes& times) {
    FacesOfFrames faces;
    if (!options.facesFile.empty())
        faces = readFaces(options.facesFile);

    Engine engine;
    Measurement measured = measureFrames(options, Sizes::equal, engine, times);
    const size_t n = measured.frames.size();
    const MeasuredFrame& first = measured.frames.front();
    if (!options.facesFile.empty())
        checkFaces(faces, options.facesFile, n, first.width, first.height);
    std::vector<unsigned char> record = makeRecord(faces, n, first.blur.width, first.blur.height);

    std::vector<_tag_DRAV_BLURRESULT> blurs;
    for (const MeasuredFrame& frame : measured.frames)
        blurs.push_back(frame.blur);
    Ranking ranking;
    {
        const PhaseTimer timer(times.library);
        ranking = engine.rank(blurs, record, options.keep);
    }
    return {options.json ? pickJson(measured, ranking) : pickTable(measured, ranking),
            std::move(measured.skipped)};
}
