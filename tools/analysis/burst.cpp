#include "analysis/burst.h"

#include "analysis/changed_mask.h"
#include "analysis/choice.h"
#include "analysis/detail.h"
#include "analysis/faces.h"
#include "analysis/frame_measurer.h"
#include "analysis/moving_objects.h"
#include "analysis/page_pictures.h"
#include "analysis/people.h"
#include "analysis/terms.h"
#include "base/error.h"
#include "base/text.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <map>
#include <numeric>
#include <utility>

#include <oneapi/tbb/enumerable_thread_specific.h>

namespace {

// The luma of every frame of a burst, for a ranking that measures parts of them. A mask of each
// frame joins it later, so that a burst takes 2 * frames * width * height bytes, of which 4 GiB are
// accepted.
class LumaStore {
public:
    // Throws InputError, which names `name`, for a frame that no longer fits.
    void add(LumaImage luma, const std::string& name) {
        constexpr int64_t most = int64_t{4} << 30;
        bytes_ += 2 * int64_t{luma.width} * luma.height;
        if (bytes_ > most)
            throw InputError(name, fmt::format("frame {} would bring --moving above 4 GiB; take "
                                               "fewer frames with --every or --max",
                                               frames_.size()));
        frames_.push_back(std::move(luma));
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
    std::optional<CameraPath> camera = {};
    std::vector<std::vector<PersonFace>> faces = {};
};

// Scores of a preview and of raw data do not compare.
void checkRendering(const MeasuredFrame& frame, const MeasuredFrame& first) {
    if (frame.rendering.empty() || first.rendering.empty() || frame.rendering == first.rendering)
        return;
    throw InputError(frame.path, fmt::format("a raw file that is read as {}, but {} as {}; a burst "
                                             "takes one way, so rank them apart",
                                             frame.rendering, first.name, first.rendering));
}

class BurstReader {
public:
    BurstReader(const RankingRules& rules, Sizes sizes, size_t sheetCapacity)
        : rules_(rules), sizes_(sizes), sheetCapacity_(sheetCapacity) {}

    InTurn read(const SourceFrame& frame, PhaseTimes& times) {
        FrameNeeds needs = {.luma = rules_.moving,
                            .followed = !rules_.whole,
                            .thumbnail = mayBePictured(frame.index),
                            .faces = rules_.finder};
        return [this, found = measurers_.local().measure(frame, needs, times)]() mutable {
            take(std::move(found));
        };
    }

    std::vector<OpenBurst>& bursts() { return bursts_; }

private:
    // The index in the burst is only known once all frames before this one are. Until then it may
    // be any smaller one where frames are left out or go to another burst.
    bool mayBePictured(size_t index) const {
        if (sheetCapacity_ == 0)
            return false;
        return rules_.frames.skipBad || sizes_ == Sizes::apart || index % sheetStep_ == 0;
    }

    void take(FrameFindings found) {
        OpenBurst& open = burstOf(found.frame);
        std::vector<MeasuredFrame>& frames = open.burst.measured.frames;
        offerToSheet(open.burst.sheet, frames.size(), std::move(found.thumbnail));
        sheetStep_ = open.burst.sheet.step;
        if (rules_.moving)
            open.lumas.add(std::move(found.luma), found.frame.path);
        if (rules_.finder != nullptr)
            open.faces.push_back(std::move(found.faces));
        if (found.followed) {
            if (!open.camera)
                open.camera.emplace(found.frame.blur.width, found.frame.blur.height);
            open.camera->add(std::move(*found.followed), oneLine(found.frame.name));
        }
        frames.push_back(std::move(found.frame));
    }

    OpenBurst& burstOf(const MeasuredFrame& frame) {
        for (OpenBurst& open : bursts_) {
            const MeasuredFrame& first = open.burst.measured.frames.front();
            checkRendering(frame, first);
            if (first.width == frame.width && first.height == frame.height)
                return open;
            if (sizes_ == Sizes::equal)
                throw OtherSize(frame.path,
                                fmt::format("{} pixels, but {} has {}",
                                            sizeText(frame.width, frame.height), first.name,
                                            sizeText(first.width, first.height)));
        }
        bursts_.emplace_back();
        bursts_.back().burst.sheet.capacity = sheetCapacity_;
        return bursts_.back();
    }

