#include "base/error.h"
#include "commands/pick.h"
#include "media/json_input.h"
#include "output/report.h"

#include <new>
#include <optional>
#include <set>

namespace {

constexpr int64_t largestCount = INT32_MAX;

// What a line says besides its id.
PickOptions parseLine(const JsonNode& line, PickOptions options) {
    line.checkKeys({"id", "files", "keep", "every", "max", "moving", "skip_bad", "faces"});
    for (const JsonNode& file : line.get("files").elements()) {
        options.inputs.push_back(file.string());
        if (options.inputs.back() == "-")
            file.fail("standard input holds the list");
    }
    if (options.inputs.empty())
        line.get("files").fail("must not be empty");
    for (const auto& [key, count] : {std::pair{"keep", &options.keep},
                                     {"every", &options.frames.every},
                                     {"max", &options.frames.max}})
        if (line.has(key))
            *count = line.get(key).integer(1, largestCount);
    if (line.has("moving"))
        options.moving = line.get("moving").boolean();
    if (line.has("skip_bad"))
        options.frames.skipBad = line.get("skip_bad").boolean();
    if (line.has("faces"))
        options.facesFile = line.get("faces").string();
    return options;
}

OrderedJson pickLine(const PickOptions& options, PhaseTimes& times) {
    std::vector<Skipped> skipped;
    Progress progress;
    const std::vector<Burst> bursts = pickBursts(expandInputs(options.inputs), options.rules(),
                                                 Sizes::equal, 0, progress, times, skipped);
    if (bursts.empty())
        throw InputError(options.inputs.front(), "no frame could be read");
    OrderedJson json = pickJson(bursts.front());
    json["skipped"] = skippedJson(skipped);
    return json;
}

OrderedJson error(const std::string& name, const std::string& reason) {
    return {{"error", {{"name", name}, {"reason", reason}}}};
}

// One burst must not end the others, whatever happens to it.
OrderedJson pickOrError(const JsonNode& line, const PickOptions& options, PhaseTimes& times) {
    try {
        return pickLine(parseLine(line, options), times);
    } catch (const NamedError& failure) {
        return error(failure.name(), failure.what());
    } catch (const std::bad_alloc&) {
        return error("memory", "not enough for this input");
    } catch (const std::exception& failure) {
        return error("internal error", failure.what());
    }
}

bool isId(const nlohmann::json& value) { return value.is_string() || value.is_number_integer(); }

// The id of a line, null when it has none.
nlohmann::json idOf(const nlohmann::json& line) {
    return line.is_object() && line.contains("id") && isId(line["id"]) ? line["id"] : nullptr;
}

// The ids that an earlier run has answered. A line that was cut when the run was killed is none.
std::set<nlohmann::json> readAnswered(const std::string& path) {
    std::set<nlohmann::json> ids;
    readLines(path, [&](const std::string& line) {
        ids.insert(idOf(nlohmann::json::parse(line, nullptr, false)));
    });
    ids.erase(nullptr);
    return ids;
}

class LineReader {
public:
    LineReader(const PickOptions& options, PhaseTimes& times) : options_(options), times_(times) {
        if (!options.resumeFile.empty())
            answered_ = readAnswered(options.resumeFile);
    }

    // The answer to a line, or nothing when there is one already.
    std::optional<OrderedJson> answer(const std::string& text, const std::string& source) const {
        OrderedJson json = jsonHead("pick");
        json["id"] = nullptr;
        try {
            const nlohmann::json parsed = parseJson(text, source);
            const nlohmann::json id = idOf(parsed);
            if (answered_.contains(id))
                return std::nullopt;
            json["id"] = id;
            const JsonNode line(parsed, source, "");
            if (id.is_null())
                line.fail("needs an \"id\", a string or an integer");
            json.update(pickOrError(line, options_, times_));
        } catch (const InputError& failure) {
            json.update(error(failure.name(), failure.what()));
        }
        return json;
    }

private:
    const PickOptions& options_;
    PhaseTimes& times_;
    std::set<nlohmann::json> answered_;
};

} // namespace

size_t pickLines(const PickOptions& options, PhaseTimes& times) {
    const LineReader reader(options, times);
    size_t number = 0, errors = 0;
    readLines("-", [&](const std::string& text) {
        ++number;
        if (text.find_first_not_of(" \t\r") == std::string::npos)
            return;
        const auto json = reader.answer(text, fmt::format("line {}", number));
        if (!json)
            return;
        errors += json->contains("error") ? 1 : 0;
        writeToStdout(printJson(*json, -1));
    });
    return errors;
}
