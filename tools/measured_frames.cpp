#include "measured_frames.h"

#include <algorithm>
#include <numeric>

extern "C" {
#include <libavutil/pixdesc.h>
}

MeasuredFrame measureFrame(const SourceFrame& frame, const ImageView& view, Engine& engine,
                           PhaseTimes& times) {
    const PhaseTimer timer(times.library);
    const AVFrame& pixels = *frame.pixels;
    return {.path = frame.path,
            .name = frame.name,
            .number = frame.number,
            .seconds = frame.seconds,
            .width = pixels.width,
            .height = pixels.height,
            .pixelFormat = av_get_pix_fmt_name(static_cast<AVPixelFormat>(pixels.format)),
            .converted = view.converted,
            .cropped = view.cropped,
            .blur = engine.measure(view.image)};
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
