#include "commands/options.h"

#include "base/error.h"
#include "media/files.h"

#include <sstream>

const CLI::Range positive(int64_t{1}, int64_t{INT32_MAX});

void addTiming(CLI::App& command, Invocation& invocation) {
    command.add_flag("--timing", invocation.timing, "Print to stderr where the time went");
}

CLI::Option& addFrameOptions(CLI::App& command, FrameOptions& options, Invocation& invocation) {
    CLI::Option& inputs = *command.add_option("INPUT", options.inputs,
                                              "A folder of pictures, picture files, or one video");
    command.add_option("--every", options.frames.every, "Take every Nth frame or file")
        ->check(positive)
        ->type_name("N");
    command.add_option("--max", options.frames.max, "Stop after N frames")
        ->check(positive)
        ->type_name("N");
    CLI::Option& json = *command.add_flag("--json", options.json, "Print JSON instead of a table");
    command.add_flag("--csv", options.csv, "Print comma-separated values instead of a table")
        ->excludes(&json);
    command.add_flag("--skip-bad", options.frames.skipBad, "Leave out what cannot be decoded");
    addTiming(command, invocation);
    return inputs;
}

// "--keep: Value 0 not in range" names the option first; other complaints name nothing.
static InputError argumentError(const std::string& what) {
    const std::string line = what.substr(0, what.find('\n'));
    const size_t colon = line.find(": ");
    if (colon == std::string::npos || line.compare(0, 2, "--") != 0)
        return {"arguments", line};
    return {line.substr(0, colon), line.substr(colon + 2)};
}

bool parseArguments(int argc, char** argv, Invocation& invocation) {
    CLI::App app("Finds the best frames of a burst, scores pictures by sharpness, and compares and "
                 "filters them",
                 "kelvane");
    app.require_subcommand(1);
    for (const auto add :
         {addPick, addBlur, addResize, addSmooth, addMorph, addAlign, addChanges, addVersion})
        add(app, invocation);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& help) {
        std::ostringstream text;
        app.exit(help, text, text);
        writeToStdout(text.str());
        return false;
    } catch (const CLI::ParseError& error) {
        throw argumentError(error.what());
    }
    return true;
}
