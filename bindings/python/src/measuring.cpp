// Blur scores, and the ranking of bursts by them.
#include "analysis/faces.h"
#include "analysis/terms.h"
#include "bindings.h"
#include "memory.h"
#include "pixels.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <mutex>

namespace {

using Rect = std::array<int64_t, 4>;

// The library's engine, which takes its memory where a context does.
class Engine {
public:
    explicit Engine(const Memory& memory) : memory_(memory) {
        memory.check(DRAV_Init(memory.handle(), &engine_), "an engine");
    }
    ~Engine() { DRAV_Uninit(&engine_); }
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    operator _tag_DRAV_ENGINE*() const { return engine_; }

    _tag_DRAV_BLURRESULT measure(const __tag_KIRO_OFFSCREEN& image) const {
        _tag_DRAV_DATA result = {};
        memory_.check(DRAV_DetectBlur(engine_, &image, &result), "a blur score");
        return *static_cast<const _tag_DRAV_BLURRESULT*>(result.data);
    }

private:
    const Memory& memory_;
    _tag_DRAV_ENGINE* engine_ = nullptr;
};

// As the ranking measures a moving object.
int64_t measurePart(const Memory& memory, __tag_KIRO_OFFSCREEN image, __tag_rect part) {
    float sharpness = 0;
    memory.check(imgEvaluateSharpness(memory.handle(), &image, &sharpness, &part), "a blur score");
    return static_cast<int64_t>(std::fma(sharpness, 10000.0f, 0.5f));
}

__tag_rect checkedRect(const Rect& rect, const Luma& luma, const std::string& name) {
    const auto [left, top, right, bottom] = rect;
    if (left < 0 || top < 0 || left >= right || top >= bottom || right > luma.width() ||
        bottom > luma.height())
        throw py::value_error(fmt::format(
            "{}: ({}, {}, {}, {}) is empty or leaves the picture of {} x {}; it is left, top, "
            "right and bottom",
            name, left, top, right, bottom, luma.width(), luma.height()));
    return {static_cast<int32_t>(left), static_cast<int32_t>(top), static_cast<int32_t>(right),
            static_cast<int32_t>(bottom)};
}

// Clipped to a picture whose sides were made even. Nothing is left of an odd last column or row.
__tag_rect clipped(__tag_rect rect, const __tag_KIRO_OFFSCREEN& image) {
    return {std::min(rect.left, image.width - 1), std::min(rect.top, image.height - 1),
            std::min(rect.right, image.width), std::min(rect.bottom, image.height)};
}

void checkMeasurable(const Luma& luma, const std::string& name) {
    if (luma.width() < 2 || luma.height() < 2)
        throw py::value_error(name + ": smaller than 2 x 2 pixels");
}

int64_t blur(py::handle image, const std::optional<Rect>& region, const std::string& channels) {
    const Luma luma(image, "image", orderOf(channels));
    checkMeasurable(luma, "image");
    __tag_rect part = {};
    if (region)
        part = checkedRect(*region, luma, "region");
    const py::gil_scoped_release released;
    const __tag_KIRO_OFFSCREEN view = luma.evenView();
    if (region)
        return measurePart(heap(), view, clipped(part, view));
    return Engine(heap()).measure(view).score;
}

// The moving objects of a burst, and the masks that they point to.
struct Objects {
    std::vector<std::optional<Pixels>> masks;
    std::vector<_tag_DRAV_MOVINGOBJ> entries;
    MovingObjects found;
};

// A burst on its way through a ranking.
struct Frames {
    std::vector<Luma> lumas; // only where moving objects are measured
    std::vector<__tag_KIRO_OFFSCREEN> views;
    std::vector<_tag_DRAV_BLURRESULT> blurs;
    int32_t width = 0; // before odd sides were made even
    int32_t height = 0;
};

class Ranker {
public:
    explicit Ranker(std::optional<int64_t> budget) : memory_(budget) {}

    using FaceNumbers = std::array<int64_t, 7>; // left, top, right, bottom, code, smile, eyes open
    using Faces = std::vector<std::vector<FaceNumbers>>;

