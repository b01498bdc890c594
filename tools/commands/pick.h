#pragma once

#include "analysis/burst.h"
#include "base/error.h"
#include "commands/options.h"
#include "media/files.h"

#include <span>

struct PickOptions : FrameOptions {
    ChoiceRules choice;
    std::string faces; // their file, "auto", or empty for none, as the other names
    FaceRules faceRules;
    bool moving = false;
    bool whole = false;
    bool explain = false;
    bool group = false; // split the pictures into bursts by capture time
    double groupGap = 2;
    bool jsonl = false; // read a burst from each line of stdin
    bool strict = false;
    std::string resumeFile; // answers to lines of an earlier run
    std::string reportFile;
    std::string copyTo; // folders for the chosen frames
    std::string linkTo;
    bool xmp = false;                    // write sidecars
    std::string xmpNaming = "stem";      // or "full"
    std::string ratings = "5,4";         // of the best frame, other kept ones, and the rest
    std::string labels = "Green,Yellow"; // likewise
    bool force = false;                  // replace files that exist

    bool findsFaces() const { return faces == "auto"; }

    RankingRules rules() const {
        return {.frames = frames,
                .choice = choice,
                .measure = measure,
                .facesFile = findsFaces() ? "" : faces,
                .finder = findsFaces() ? &sharedFaceFinder(faceRules) : nullptr,
                .moving = moving,
                .whole = whole};
    }
};

// `--jsonl`: ranks the burst that each line of stdin describes, and prints one line of JSON for
// each as soon as it is known (docs/scaling.md). `options` hold for what a line does not set.
// Returns how many lines had an error.
size_t pickLines(const PickOptions& options, PhaseTimes& times);

// Throws InputError when the folder of `--copy-to` or `--link-to` cannot be used, which spares a
// run: it is no folder, or the frames of a video are to be linked.
void checkExport(const PickOptions& options);

// One kept frame and the file that it becomes.
struct Export {
    const Measurement* measured;
    size_t frame;
    std::string source;
    std::string target;
};

// Throws InputError when two of the kept frames share a name or a file is not to be replaced.
std::vector<Export> planExport(const PickOptions& options, std::span<const Burst> bursts);

// Adds the kept frames in the folder, which is made when it is missing: copies, PNG files of video
// frames, or symbolic links.
void addExport(const PickOptions& options, const std::vector<Export>& exports, StagedFiles& files,
               PhaseTimes& times);

#ifdef KELVANE_XMP
// Throws InputError for inputs that have no sidecars, which spares a run.
void checkSidecars(const PickOptions& options);

// The sidecars that `--xmp` makes or changes. Throws InputError for an existing one that cannot be
// read, that has another mark which is not to be replaced, or that two photographs would share.
std::vector<OutputFile> planSidecars(const PickOptions& options, std::span<const Burst> bursts);
#else
inline void checkSidecars(const PickOptions&) {
    throw InputError("--xmp", "this build has no exempi");
}
inline std::vector<OutputFile> planSidecars(const PickOptions&, std::span<const Burst>) {
    return {};
}
#endif
