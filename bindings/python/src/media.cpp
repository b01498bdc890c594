// Files, read and measured by the code of the tool.
#include "analysis/burst.h"
#include "analysis/changed_mask.h"
#include "base/error.h"
#include "base/jobs.h"
#include "base/text.h"
#include "errors.h"
#include "media/colour.h"
#include "media/luma.h"
#include "output/report.h"
#include "pixels.h"

#include <pybind11/stl.h>

#include <algorithm>
#include <memory>

extern "C" {
#include <libavutil/log.h>
}

namespace {

// Paths come as the bytes that the system has.
using Path = std::string;

py::bytes pathOf(const Path& path) { return {path}; }

// An array that owns what the vector held.
py::array_t<unsigned char> toArray(std::vector<unsigned char>&& pixels,
                                   std::vector<py::ssize_t> shape) {
    auto* const owned = new std::vector<unsigned char>(std::move(pixels));
    const py::capsule owner(
        owned, [](void* vector) { delete static_cast<std::vector<unsigned char>*>(vector); });
    return py::array_t<unsigned char>(std::move(shape), owned->data(), owner);
}

py::array_t<unsigned char> toArray(LumaImage&& luma) {
    return toArray(std::move(luma.pixels), {luma.height, luma.width});
}

py::array_t<unsigned char> toArray(BgrPicture&& picture) {
    return toArray(std::move(picture.pixels), {picture.height, picture.width, 3});
}

// A frame that was read: what describes it, and its pixels.
struct ReadFrame {
    Path path;
    Path name;
    int64_t number = 0;
    std::optional<double> seconds;
    PictureForm form;
    LumaImage luma;
    std::optional<BgrPicture> colour;
};

void addPixels(const AVFrame& pixels, bool withColour, ReadFrame& read, PhaseTimes& times) {
    ImageViewer viewer;
    __tag_KIRO_OFFSCREEN image = viewer.view(pixels, read.path, times).image;
    image.width = pixels.width; // the last column or row is only left out of measurements
    image.height = pixels.height;
    read.luma = copyLuma(image);
    if (withColour)
        read.colour = ColourPicture::of(pixels, read.path, times).whole(times);
}

py::tuple toTuple(ReadFrame&& read) {
    py::object colour = py::none();
    if (read.colour)
        colour = toArray(std::move(*read.colour));
    return py::make_tuple(pathOf(read.path), pathOf(read.name), read.number, read.seconds,
                          read.form.orientation, read.form.pixelFormat, read.form.rendering,
                          toArray(std::move(read.luma)), colour);
}

FrameSelection selectionOf(int64_t every, int64_t most, bool skipBad) {
    return {.every = every, .max = most, .skipBad = skipBad, .skipOption = "skip_bad=True"};
}

py::list toPairs(const std::vector<Skipped>& skipped) {
    py::list pairs;
    for (const Skipped& file : skipped)
        pairs.append(py::make_tuple(pathOf(file.name), file.reason));
    return pairs;
}

py::tuple readOne(const Path& path, bool withColour) {
    ReadFrame read = {path, path, 0, {}, {}, {}, {}};
    {
        const py::gil_scoped_release released;
        PhaseTimes times;
        Picture picture = readPicture(path, {.lumaOnly = !withColour}, times);
        read.form = std::move(picture.form);
        addPixels(*picture.pixels, withColour, read, times);
    }
    return toTuple(std::move(read));
}

// The frames, and what was left out.
py::tuple readBurst(const std::vector<Path>& inputs, int64_t every, int64_t most, bool skipBad,
                    int jobs, bool withColour) {
    std::vector<ReadFrame> frames;
    ReadSummary summary;
    {
        const py::gil_scoped_release released;
        FrameSelection selection = selectionOf(every, most, skipBad);
        selection.request.lumaOnly = !withColour;
        Progress progress(nullptr);
        PhaseTimes times;
        const auto visit = [&](const SourceFrame& frame, PhaseTimes& used) -> InTurn {
            const auto read = std::make_shared<ReadFrame>(
                ReadFrame{frame.path, frame.name, frame.number, frame.seconds, frame.form, {}, {}});
            addPixels(frame.pixels, withColour, *read, used);
            return [&frames, read] { frames.push_back(std::move(*read)); };
        };
        summary = Jobs(jobs).run(
            [&] { return readFrames(expandInputs(inputs), selection, progress, times, visit); });
    }
    if (frames.empty())
        throw InputError(inputs.front(), "no frame could be read");
    py::list list;
    for (ReadFrame& frame : frames)
        list.append(toTuple(std::move(frame)));
    return py::make_tuple(list, toPairs(summary.skipped));
}

// The name was checked before.
Choice choiceOf(const std::string& name) {
    if (name == "spread")
        return Choice::spread;
    return name == "sharpest" ? Choice::sharpest : Choice::library;
}

// The JSON and the table of the tool, and the frames' paths.
py::tuple pickFiles(const std::vector<Path>& inputs, int64_t keep, const std::string& choose,
                    double minShare, bool byDetail, const Path& facesFile, bool moving,
                    int64_t every, int64_t most, bool skipBad, int jobs) {
    std::vector<Burst> bursts;
    std::vector<Skipped> skipped;
    {
        const py::gil_scoped_release released;
        const RankingRules rules = {
            .frames = selectionOf(every, most, skipBad),
            .choice = {.keep = keep, .choice = choiceOf(choose), .minShare = minShare},
            .measure = byDetail ? Measure::detail : Measure::sharpness,
            .facesFile = facesFile,
            .moving = moving};
        Progress progress(nullptr);
        PhaseTimes times;
        bursts = Jobs(jobs).run([&] {
            return pickBursts(expandInputs(inputs), rules, Sizes::equal, 0, progress, times,
                              skipped);
        });
    }
    if (bursts.empty())
        throw InputError(inputs.front(), "no frame could be read");
    const Burst& burst = bursts.front();
    py::list paths;
    for (const MeasuredFrame& frame : burst.measured.frames)
        paths.append(pathOf(frame.path));
    return py::make_tuple(printJson(pickJson(burst)), pathOf(pickTable(burst, {})), paths,
                          toPairs(skipped));
}

LumaImage lumaOf(py::handle image, const std::string& name, const std::string& channels) {
    return copyLuma(Luma(image, name, orderOf(channels)).view());
}

// In the order of `kelvane.Alignment`.
py::tuple toTuple(const Alignment& a) {
    return py::make_tuple(a.shift.dx, a.shift.dy, a.turn, a.scale, a.correlation,
                          a.correlationUnshifted, a.atLimit, a.fits);
}

// The alignment of two pictures of one size, as the tool does it; and where they differ, as mask
// and box, when that is asked for.
py::tuple compare(py::handle a, py::handle b, const std::string& channels, bool withChanges) {
    LumaImage first = lumaOf(a, "a", channels), second = lumaOf(b, "b", channels);
    if (first.width != second.width || first.height != second.height)
        throw py::value_error(fmt::format("b: {} pixels, but a has {}",
                                          sizeText(second.width, second.height),
                                          sizeText(first.width, first.height)));
    if (withChanges && std::min(first.width, first.height) < smallestChangedSide)
        throw py::value_error(fmt::format("a: {} pixels; finding changes needs {} on the shorter "
                                          "side",
                                          sizeText(first.width, first.height),
                                          smallestChangedSide));
    ChangedMask mask = {};
    __tag_rect box = {};
    int64_t count = 0;
    {
        const py::gil_scoped_release released;
        Aligner aligner;
        if (withChanges) {
            mask = findChangedMask(aligner, first, second);
            box = boundingBox(mask);
            count = std::count(mask.pixels.begin(), mask.pixels.end(), 255);
        } else {
            mask.alignment = aligner.find(first, second);
        }
    }
    if (!withChanges)
        return toTuple(mask.alignment);
    const double share = static_cast<double>(count) / static_cast<double>(mask.pixels.size());
    const py::tuple sides = py::make_tuple(box.left, box.top, box.right, box.bottom);
    return py::make_tuple(sides, share, toTuple(mask.alignment),
                          toArray(std::move(mask.pixels), {mask.height, mask.width}));
}

} // namespace

PYBIND11_MODULE(_media, module) {
    registerErrors();
    av_log_set_level(AV_LOG_QUIET);
    module.def("read_picture", readOne);
    module.def("read_burst", readBurst);
    module.def("pick_files", pickFiles);
    module.def("compare", compare);
}