    // The best frame, the kept ones, and the terms of each.
    py::tuple rank(const py::iterable& images, int64_t keep, const std::optional<Faces>& faces,
                   const std::optional<py::sequence>& moving, const std::string& channels) {
        if (keep < 1)
            throw py::value_error(fmt::format("keep: {} is below 1", keep));
        const Order order = orderOf(channels);
        // Python code runs while the frames are looked at, and may come here again.
        const std::unique_lock lock = lockWithoutGil();
        const Engine engine(memory_);
        Frames frames = measureAll(engine, images, order, moving.has_value());
        const FacesOfFrames converted = convertFaces(faces, frames);
        std::optional<Objects> objects;
        if (moving)
            objects = convertObjects(*moving, frames);
        const py::gil_scoped_release released;
        const Ranking ranking = rankMeasured(engine, frames, converted, objects, keep);
        std::vector<int64_t> scores;
        for (const _tag_DRAV_BLURRESULT& result : frames.blurs)
            scores.push_back(result.score);
        const std::vector<Terms> terms =
            computeTerms(scores, objects ? &objects->found : nullptr, converted,
                         frames.views[0].width, frames.views[0].height);
        const py::gil_scoped_acquire acquired;
        return py::make_tuple(ranking.best, ranking.chosen, toTuples(terms));
    }

private:
    std::unique_lock<std::recursive_mutex> lockWithoutGil() {
        const py::gil_scoped_release released;
        return std::unique_lock(mutex_);
    }

    static Frames measureAll(const Engine& engine, const py::iterable& images, Order order,
                             bool keepLuma) {
        Frames frames;
        for (const py::handle image : images) {
            const std::string name = fmt::format("frames[{}]", frames.blurs.size());
            Luma luma(image, name, order);
            checkMeasurable(luma, name);
            if (frames.blurs.empty()) {
                frames.width = luma.width();
                frames.height = luma.height();
            }
            if (luma.width() != frames.width || luma.height() != frames.height)
                throw py::value_error(fmt::format("{}: {} x {} pixels, but frames[0] has {} x {}",
                                                  name, luma.width(), luma.height(), frames.width,
                                                  frames.height));
            {
                const py::gil_scoped_release released;
                frames.views.push_back(luma.evenView());
                frames.blurs.push_back(engine.measure(frames.views.back()));
                if (!keepLuma)
                    frames.views.back().planes[0] = nullptr; // it is not read again
            }
            if (keepLuma)
                frames.lumas.push_back(std::move(luma));
        }
        if (frames.blurs.empty())
            throw py::value_error("frames: is empty");
        return frames;
    }

    static FacesOfFrames convertFaces(const std::optional<Faces>& faces, const Frames& frames) {
        FacesOfFrames result;
        if (!faces)
            return result;
        for (const std::vector<FaceNumbers>& ofFrame : *faces) {
            result.emplace_back();
            for (const FaceNumbers& n : ofFrame)
                result.back().push_back({{static_cast<int32_t>(n[0]), static_cast<int32_t>(n[1]),
                                          static_cast<int32_t>(n[2]), static_cast<int32_t>(n[3])},
                                         static_cast<uint32_t>(n[4]),
                                         static_cast<uint32_t>(n[5]),
                                         static_cast<uint32_t>(n[6])});
        }
        checkFaces(result, "faces", frames.blurs.size(), frames.width, frames.height);
        return result;
    }

    // Each item is None, or a tuple of rectangle and mask.
    Objects convertObjects(const py::sequence& moving, const Frames& frames) const {
        if (moving.size() != frames.blurs.size())
            throw py::value_error(fmt::format("moving: {} objects for {} frames", moving.size(),
                                              frames.blurs.size()));
        Objects objects;
        size_t usable = 0;
        for (size_t i = 0; i < frames.blurs.size(); ++i) {
            const py::object item = moving[i];
            objects.masks.emplace_back();
            objects.entries.push_back({});
            objects.found.ofFrames.emplace_back();
            if (item.is_none())
                continue;
            ++usable;
            addObject(item.cast<std::pair<Rect, py::object>>(), i, frames, objects);
        }
        objects.found.used = usable > frames.blurs.size() / 2;
        return objects;
    }

