#include "output/report.h"
#include "output/table_text.h"
#include "output/term_values.h"

#include <fmt/format.h>

std::string explainTable(const Burst& burst) {
    const Measurement& measured = burst.measured;
    std::vector<Row> rows = {{"frame", measured.isVideo ? "time" : "file"}};
    for (const TermValue& term : usedTermValues(burst, 0))
        rows[0].emplace_back(term.title);
    for (size_t i = 0; i < measured.frames.size(); ++i) {
        rows.push_back(
            {std::to_string(frameNumber(measured, i)), placeText(measured, measured.frames[i])});
        for (const TermValue& term : usedTermValues(burst, i))
            rows.back().push_back(termText(term));
    }
    std::vector<char> left(rows[0].size());
    left[1] = !measured.isVideo;
    const bool objects = burst.moving && burst.moving->used;
    return formatTable(rows, left, {}) +
           fmt::format("Total: 0.8 x share as sharpness, 1.2 x {} as object sharpness, and what "
                       "follows them. The highest is best.\n",
                       objects ? "object share" : "share");
}
