#include "analysis/frame_measurer.h"

#include "analysis/detail.h"
#include "analysis/page_pictures.h"

FrameFindings FrameMeasurer::measure(const SourceFrame& frame, const FrameNeeds& needs,
                                     PhaseTimes& times) {
    const AVFrame& pixels = frame.pixels;
    const ImageView view = viewer_.view(pixels, frame.path, times);
    FrameFindings found = {.frame = {.path = frame.path,
                                     .name = frame.name,
                                     .number = frame.number,
                                     .seconds = frame.seconds,
                                     .width = pixels.width,
                                     .height = pixels.height,
                                     .orientation = frame.form.orientation,
                                     .pixelFormat = frame.form.pixelFormat,
                                     .rendering = frame.form.rendering,
                                     .converted = view.converted,
                                     .cropped = view.cropped,
                                     .companions = frame.companions,
                                     .blur = {},
                                     .detail = 0},
                           .luma = {},
                           .followed = {},
                           .thumbnail = {},
                           .faces = {}};
    {
        const PhaseTimer timer(times.library);
        found.frame.blur = engine_.measure(view.image);
        found.frame.wholeScore = found.frame.blur.score;
        if (needs.followed)
            found.followed.emplace(view.image);
        found.frame.detail = measureDetail(view.image);
    }
    if (needs.luma)
        found.luma = copyLuma(view.image);
    if (needs.faces != nullptr)
        found.faces = needs.faces->find(view.image);
    if (needs.thumbnail) {
        found.thumbnail = makeThumbnail(pixels, frame.path, times);
        addCutouts(found.faces, pixels, frame.path, times);
    }
    return found;
}
