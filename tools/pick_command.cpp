#include "burst.h"
#include "commands.h"
#include "csv.h"
#include "error.h"
#include "report.h"
#include "report_page.h"

#include <filesystem>

namespace fs = std::filesystem;

namespace {

std::string singleText(const Options& options, const Burst& burst,
                       std::span<const Skipped> skipped) {
    if (options.csv)
        return pickCsv({&burst, 1}, false);
    if (!options.json)
        return pickTable(burst);
    OrderedJson json = jsonHead("pick");
    json.update(pickJson(burst));
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

} // namespace

Output runPick(const Options& options, PhaseTimes& times) {
    const bool reports = !options.reportFile.empty();
    if (reports)
        checkOutputPath(options.reportFile, options.force);
    Output output;
    Progress progress;
    std::vector<Burst> bursts =
        pickBursts(expandInputs(options.inputs), options, Sizes::equal,
                   reports ? sheetCapacity(1) : 0, progress, times, output.skipped);
    if (bursts.empty())
        throw InputError(options.inputs.front(), "no frame could be read");
    output.text = singleText(options, bursts.front(), output.skipped);
    if (reports) {
        ReportPage page(bursts.size());
        for (Burst& burst : bursts)
            page.add(burst, times);
        output.file = {options.reportFile, page.html(pageTitle(options), bursts), options.force};
    }
    return output;
}
