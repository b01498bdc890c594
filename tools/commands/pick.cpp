#include "commands/pick.h"

#include "analysis/grouping.h"
#include "analysis/page_pictures.h"
#include "base/error.h"
#include "base/in_order.h"
#include "output/html.h"
#include "output/page.h"
#include "output/report.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <sstream>

namespace fs = std::filesystem;

namespace {

// Notes when a burst of grouped pictures was taken, and why it is one.
void setOrigin(Burst& burst, const BurstGroup& group) {
    std::map<std::string, CaptureTime> times;
    for (size_t i = 0; i < group.times.size(); ++i)
        times[group.files.files[i].path] = group.times[i];
    for (const MeasuredFrame& frame : burst.measured.frames)
        burst.fileTimes += times[frame.path].fromFile ? 1 : 0;
    const CaptureTime& first = times[burst.measured.frames.front().path];
    burst.start = toText(first);
    burst.startZone = zoneText(first);
    burst.reason = group.reason;
}

std::vector<Burst> pickGroups(const PickOptions& options, std::vector<Skipped>& skipped,
                              PhaseTimes& times) {
    if (std::ranges::find(options.inputs, "-") != options.inputs.end())
        throw InputError("-", "has no time of capture for --group");
    const InputList inputs = expandInputs(options.inputs);
    skipped = inputs.skipped;
    std::vector<BurstGroup> groups = groupPictures(inputs.files, options.groupGap);
    for (BurstGroup& group : groups)
        group.files.isPart = groups.size() > 1;
    const size_t sheet = options.reportFile.empty() ? 0 : sheetCapacity(groups.size());
    Progress progress;
    progress.expect(std::ssize(inputs.files));

    struct RankedGroup {
        std::vector<Burst> bursts;
        std::vector<Skipped> skipped;
    };
    std::vector<RankedGroup> ranked(groups.size());
    const auto rank = [&](size_t number, PhaseTimes& used) {
        progress.beginBurst(number + 1, groups.size());
        const BurstGroup& group = groups[number];
        std::vector<Burst>& bursts = ranked[number].bursts;
        bursts = pickBursts(group.files, options.rules(), Sizes::apart, sheet, progress, used,
                            ranked[number].skipped);
        for (Burst& burst : bursts) {
            if (burst.measured.isVideo)
                throw InputError(burst.measured.frames.front().path,
                                 "a video, where --group takes pictures");
            setOrigin(burst, group);
        }
    };
    const auto work = [&](size_t number, PhaseTimes& used) {
        if (!options.moving)
            rank(number, used);
    };
    std::vector<Burst> bursts;
    const auto accept = [&](size_t number) {
        if (options.moving) // the luma of one group at a time
            rank(number, times);
        RankedGroup& group = ranked[number];
        std::ranges::move(group.bursts, std::back_inserter(bursts));
        skipped.insert(skipped.end(), group.skipped.begin(), group.skipped.end());
    };
    processInOrder(times, indicesBelow(groups.size()), work, accept);
    return bursts;
}

// Says when pictures that are ranked as one burst were taken as several. The times of files tell
// nothing about that.
Notes burstsNotes(const PickOptions& options, const std::vector<InputFile>& files) {
    if (files.size() < 2 || !options.rules().facesFile.empty())
        return {};
    const auto wasTaken = [](const BurstGroup& group) {
        return group.reason != GroupReason::captureTimes ||
               std::ranges::any_of(group.times, [](const CaptureTime& t) { return !t.fromFile; });
    };
    const auto count = std::ranges::count_if(groupPictures(files, options.groupGap), wasTaken);
    if (count < 2)
        return {};
    return {
        fmt::format("the pictures were taken as {} bursts, and are ranked as one; --group splits "
                    "them, --group-gap SECONDS at other pauses than {} seconds",
                    count, options.groupGap)};
}

std::string explainTables(std::span<const Burst> bursts) {
    std::string text;
    for (size_t i = 0; i < bursts.size(); ++i)
        text += (bursts.size() > 1 ? fmt::format("\nBurst {}\n", i + 1) : "\n") +
                explainTable(bursts[i]);
    return text;
}

std::vector<Burst> pickOne(const PickOptions& options, std::vector<Skipped>& skipped, Notes& notes,
                           PhaseTimes& times) {
    Progress progress;
    const InputList inputs = expandInputs(options.inputs);
    notes = burstsNotes(options, inputs.files);
    try {
        return pickBursts(inputs, options.rules(), Sizes::equal,
                          options.reportFile.empty() ? 0 : sheetCapacity(1), progress, times,
                          skipped);
    } catch (const OtherSize& other) {
        if (!options.rules().facesFile.empty())
            throw;
        throw InputError(other.name(),
                         fmt::format("{}; --group ranks each size by itself", other.what()));
    }
}

std::string textOf(const PickOptions& options, std::span<const Burst> bursts, const Notes& notes,
                   std::span<const Skipped> skipped) {
    const bool groups = options.group;
    if (options.csv)
        return pickCsv(bursts, groups);
    if (!options.json)
        return (groups ? groupTable(bursts) : pickTable(bursts.front(), notes)) +
               (options.explain ? explainTables(bursts) : "");
    OrderedJson json = jsonHead("pick");
    json.update(groups ? groupJson(options.groupGap, bursts) : pickJson(bursts.front()));
    json["notes"] = notes;
    json["skipped"] = skippedJson(skipped);
    return printJson(json);
}

// What the page is called: the input's own name.
std::string pageTitle(const PickOptions& options) {
    std::error_code error;
    const std::string& first =
        options.inputs.front() == "-" ? "standard input" : options.inputs.front();
    const fs::path path = fs::absolute(first, error).lexically_normal();
    const fs::path name = path.has_filename() ? path.filename() : path.parent_path().filename();
    const size_t more = options.inputs.size() - 1;
    return fmt::format("Best shot: {}{}", name.string(),
                       more > 0 ? fmt::format(" and {} more", more) : "");
}

// On the page a picture is called by its path from there.
void nameFromPage(Burst& burst, const std::string& page) {
    const std::string folder = fs::absolute(page).parent_path();
    for (MeasuredFrame& frame : burst.measured.frames)
        if (frame.name.find('/') != std::string::npos)
            frame.name = pathFrom(folder, frame.path);
}

std::vector<PageFile> pagesOf(const PickOptions& options, std::vector<Burst>& bursts,
                              const Notes& notes, PhaseTimes& times) {
    Report report(options.reportFile, pageTitle(options), bursts.size());
    const auto picture = [&](size_t number, PhaseTimes& used) {
        addPagePictures(bursts[number], used);
    };
    const auto add = [&](size_t number) {
        Burst& burst = bursts[number];
        nameFromPage(burst, options.reportFile);
        report.add(burst);
        burst.sheet = {};
        burst.comparisons = {};
    };
    constexpr size_t most = 3; // each may hold three frames in colour
    processInOrder(times, indicesBelow(bursts.size()), picture, add, most);
    return report.files(bursts, notes);
}

// All of the files or none.
void writeFiles(const PickOptions& options, std::vector<Burst>& bursts, const Notes& notes,
                PhaseTimes& times) {
    const bool exports = !options.copyTo.empty() || !options.linkTo.empty();
    std::vector<Export> planned;
    if (exports)
        planned = planExport(options, bursts);
    std::vector<OutputFile> sidecars;
    if (options.xmp)
        sidecars = planSidecars(options, bursts);
    std::vector<PageFile> pages;
    if (!options.reportFile.empty())
        pages = pagesOf(options, bursts, notes, times);
    StagedFiles files;
    for (PageFile& page : pages)
        files.addFile({page.path, std::move(page.html), options.force});
    if (exports)
        addExport(options, planned, files, times);
    for (const OutputFile& sidecar : sidecars)
        files.addFile(sidecar);
    files.commit();
}

Output runPick(const PickOptions& options, PhaseTimes& times) {
    if (options.jsonl) {
        const bool failed = pickLines(options, times) > 0;
        return {.text = "", .status = failed && options.strict ? badInput : 0};
    }
    if (options.inputs.empty())
        throw InputError("arguments", "INPUT is required");
    if (options.group && !options.faces.empty() && !options.findsFaces())
        throw InputError("--faces", "a faces file is about one burst; --group takes --faces auto");
    if (options.reportFile == "-")
        throw InputError("--report", "writes a file; standard output has the table");
    if (!options.reportFile.empty())
        checkOutputPath(options.reportFile, options.force);
    if (!options.copyTo.empty() || !options.linkTo.empty())
        checkExport(options);
    if (options.xmp)
        checkSidecars(options);
    Output output;
    Notes notes;
    std::vector<Burst> bursts = options.group ? pickGroups(options, output.skipped, times)
                                              : pickOne(options, output.skipped, notes, times);
    if (bursts.empty())
        throw InputError(options.inputs.front(), "no frame could be read");
    output.text = textOf(options, bursts, notes, output.skipped);
    writeFiles(options, bursts, notes, times);
    return output;
}

void addOutputs(CLI::App& pick, PickOptions& options) {
    pick.add_option("--report", options.reportFile, "Write an HTML page with the pictures")
        ->type_name("OUT.html");
    CLI::Option& copy = *pick.add_option("--copy-to", options.copyTo,
                                         "Copy the chosen files, or video frames as PNG, to DIR")
                             ->type_name("DIR");
    pick.add_option("--link-to", options.linkTo, "Make symbolic links to the chosen files in DIR")
        ->type_name("DIR")
        ->excludes(&copy);
    pick.add_flag("--force", options.force, "Replace files that exist");
}

// Up to three parts between commas, which may be empty; a rating is -1 (rejected) to 5.
std::string listError(const std::string& list, bool ofRatings) {
    if (std::ranges::count(list, ',') > 2)
        return "must be BEST,KEPT,REST or fewer";
    std::istringstream parts(list);
    for (std::string part; ofRatings && std::getline(parts, part, ',');)
        if (!part.empty() && part != "-1" && (part.size() > 1 || part < "0" || part > "5"))
            return fmt::format("a rating is -1 to 5, not {}", part);
    return "";
}

void addSidecars(CLI::App& pick, PickOptions& options) {
    CLI::Option& xmp =
        *pick.add_flag("--xmp", options.xmp, "Rate the kept photographs in XMP files beside them");
    pick.add_option("--xmp-naming", options.xmpNaming,
                    "IMG_1.xmp (stem), or IMG_1.CR2.xmp (full), of IMG_1.CR2")
        ->check(CLI::IsMember({"stem", "full"}))
        ->needs(&xmp)
        ->type_name("NAMING");
    pick.add_option("--rating", options.ratings, "Ratings, -1 to 5, none for an empty one (5,4)")
        ->check([](const std::string& list) { return listError(list, true); })
        ->needs(&xmp)
        ->type_name("BEST,KEPT,REST");
    pick.add_option("--label", options.labels, "Labels, likewise (Green,Yellow)")
        ->check([](const std::string& list) { return listError(list, false); })
        ->needs(&xmp)
        ->type_name("BEST,KEPT,REST");
}

void addGroup(CLI::App& pick, PickOptions& options) {
    pick.add_flag("--group", options.group,
                  "Split the pictures into bursts by their cameras' marks and capture times")
        ->check([](const std::string& value) {
            return value == "true" ? "" : "takes no value; --group-gap SECONDS does";
        });
    pick.add_option("--group-gap", options.groupGap,
                    "Split where nothing was taken for more than SECONDS (2); means --group")
        ->each([&](const std::string&) { options.group = true; })
        ->check(CLI::Range(0.0, 86400.0))
        ->type_name("SECONDS");
}

void addLines(CLI::App& pick, PickOptions& options) {
    CLI::Option& jsonl =
        *pick.add_flag("--jsonl", options.jsonl,
                       "Read a burst from each line of stdin, and print a line of JSON for each");
    pick.add_flag("--strict", options.strict, "Exit with 2 when any line of --jsonl had an error")
        ->needs(&jsonl);
    pick.add_option("--resume", options.resumeFile,
                    "Leave out the bursts that FILE, what --jsonl printed before, has a line for")
        ->needs(&jsonl)
        ->type_name("FILE");
    for (const char* single : {"INPUT", "--faces", "--json", "--csv", "--group", "--group-gap",
                               "--report", "--copy-to", "--link-to", "--explain", "--xmp"})
        jsonl.excludes(pick.get_option(single));
}

} // namespace

