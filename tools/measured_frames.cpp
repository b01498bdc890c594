#include "measured_frames.h"

#include "error.h"
#include "frame_source.h"
#include "image_view.h"
#include "text.h"

#include <algorithm>
#include <numeric>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace {

void checkSize(const SourceFrame& frame, const MeasuredFrame& first) {
    const AVFrame& pixels = *frame.pixels;
    if (pixels.width != first.width || pixels.height != first.height)
        throw InputError(frame.path, sizeText(pixels.width, pixels.height) + " pixels, but " +
                                         first.name + " has " +
                                         sizeText(first.width, first.height));
}

void sortByScore(Measurement& measured) {
    const std::vector<MeasuredFrame>& frames = measured.frames;
    std::vector<size_t>& order = measured.order;
    order.resize(frames.size());
    std::iota(order.begin(), order.end(), size_t{0});
    std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) {
        return frames[a].blur.score > frames[b].blur.score;
    });
    const size_t n = order.size();
    measured.medianScore =
        (frames[order[(n - 1) / 2]].blur.score + frames[order[n / 2]].blur.score) / 2.0;
}

} // namespace

Measurement measureFrames(const Options& options, Sizes sizes, Engine& engine, PhaseTimes& times,
                          LumaStore* store) {
    Measurement measured;
    ImageViewer viewer;
    ReadSummary summary = readFrames(options, times, [&](const SourceFrame& frame) {
        const AVFrame& pixels = *frame.pixels;
        if (sizes == Sizes::equal && !measured.frames.empty())
            checkSize(frame, measured.frames.front());
        const ImageView view = viewer.view(pixels, frame.path, times);
        const PhaseTimer timer(times.library);
        const char* const format = av_get_pix_fmt_name(static_cast<AVPixelFormat>(pixels.format));
        measured.frames.push_back({.name = frame.name,
                                   .number = frame.number,
                                   .seconds = frame.seconds,
                                   .width = pixels.width,
                                   .height = pixels.height,
                                   .pixelFormat = format,
                                   .converted = view.converted,
                                   .cropped = view.cropped,
                                   .blur = engine.measure(view.image)});
        if (store != nullptr)
            store->add(view.image, frame.path);
    });
    measured.isVideo = summary.isVideo;
    measured.skipped = std::move(summary.skipped);
    sortByScore(measured);
    return measured;
}
