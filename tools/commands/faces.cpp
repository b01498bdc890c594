#include "analysis/face_finder.h"
#include "analysis/frame_measurer.h"
#include "analysis/people.h"
#include "base/error.h"
#include "base/text.h"
#include "commands/options.h"
#include "output/report.h"

#include <oneapi/tbb/enumerable_thread_specific.h>

namespace {

struct FacesOptions : FrameOptions {
    FaceRules rules;
    bool facesFile = false; // print one
};

// Frames of one size: only then they can be one burst, in which people are followed.
void checkSizes(const Measurement& measured) {
    const MeasuredFrame& first = measured.frames.front();
    for (const MeasuredFrame& frame : measured.frames)
        if (frame.width != first.width || frame.height != first.height)
            throw InputError(
                frame.path,
                fmt::format("{} pixels, but {} has {}; a faces file is about frames of one size",
                            sizeText(frame.width, frame.height), first.name,
                            sizeText(first.width, first.height)));
}

std::string textOf(const FacesOptions& options, const Measurement& measured, const People& people,
                   std::span<const Skipped> skipped) {
    if (options.facesFile)
        return facesFileText(facesForRanking(people));
    if (!options.json)
        return facesTable(measured, people);
    OrderedJson json = jsonHead("faces");
    json.update(facesJson(measured, people));
    json["notes"] = peopleNotes(people);
    json["skipped"] = skippedJson(skipped);
    return printJson(json);
}

Output runFaces(const FacesOptions& options, PhaseTimes& times) {
    const InputList inputs = expandInputs(options.inputs);
    const FaceFinder finder(options.rules);
    tbb::enumerable_thread_specific<FrameMeasurer> measurers;
    Progress progress;
    Measurement measured;
    std::vector<std::vector<PersonFace>> faces;
    FrameSelection selection = options.frames;
    selection.request.lumaOnly = true;
    const FrameNeeds needs = {.faces = &finder};
    ReadSummary summary = readFrames(
        inputs, selection, progress, times, [&](const SourceFrame& frame, PhaseTimes& used) {
            return [&, found = measurers.local().measure(frame, needs, used)] {
                measured.frames.push_back(found.frame);
                faces.push_back(found.faces);
            };
        });
    if (summary.visited == 0)
        throw InputError(options.inputs.front(), "no frame could be read");
    measured.isVideo = summary.isVideo;
    if (options.facesFile)
        checkSizes(measured);
    const People people = findPeople(std::move(faces));
    return {textOf(options, measured, people, summary.skipped), std::move(summary.skipped)};
}

} // namespace

void addFaceRules(CLI::App& command, FaceRules& rules) {
    command
        .add_option("--face-size", rules.smallestFace,
                    "The smallest face to look for, as a share of the frame's longer side (0.025)")
        ->check(CLI::Range(0.005, 1.0))
        ->type_name("SHARE");
    command
        .add_option("--landmarks", rules.landmarksFile,
                    "The file of landmarks, unless that of Debian's package libdlib-data")
        ->type_name("FILE");
}

void addFaces(CLI::App& app, Invocation& invocation) {
    const auto [command, options] =
        addCommand(app, invocation, "faces",
                   "Find the faces of every frame, their eyes and their smiles", runFaces);
    addFrameOptions(command, options, invocation, Formats::tableAndJson).required();
    command.add_flag("--faces-file", options.facesFile, "Print a faces file for pick --faces")
        ->excludes(command.get_option("--json"));
    addFaceRules(command, options.rules);
}