    const RankingRules& rules_;
    const Sizes sizes_;
    const size_t sheetCapacity_;
    tbb::enumerable_thread_specific<FrameMeasurer> measurers_;
    std::atomic<size_t> sheetStep_ = 1; // of the only sheet, where the index decides
    std::vector<OpenBurst> bursts_;
};

// Scores the frames by the part that all of them show.
void compareCommonPart(OpenBurst& open, PhaseTimes& times) {
    const PhaseTimer timer(times.library);
    std::vector<MeasuredFrame>& frames = open.burst.measured.frames;
    if (!open.camera || frames.size() < 2)
        return;
    const CommonPart& part = open.burst.commonPart.emplace(open.camera->measure());
    for (size_t i = 0; i < part.scores.size(); ++i)
        frames[i].blur.score = static_cast<int32_t>(part.scores[i]);
}

MovingObjects findObjects(const MeasuredFrame& first, LumaStore& store) {
    const LumaImage& luma = store.frames().front();
    if (std::min(luma.width, luma.height) < smallestChangedSide)
        throw InputError(first.path,
                         fmt::format("{} pixels: --moving needs 100 on the shorter side",
                                     sizeText(luma.width, luma.height)));
    MovingObjects moving = findMovingObjects(store.frames());
    for (size_t i = 0; i < moving.ofFrames.size(); ++i)
        if (MovingObject& object = moving.ofFrames[i]; object.found)
            object.score = measurePart(store.frames()[i], object.rect);
    return moving;
}

// What the ranking gets as blur scores. The detail is scaled to the burst's largest blur score, so
// that it compares with the blur scores of moving objects.
std::vector<int64_t> scoresBy(Measure measure, const std::vector<MeasuredFrame>& frames) {
    int32_t largestScore = 0;
    double largestDetail = 0;
    for (const MeasuredFrame& frame : frames) {
        largestScore = std::max(largestScore, frame.blur.score);
        largestDetail = std::max(largestDetail, frame.detail);
    }
    const double scale = largestDetail > 0 ? largestScore / largestDetail : 0;
    std::vector<int64_t> scores;
    for (const MeasuredFrame& frame : frames)
        scores.push_back(measure == Measure::detail ? std::llround(frame.detail * scale)
                                                    : frame.blur.score);
    return scores;
}

std::vector<Terms> termsOf(const Burst& burst, std::span<const int64_t> scores) {
    const _tag_DRAV_BLURRESULT& size = burst.measured.frames.front().blur;
    return computeTerms(scores, burst.moving ? &*burst.moving : nullptr, burst.faces, size.width,
                        size.height);
}

std::optional<size_t> findBestByDetail(const Burst& burst) {
    const std::vector<MeasuredFrame>& frames = burst.measured.frames;
    const std::vector<Terms> terms = termsOf(burst, scoresBy(Measure::detail, frames));
    const auto other =
        static_cast<size_t>(std::ranges::max_element(terms, {}, &Terms::total) - terms.begin());
    const double best = frames[static_cast<size_t>(burst.ranking.best)].detail;
    if (frames[other].detail < best + clearMargin)
        return std::nullopt;
    return other;
}

void rank(OpenBurst& open, const RankingRules& rules, PhaseTimes& times) {
    Burst& burst = open.burst;
    const std::vector<MeasuredFrame>& frames = burst.measured.frames;
    const MeasuredFrame& first = frames.front();
    if (!rules.facesFile.empty())
        checkFaces(burst.faces, rules.facesFile, frames.size(), first.width, first.height);
    if (rules.finder != nullptr) {
        burst.people = findPeople(std::move(open.faces));
        burst.faces = facesForRanking(*burst.people);
    }
    std::vector<unsigned char> record =
        makeRecord(burst.faces, frames.size(), first.blur.width, first.blur.height);
    const std::vector<int64_t> scores = scoresBy(rules.measure, frames);
    std::vector<_tag_DRAV_BLURRESULT> supplied;
    for (size_t i = 0; i < frames.size(); ++i) {
        supplied.push_back(frames[i].blur);
        supplied.back().score = static_cast<int32_t>(scores[i]);
    }

    const PhaseTimer timer(times.library);
    Engine engine;
    if (rules.moving) {
        burst.moving = findObjects(first, open.lumas);
        engine.setMovingObjects(*burst.moving, first.blur.width, first.blur.height);
    }
    burst.ranking = engine.rank(supplied, record, rules.choice.keep, open.lumas.frames());
    burst.terms = termsOf(burst, scores);
    burst.choice = rules.choice;
    burst.ranking.chosen = chooseFrames(burst);
    if (rules.measure == Measure::sharpness)
        burst.bestByDetail = findBestByDetail(burst);
    if (burst.moving)
        for (MovingObject& object : burst.moving->ofFrames)
            object.mask = {};
}

} // namespace

void sortByMeasure(Measurement& measured) {
    const std::vector<MeasuredFrame>& frames = measured.frames;
    std::map<std::pair<int32_t, int32_t>, size_t> sizes; // in the order in which they appear
    for (const MeasuredFrame& frame : frames)
        sizes.try_emplace({frame.width, frame.height}, sizes.size());
    std::vector<size_t>& order = measured.order;
    order.resize(measured.frames.size());
    std::iota(order.begin(), order.end(), size_t{0});
    std::ranges::stable_sort(order, {}, [&](size_t i) {
        const MeasuredFrame& frame = frames[i];
        return std::pair(sizes.at({frame.width, frame.height}), -measured.value(i));
    });
    measured.sizes = sizes.size();
    const size_t n = order.size();
    measured.medianValue = (measured.value(order[(n - 1) / 2]) + measured.value(order[n / 2])) / 2;
}

std::vector<Burst> pickBursts(const InputList& inputs, const RankingRules& rules, Sizes sizes,
                              size_t sheetCapacity, Progress& progress, PhaseTimes& times,
                              std::vector<Skipped>& skipped) {
    FacesOfFrames faces;
    if (!rules.facesFile.empty())
        faces = readFaces(rules.facesFile);
    BurstReader reader(rules, sizes, sheetCapacity);
    FrameSelection selection = rules.frames;
    selection.request.lumaOnly = sheetCapacity == 0;
    const ReadSummary summary = readFrames(
        inputs, selection, progress, times,
        [&](const SourceFrame& frame, PhaseTimes& used) { return reader.read(frame, used); });
    skipped.insert(skipped.end(), summary.skipped.begin(), summary.skipped.end());
    std::vector<Burst> bursts;
    for (OpenBurst& open : reader.bursts()) {
        open.burst.measured.isVideo = summary.isVideo;
        open.burst.faces = faces;
        compareCommonPart(open, times);
        open.burst.measured.measure = rules.measure;
        sortByMeasure(open.burst.measured);
        rank(open, rules, times);
        open.lumas = {};
        open.camera.reset();
        bursts.push_back(std::move(open.burst));
    }
    return bursts;
}
