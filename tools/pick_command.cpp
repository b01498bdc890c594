#include "burst.h"
#include "commands.h"
#include "csv.h"
#include "error.h"
#include "report.h"

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

} // namespace

Output runPick(const Options& options, PhaseTimes& times) {
    Output output;
    Progress progress;
    const std::vector<Burst> bursts = pickBursts(expandInputs(options.inputs), options,
                                                 Sizes::equal, 0, progress, times, output.skipped);
    if (bursts.empty())
        throw InputError(options.inputs.front(), "no frame could be read");
    output.text = singleText(options, bursts.front(), output.skipped);
    return output;
}