void addPick(CLI::App& app, Invocation& invocation) {
    const auto [pick, options] = addCommand(
        app, invocation, "pick", "Rank a burst: the best frame, and which to keep", runPick);
    addFrameOptions(pick, options, invocation);
    pick.add_option("--keep", options.choice.keep, "How many frames to keep (1)")
        ->check(positive)
        ->type_name("K");
    addChoice(
        pick, "--choose", options.choice.choice,
        {{"spread", Choice::spread}, {"sharpest", Choice::sharpest}, {"library", Choice::library}},
        "Keep the best of equal stretches of the burst (spread), the best of all (sharpest), "
        "or what the library chooses");
    pick.add_option("--min-share", options.choice.minShare,
                    "Keep no frame that has less than P % of the best one's score (0)")
        ->check(CLI::Range(0.0, 100.0))
        ->type_name("P");
    pick.add_option("--faces", options.faces,
                    "JSON file with the faces of every frame, or auto to find them")
        ->type_name("FILE");
    addFaceRules(pick, options.faceRules);
    pick.add_flag("--moving", options.moving,
                  "Rank by what moves; keeps the luma of all frames, 4 GiB at most");
    pick.add_flag("--whole", options.whole,
                  "Compare whole frames instead of the part of the scene that all of them show");
    pick.add_flag("--explain", options.explain,
                  "Add a table of the terms of every frame, which JSON and CSV always have");
    addGroup(pick, options);
    addOutputs(pick, options);
    addSidecars(pick, options);
    addLines(pick, options);
}
