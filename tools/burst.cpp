#include "burst.h"

#include "error.h"
#include "luma_store.h"
#include "text.h"

#include <algorithm>

namespace {

// A burst that is being read, with the pixels that its ranking needs.
struct OpenBurst {
    Burst burst;
    LumaStore lumas;
};

class BurstReader {
public:
    BurstReader(const Options& options, Sizes sizes, size_t sheetCapacity, PhaseTimes& times)
        : options_(options), sizes_(sizes), sheetCapacity_(sheetCapacity), times_(times) {}

    void read(const SourceFrame& frame) {
        const ImageView view = viewer_.view(*frame.pixels, frame.path, times_);
        OpenBurst& open = burstOf(frame);
        if (sheetCapacity_ > 0)
            open.burst.sheet.offer(*frame.pixels, frame.path, times_);
        if (options_.moving)
            open.lumas.add(view.image, frame.path);
        open.burst.measured.frames.push_back(measureFrame(frame, view, engine_, times_));
    }

    std::vector<OpenBurst>& bursts() { return bursts_; }

private:
    OpenBurst& burstOf(const SourceFrame& frame) {
        const AVFrame& pixels = *frame.pixels;
        for (OpenBurst& open : bursts_) {
            const MeasuredFrame& first = open.burst.measured.frames.front();
            if (first.width == pixels.width && first.height == pixels.height)
                return open;
            if (sizes_ == Sizes::equal)
                throw InputError(frame.path, sizeText(pixels.width, pixels.height) +
                                                 " pixels, but " + first.name + " has " +
                                                 sizeText(first.width, first.height));
        }
        bursts_.emplace_back();
        bursts_.back().burst.sheet = ContactSheet(sheetCapacity_);
        return bursts_.back();
    }

    const Options& options_;
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
        throw InputError(first.path, sizeText(luma.width, luma.height) +
                                         " pixels: --moving needs 100 on the shorter side");
    return findMovingObjects(store.frames());
}

void rank(OpenBurst& open, const Options& options, PhaseTimes& times) {
    Burst& burst = open.burst;
    const std::vector<MeasuredFrame>& frames = burst.measured.frames;
    const MeasuredFrame& first = frames.front();
    if (!options.facesFile.empty())
        checkFaces(burst.faces, options.facesFile, frames.size(), first.width, first.height);
    std::vector<unsigned char> record =
        makeRecord(burst.faces, frames.size(), first.blur.width, first.blur.height);
    std::vector<_tag_DRAV_BLURRESULT> blurs;
    for (const MeasuredFrame& frame : frames)
        blurs.push_back(frame.blur);

    const PhaseTimer timer(times.library);
    Engine engine;
    if (options.moving) {
        burst.moving = findObjects(first, open.lumas);
        engine.setMovingObjects(*burst.moving, first.blur.width, first.blur.height);
    }
    burst.ranking = engine.rank(blurs, record, options.keep, open.lumas.frames());
    if (burst.moving)
        for (MovingObject& object : burst.moving->ofFrames)
            object.mask = {};
}

} // namespace

bool Burst::isChosen(size_t frame) const {
    return std::binary_search(ranking.chosen.begin(), ranking.chosen.end(),
                              static_cast<int64_t>(frame));
}

std::vector<Burst> pickBursts(const InputList& inputs, const Options& options, Sizes sizes,
                              size_t sheetCapacity, Progress& progress, PhaseTimes& times,
                              std::vector<Skipped>& skipped) {
    FacesOfFrames faces;
    if (!options.facesFile.empty())
        faces = readFaces(options.facesFile);
    BurstReader reader(options, sizes, sheetCapacity, times);
    const ReadSummary summary = readFrames(inputs, options, progress, times,
                                           [&](const SourceFrame& frame) { reader.read(frame); });
    skipped.insert(skipped.end(), summary.skipped.begin(), summary.skipped.end());
    std::vector<Burst> bursts;
    for (OpenBurst& open : reader.bursts()) {
        open.burst.measured.isVideo = summary.isVideo;
        open.burst.faces = faces;
        sortByScore(open.burst.measured);
        rank(open, options, times);
        open.lumas = {};
        bursts.push_back(std::move(open.burst));
    }
    return bursts;
}
