#include "burst.h"
#include "burst_groups.h"
#include "burst_lines.h"
#include "chosen_files.h"
#include "commands.h"
#include "csv.h"
#include "error.h"
#include "report.h"
#include "report_page.h"

#include <filesystem>

namespace fs = std::filesystem;

namespace {

// Tells when a burst of grouped pictures was taken.
void setTimes(Burst& burst, const BurstGroup& group) {
    std::map<std::string, CaptureTime> times;
    for (size_t i = 0; i < group.times.size(); ++i)
        times[group.files.files[i].path] = group.times[i];
    for (const MeasuredFrame& frame : burst.measured.frames)
        burst.fileTimes += times[frame.path].fromFile ? 1 : 0;
    burst.start = toText(times[burst.measured.frames.front().path]);
}

std::vector<Burst> pickGroups(const Options& options, std::vector<Skipped>& skipped,
                              PhaseTimes& times) {
    const InputList inputs = expandInputs(options.inputs);
    skipped = inputs.skipped;
    const std::vector<BurstGroup> groups = groupByTime(inputs.files, *options.groupSeconds);
    const size_t pictures = options.reportFile.empty() ? 0 : sheetCapacity(groups.size());
    Progress progress;
    progress.expect(std::ssize(inputs.files));
    std::vector<Burst> bursts;
    for (size_t i = 0; i < groups.size(); ++i) {
        progress.beginBurst(i + 1, groups.size());
        for (Burst& burst : pickBursts(groups[i].files, options, Sizes::apart, pictures, progress,
                                       times, skipped)) {
            if (burst.measured.isVideo)
                throw InputError(burst.measured.frames.front().path,
                                 "a video, where --group takes pictures");
            setTimes(burst, groups[i]);
            bursts.push_back(std::move(burst));
        }
    }
    return bursts;
}

std::vector<Burst> pickOne(const Options& options, std::vector<Skipped>& skipped,
                           PhaseTimes& times) {
    Progress progress;
    return pickBursts(expandInputs(options.inputs), options, Sizes::equal,
                      options.reportFile.empty() ? 0 : sheetCapacity(1), progress, times, skipped);
}

OrderedJson groupJson(const Options& options, std::span<const Burst> bursts) {
    OrderedJson json = {{"group_seconds", *options.groupSeconds}, {"bursts", OrderedJson::array()}};
    for (const Burst& burst : bursts) {
        OrderedJson entry = {{"start", burst.start}, {"file_times", burst.fileTimes}};
        entry.update(pickJson(burst));
        json["bursts"].push_back(std::move(entry));
    }
    return json;
}

std::string textOf(const Options& options, std::span<const Burst> bursts,
                   std::span<const Skipped> skipped) {
    const bool groups = options.groupSeconds.has_value();
    if (options.csv)
        return pickCsv(bursts, groups);
    if (!options.json)
        return groups ? groupTable(bursts) : pickTable(bursts.front());
    OrderedJson json = jsonHead("pick");
    json.update(groups ? groupJson(options, bursts) : pickJson(bursts.front()));
    json["skipped"] = skippedJson(skipped);
    return printJson(json);
}

// What the page is called: the input's own name.
std::string pageTitle(const Options& options) {
    std::error_code error;
    const fs::path path = fs::absolute(options.inputs.front(), error).lexically_normal();
    const fs::path name = path.has_filename() ? path.filename() : path.parent_path().filename();
    const size_t more = options.inputs.size() - 1;
    return "Best shot: " + name.string() +
           (more > 0 ? " and " + std::to_string(more) + " more" : "");
}

std::string pageOf(const Options& options, std::vector<Burst>& bursts, PhaseTimes& times) {
    ReportPage page(bursts.size());
    for (Burst& burst : bursts)
        page.add(burst, times);
    return page.html(pageTitle(options), bursts);
}

} // namespace

Output runPick(const Options& options, PhaseTimes& times) {
    Output output;
    if (options.jsonl) {
        const bool failed = pickLines(options, times) > 0;
        output.status = failed && options.strict ? badInput : 0;
        return output;
    }
    const bool reports = !options.reportFile.empty();
    const bool exports = !options.copyTo.empty() || !options.linkTo.empty();
    if (reports)
        checkOutputPath(options.reportFile, options.force);
    if (exports)
        checkExport(options);
    std::vector<Burst> bursts = options.groupSeconds ? pickGroups(options, output.skipped, times)
                                                     : pickOne(options, output.skipped, times);
    if (bursts.empty())
        throw InputError(options.inputs.front(), "no frame could be read");
    output.text = textOf(options, bursts, output.skipped);
    if (reports)
        output.file = {options.reportFile, pageOf(options, bursts, times), options.force};
    if (exports)
        exportChosen(options, bursts, times);
    return output;
}
