#include "analysis/burst.h"

#include "analysis/changed_mask.h"
#include "analysis/faces.h"
#include "analysis/moving_objects.h"
#include "analysis/page_pictures.h"
#include "base/error.h"
#include "base/text.h"

#include <algorithm>
#include <numeric>

namespace {

// The luma of every frame of a burst, for a ranking that measures parts of them. A mask of each
// frame joins it later, so that a burst takes 2 * frames * width * height bytes, of which 4 GiB are
// accepted.
class LumaStore {
public:
    // Throws InputError, which names `name`, for a frame that no longer fits.
    void add(const __tag_KIRO_OFFSCREEN& image, const std::string& name) {
        constexpr int64_t most = int64_t{4} << 30;
        bytes_ += 2 * int64_t{image.width} * image.height;
        if (bytes_ > most)
            throw InputError(name, fmt::format("frame {} would bring --moving above 4 GiB; take "
                                               "fewer frames with --every or --max",
                                               frames_.size()));
        frames_.push_back(copyLuma(image));
    }

    std::vector<LumaImage>& frames() { return frames_; }

private:
    std::vector<LumaImage> frames_;
    int64_t bytes_ = 0;
};

// A burst that is being read, with the pixels that its ranking needs.
struct OpenBurst {
    Burst burst;
    LumaStore lumas;
};

class BurstReader {
public:
    BurstReader(const RankingRules& rules, Sizes sizes, size_t sheetCapacity, PhaseTimes& times)
        : rules_(rules), sizes_(sizes), sheetCapacity_(sheetCapacity), times_(times) {}

    void read(const SourceFrame& frame) {
        const ImageView view = viewer_.view(frame.pixels, frame.path, times_);
        OpenBurst& open = burstOf(frame);
        std::vector<MeasuredFrame>& frames = open.burst.measured.frames;
        if (sheetCapacity_ > 0)
            offerToSheet(open.burst.sheet, frames.size(), frame.pixels, frame.path, times_);
        if (rules_.moving)
            open.lumas.add(view.image, frame.path);
        frames.push_back(measureFrame(frame, view, engine_, times_));
    }

    std::vector<OpenBurst>& bursts() { return bursts_; }

private:
    OpenBurst& burstOf(const SourceFrame& frame) {
        const AVFrame& pixels = frame.pixels;
        for (OpenBurst& open : bursts_) {
            const MeasuredFrame& first = open.burst.measured.frames.front();
            if (first.width == pixels.width && first.height == pixels.height)
                return open;
            if (sizes_ == Sizes::equal)
                throw InputError(frame.path,
                                 fmt::format("{} pixels, but {} has {}",
                                             sizeText(pixels.width, pixels.height), first.name,
                                             sizeText(first.width, first.height)));
        }
        bursts_.emplace_back();
        bursts_.back().burst.sheet.capacity = sheetCapacity_;
        return bursts_.back();
    }

    const RankingRules& rules_;
    const Sizes sizes_;
    const size_t sheetCapacity_;
    PhaseTimes& times_;
    Engine engine_;
    ImageViewer viewer_;
    std::vector<OpenBurst> bursts_;
};

MovingObjects findObjects(const MeasuredFrame& first, LumaStore& store) {
    const LumaImage& luma = store.frames().front();
    if (std::min(luma.width, luma.height) < smallestChangedSide)
        throw InputError(first.path,
                         fmt::format("{} pixels: --moving needs 100 on the shorter side",
                                     sizeText(luma.width, luma.height)));
    return findMovingObjects(store.frames());
}

void rank(OpenBurst& open, const RankingRules& rules, PhaseTimes& times) {
    Burst& burst = open.burst;
    const std::vector<MeasuredFrame>& frames = burst.measured.frames;
    const MeasuredFrame& first = frames.front();
    if (!rules.facesFile.empty())
        checkFaces(burst.faces, rules.facesFile, frames.size(), first.width, first.height);
    std::vector<unsigned char> record =
        makeRecord(burst.faces, frames.size(), first.blur.width, first.blur.height);
    std::vector<_tag_DRAV_BLURRESULT> blurs;
    for (const MeasuredFrame& frame : frames)
        blurs.push_back(frame.blur);

    const PhaseTimer timer(times.library);
    Engine engine;
    if (rules.moving) {
        burst.moving = findObjects(first, open.lumas);
        engine.setMovingObjects(*burst.moving, first.blur.width, first.blur.height);
    }
    burst.ranking = engine.rank(blurs, record, rules.keep, open.lumas.frames());
    if (burst.moving)
        for (MovingObject& object : burst.moving->ofFrames)
            object.mask = {};
}

} // namespace

MeasuredFrame measureFrame(const SourceFrame& frame, const ImageView& view, Engine& engine,
                           PhaseTimes& times) {
    const PhaseTimer timer(times.library);
    const AVFrame& pixels = frame.pixels;
    return {.path = frame.path,
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

std::vector<Burst> pickBursts(const InputList& inputs, const RankingRules& rules, Sizes sizes,
                              size_t sheetCapacity, Progress& progress, PhaseTimes& times,
                              std::vector<Skipped>& skipped) {
    FacesOfFrames faces;
    if (!rules.facesFile.empty())
        faces = readFaces(rules.facesFile);
    BurstReader reader(rules, sizes, sheetCapacity, times);
    FrameSelection selection = rules.frames;
    selection.request.lumaOnly = sheetCapacity == 0;
    const ReadSummary summary = readFrames(inputs, selection, progress, times,
                                           [&](const SourceFrame& frame) { reader.read(frame); });
    skipped.insert(skipped.end(), summary.skipped.begin(), summary.skipped.end());
    std::vector<Burst> bursts;
    for (OpenBurst& open : reader.bursts()) {
        open.burst.measured.isVideo = summary.isVideo;
        open.burst.faces = faces;
        sortByScore(open.burst.measured);
        rank(open, rules, times);
        open.lumas = {};
        bursts.push_back(std::move(open.burst));
    }
    return bursts;
}

std::vector<BurstGroup> groupByTime(const std::vector<InputFile>& files, double gap) {
    constexpr double rounding = 1e-6; // of seconds since 1970 as floating point
    std::vector<CaptureTime> times;
    for (const InputFile& file : files)
        times.push_back(readCaptureTime(file.path));
    std::vector<size_t> order(files.size());
    std::iota(order.begin(), order.end(), size_t{0});
    std::ranges::stable_sort(order, {}, [&](size_t i) { return times[i].seconds; });

    std::vector<BurstGroup> groups;
    double last = 0;
    for (const size_t i : order) {
        if (groups.empty() || times[i].seconds - last > gap + rounding)
            groups.emplace_back();
        groups.back().files.files.push_back(files[i]);
        groups.back().times.push_back(times[i]);
        last = times[i].seconds;
    }
    return groups;
}
