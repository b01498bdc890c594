#include "commands/options.h"

#include "base/error.h"
#include "base/spelling.h"
#include "media/files.h"

#include <algorithm>
#include <filesystem>
#include <sstream>

const CLI::Range positive(int64_t{1}, int64_t{INT32_MAX});

void addTiming(CLI::App& command, Invocation& invocation) {
    command.add_flag("--timing", invocation.timing, "Print to stderr where the time went");
}

void addJobs(CLI::App& command, Invocation& invocation) {
    command
        .add_option("--jobs", invocation.jobs,
                    "Read on N threads (as many as there are processors)")
        ->check(CLI::Range(1, 1024))
        ->type_name("N");
}

CLI::Option& addFrameOptions(CLI::App& command, FrameOptions& options, Invocation& invocation,
                             Formats formats) {
    CLI::Option& inputs =
        *command.add_option("INPUT", options.inputs,
                            "A folder of pictures, picture files, or one video; - for a "
                            "picture on standard input");
    command.add_option("--every", options.frames.every, "Take every Nth frame or file")
        ->check(positive)
        ->type_name("N");
    command.add_option("--max", options.frames.max, "Stop after N frames")
        ->check(positive)
        ->type_name("N");
    CLI::Option& json = *command.add_flag("--json", options.json, "Print JSON instead of a table");
    if (formats == Formats::all) {
        command.add_flag("--csv", options.csv, "Print comma-separated values instead of a table")
            ->excludes(&json);
        addChoice(command, "--measure", options.measure,
                  {{"sharpness", Measure::sharpness}, {"detail", Measure::detail}},
                  "Rank by the blur score (sharpness), or by detail, which noise and light hardly "
                  "change");
    }
    addJobs(command, invocation);
    options.frames.skipOption = "--skip-bad";
    command.add_flag("--skip-bad", options.frames.skipBad, "Leave out what cannot be decoded");
    addTiming(command, invocation);
    return inputs;
}

namespace {

// ", did you mean --json?" or what to do instead.
std::string suggestion(const std::string& typed, const std::vector<std::string>& known,
                       const std::string& otherwise) {
    const std::string nearest = nearestName(typed, known);
    return nearest.empty() ? "; " + otherwise : fmt::format("; did you mean {}?", nearest);
}

std::vector<std::string> commandNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands({}))
        names.push_back(command->get_name());
    return names;
}

std::vector<std::string> optionNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::Option* option : app.get_options())
        for (const std::string& name : option->get_lnames())
            names.push_back("--" + name);
    return names;
}

// The words after the tool's name, with "help pick" as "pick --help".
std::vector<std::string> wordsOf(int argc, char** argv) {
    std::vector<std::string> words(argv + std::min(1, argc), argv + argc);
    if (!words.empty() && words.front() == "help") {
        words.erase(words.begin());
        words.push_back("--help");
    }
    return words;
}

void checkCommand(const CLI::App& app, const std::vector<std::string>& words) {
    constexpr const char* lists = "kelvane help lists the commands";
    if (words.empty())
        throw InputError("arguments", fmt::format("a command is required; {}", lists));
    const std::vector<std::string> commands = commandNames(app);
    const std::string& word = words.front();
    if (!word.starts_with('-') && std::ranges::find(commands, word) == commands.end())
        throw InputError(word, "unknown command" + suggestion(word, commands, lists));
}

// An unknown option is named before what CLI11 noticed because of it.
void checkOptions(const CLI::App& app) {
    const auto commands = app.get_subcommands();
    const CLI::App& command = commands.empty() ? app : *commands.front();
    for (const std::string& word : app.remaining(true)) {
        if (word.size() < 2 || !word.starts_with('-'))
            continue;
        std::error_code ignored;
        if (std::filesystem::exists(word, ignored))
            throw InputError(word, fmt::format("taken for an option; the file is ./{}", word));
        const std::string name = word.substr(0, word.find('='));
        throw InputError(name, "unknown option" + suggestion(name, optionNames(command),
                                                             "--help lists the options"));
    }
}

// "--keep: Value 0 not in range" names the option first; other complaints name nothing.
InputError argumentError(const std::string& what) {
    const std::string line = what.substr(0, what.find('\n'));
    const size_t colon = line.find(": ");
    if (colon == std::string::npos || line.compare(0, 2, "--") != 0)
        return {"arguments", line};
    return {line.substr(0, colon), line.substr(colon + 2)};
}

} // namespace

bool parseArguments(int argc, char** argv, Invocation& invocation) {
    CLI::App app("Finds the best frames of a burst, scores pictures by sharpness, and compares and "
                 "filters them",
                 "kelvane");
    app.set_version_flag("--version", "kelvane " KELVANE_VERSION, "Print the version and exit");
    app.footer("Exit status: 0, or 1 when writing failed or memory ran out, or 2 for bad input.");
    app.require_subcommand(1);
    for (const auto add : {addPick, addList, addBlur, addFaces, addResize, addSmooth, addMorph,
                           addAlign, addChanges, addVersion})
        add(app, invocation);
    app.add_subcommand("help", "Print the options of a command: kelvane help pick");
    std::vector<std::string> words = wordsOf(argc, argv);
    checkCommand(app, words);
    try {
        std::ranges::reverse(words); // as CLI11 takes them
        app.parse(std::move(words));
    } catch (const CLI::Success& help) {
        std::ostringstream text;
        app.exit(help, text, text);
        writeToStdout(text.str());
        return false;
    } catch (const CLI::ParseError& error) {
        checkOptions(app);
        throw argumentError(error.what());
    }
    return true;
}