    void addObject(const std::pair<Rect, py::object>& item, size_t i, const Frames& frames,
                   Objects& objects) const {
        constexpr int32_t smallestSide = 11; // the library takes no smaller object
        const std::string name = fmt::format("moving[{}]", i);
        Pixels mask(item.second, name + ".mask", 1);
        if (mask.width != frames.width || mask.height != frames.height)
            throw py::value_error(
                fmt::format("{}.mask: {} x {} pixels, but the frames have {} x {}", name,
                            mask.width, mask.height, frames.width, frames.height));
        __tag_rect rect =
            clipped(checkedRect(item.first, frames.lumas[i], name + ".rect"), frames.views[i]);
        if (mask.pitch != mask.width) { // the library takes one pitch for all
            mask.copy = compactCopy(mask);
            mask.data = mask.copy.data();
            mask.pitch = mask.width;
        }
        objects.masks.back().emplace(std::move(mask));
        const Pixels& kept = *objects.masks.back();
        auto* const bytes = const_cast<unsigned char*>(kept.data); // which are only read
        objects.entries.back() = {rect, bytes};
        MovingObject& found = objects.found.ofFrames.back();
        if (rect.right - rect.left < smallestSide || rect.bottom - rect.top < smallestSide)
            return;
        found.found = true;
        found.rect = rect;
        found.score = measurePart(memory_, frames.views[i], rect);
        calMaskArea(bytes, kept.width, kept.height, kept.pitch, 0, &rect, &found.area);
    }

    static std::vector<unsigned char> compactCopy(const Pixels& mask) {
        std::vector<unsigned char> copy;
        for (int64_t y = 0; y < mask.height; ++y)
            copy.insert(copy.end(), mask.data + y * mask.pitch,
                        mask.data + y * mask.pitch + mask.width);
        return copy;
    }

    Ranking rankMeasured(const Engine& engine, Frames& frames, const FacesOfFrames& faces,
                         const std::optional<Objects>& objects, int64_t keep) const {
        const auto n = static_cast<int64_t>(frames.blurs.size());
        if (objects) {
            const _tag_DRAV_MOVINGINFO info = {
                frames.views[0].width, frames.views[0].height, frames.width,
                const_cast<_tag_DRAV_MOVINGOBJ*>(objects->entries.data()), static_cast<int32_t>(n)};
            memory_.check(SetMovingObjectInfo(engine, &info), "moving objects");
        }
        std::vector<unsigned char> record =
            makeRecord(faces, frames.blurs.size(), frames.views[0].width, frames.views[0].height);
        std::vector<_tag_DRAV_DATA> results;
        for (_tag_DRAV_BLURRESULT& result : frames.blurs)
            results.push_back({&result, sizeof result});
        Ranking ranking = {std::vector<int64_t>(static_cast<size_t>(std::min(keep, n))), 0};
        const _tag_DRAV_DATA data = {record.data(), std::ssize(record)};
        _tag_DRAV_RESULT result = {keep, ranking.chosen.data(), 0};
        memory_.check(DRAV_KelvaneWithPreProcessBlur(engine, frames.views.data(), &data,
                                                     results.data(), n, &result),
                      "a ranking");
        ranking.best = result.best;
        return ranking;
    }

    static py::list toTuples(const std::vector<Terms>& terms) {
        py::list list;
        for (const Terms& t : terms)
            list.append(py::make_tuple(t.score, t.share, t.objectScore, t.objectShare, t.sharpness,
                                       t.objectSharpness, t.faces, t.eyes, t.smiles, t.codes,
                                       t.area, t.border, constantTerm, t.total));
        return list;
    }

    Memory memory_;
    std::recursive_mutex mutex_;
};

} // namespace

void addMeasuring(py::module_& module) {
    module.def("blur", blur);
    py::class_<Ranker>(module, "Ranker")
        .def(py::init<std::optional<int64_t>>())
        .def("rank", &Ranker::rank);
}
