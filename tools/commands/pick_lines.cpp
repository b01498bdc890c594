#include "base/error.h"
#include "base/in_order.h"
#include "commands/pick.h"
#include "media/json_input.h"
#include "output/report.h"

#include <new>
#include <optional>
#include <set>

namespace {

constexpr int64_t largestCount = INT32_MAX;

// What a line says besides its id.
struct LineBurst {
    PickOptions options;
    Sizes sizes;
};

LineBurst parseLine(const JsonNode& line, PickOptions options) {
    options.frames.skipOption = "\"skip_bad\": true";
    // From "reason" on, `list` writes them for other readers.
    line.checkKeys({"id", "files", "keep", "every", "max", "moving", "whole", "skip_bad", "faces",
                    "apart", "reason", "zone", "file_times", "bytes", "modified", "times"});
    for (const JsonNode& file : line.get("files").elements()) {
        options.inputs.push_back(file.string());
        if (options.inputs.back() == "-")
            file.fail("standard input holds the list");
    }
    if (options.inputs.empty())
        line.get("files").fail("must not be empty");
    for (const auto& [key, count] : {std::pair{"keep", &options.choice.keep},
                                     {"every", &options.frames.every},
                                     {"max", &options.frames.max}})
        if (line.has(key))
            *count = line.get(key).integer(1, largestCount);
    if (line.has("moving"))
        options.moving = line.get("moving").boolean();
    if (line.has("whole"))
        options.whole = line.get("whole").boolean();
    if (line.has("skip_bad"))
        options.frames.skipBad = line.get("skip_bad").boolean();
    if (line.has("faces"))
        options.faces = line.get("faces").string();
    const bool apart = line.has("apart") && line.get("apart").boolean();
    if (apart && !options.faces.empty() && !options.findsFaces())
        line.get("faces").fail("cannot be told apart by size; leave out \"apart\"");
    return {std::move(options), apart ? Sizes::apart : Sizes::equal};
}

OrderedJson pickLine(const LineBurst& burst, Progress& progress, PhaseTimes& times) {
    std::vector<Skipped> skipped;
    const PickOptions& options = burst.options;
    const std::vector<Burst> bursts = pickBursts(expandInputs(options.inputs), options.rules(),
                                                 burst.sizes, 0, progress, times, skipped);
    if (bursts.empty())
        throw InputError(options.inputs.front(), "no frame could be read");
    OrderedJson json;
    if (burst.sizes == Sizes::equal)
        json = pickJson(bursts.front());
    else
        for (const Burst& part : bursts)
            json["bursts"].push_back(pickJson(part));
    json["skipped"] = skippedJson(skipped);
    return json;
}

OrderedJson error(const std::string& name, const std::string& reason) {
    return {{"error", {{"name", name}, {"reason", reason}}}};
}

bool isId(const nlohmann::json& value) { return value.is_string() || value.is_number_integer(); }

// The id of a line, null when it has none.
nlohmann::json idOf(const nlohmann::json& line) {
    return line.is_object() && line.contains("id") && isId(line["id"]) ? line["id"] : nullptr;
}

// The ids that an earlier run has answered. A line that was cut when the run was killed is none.
std::set<nlohmann::json> readAnswered(const std::string& path) {
    std::set<nlohmann::json> ids;
    LineReader lines(path);
    while (const auto line = lines.next())
        ids.insert(idOf(nlohmann::json::parse(*line, nullptr, false)));
    ids.erase(nullptr);
    return ids;
}

// A line on its way to its answer.
struct Line {
    std::string text;
    std::string source;
    OrderedJson answer = {};
    bool isAnswered = false;             // by an earlier run
    std::optional<LineBurst> burst = {}; // that it describes
};

class LineRanker {
public:
    explicit LineRanker(const PickOptions& options) : options_(options) {
        if (!options.resumeFile.empty())
            answered_ = readAnswered(options.resumeFile);
        progress_.expect(0);
    }

    void parse(Line& line) const {
        line.answer = jsonHead("pick");
        line.answer["id"] = nullptr;
        attempt(line, [&]() -> OrderedJson {
            const nlohmann::json parsed = parseJson(line.text, line.source);
            const nlohmann::json id = idOf(parsed);
            line.isAnswered = answered_.contains(id);
            line.answer["id"] = id;
            const JsonNode node(parsed, line.source, "");
            if (id.is_null())
                node.fail("needs an \"id\", a string or an integer");
            if (!line.isAnswered)
                line.burst = parseLine(node, options_);
            return OrderedJson::object();
        });
    }

    void rank(Line& line, PhaseTimes& times) {
        attempt(line, [&] { return pickLine(*line.burst, progress_, times); });
    }

private:
    // One burst must not end the others, whatever happens to it.
    template <typename Step>
    static void attempt(Line& line, Step step) {
        try {
            line.answer.update(step());
        } catch (const NamedError& failure) {
            line.answer.update(error(failure.name(), failure.what()));
        } catch (const std::bad_alloc&) {
            line.answer.update(error("memory", "not enough for this input"));
        } catch (const std::exception& failure) {
            line.answer.update(error("internal error", failure.what()));
        }
    }

    const PickOptions& options_;
    std::set<nlohmann::json> answered_;
    Progress progress_;
};

std::optional<Line> nextLine(LineReader& lines, size_t& number) {
    while (auto text = lines.next()) {
        ++number;
        if (text->find_first_not_of(" \t\r") != std::string::npos)
            return Line{std::move(*text), fmt::format("line {}", number)};
    }
    return std::nullopt;
}

} // namespace

size_t pickLines(const PickOptions& options, PhaseTimes& times) {
    LineRanker ranker(options);
    LineReader lines("-");
    size_t number = 0, errors = 0;
    const auto work = [&](Line& line, PhaseTimes& used) {
        ranker.parse(line);
        if (line.burst && !line.burst->options.moving)
            ranker.rank(line, used);
    };
    const auto print = [&](Line& line) {
        if (line.burst && line.burst->options.moving) // the luma of one burst at a time
            ranker.rank(line, times);
        if (line.isAnswered)
            return;
        errors += line.answer.contains("error") ? 1 : 0;
        writeToStdout(printJson(line.answer, -1));
    };
    processInOrder(
        times, [&](PhaseTimes&) { return nextLine(lines, number); }, work, print);
    return errors;
}
