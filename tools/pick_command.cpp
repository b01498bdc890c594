#include "commands.h"
#include "engine.h"
#include "error.h"
#include "faces.h"
#include "measured_frames.h"
#include "moving_objects.h"
#include "report.h"
#include "text.h"

#include <algorithm>
#include <optional>

namespace {

MovingObjects findObjects(const Options& options, LumaStore& store) {
    const LumaImage& first = store.frames().front();
    if (std::min(first.width, first.height) < smallestChangedSide)
        throw InputError(options.inputs.front(),
                         sizeText(first.width, first.height) +
                             " pixels: --moving needs 100 on the shorter side");
    return findMovingObjects(store.frames());
}

} // namespace

Output runPick(const Options& options, PhaseTimes& times) {
    FacesOfFrames faces;
    if (!options.facesFile.empty())
        faces = readFaces(options.facesFile);

    Engine engine;
    LumaStore store;
    Measurement measured =
        measureFrames(options, Sizes::equal, engine, times, options.moving ? &store : nullptr);
    const size_t n = measured.frames.size();
    const MeasuredFrame& first = measured.frames.front();
    if (!options.facesFile.empty())
        checkFaces(faces, options.facesFile, n, first.width, first.height);
    std::vector<unsigned char> record = makeRecord(faces, n, first.blur.width, first.blur.height);

    std::vector<_tag_DRAV_BLURRESULT> blurs;
    for (const MeasuredFrame& frame : measured.frames)
        blurs.push_back(frame.blur);
    std::optional<MovingObjects> moving;
    Ranking ranking;
    {
        const PhaseTimer timer(times.library);
        if (options.moving) {
            moving = findObjects(options, store);
            engine.setMovingObjects(*moving, first.blur.width, first.blur.height);
        }
        ranking = engine.rank(blurs, record, options.keep, store.frames());
    }
    const MovingObjects* const objects = moving ? &*moving : nullptr;
    return {options.json ? pickJson(measured, ranking, objects)
                         : pickTable(measured, ranking, objects),
            std::move(measured.skipped)};
}
