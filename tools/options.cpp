#include "options.h"

#include "error.h"

#include <CLI/CLI.hpp>

#include <iostream>

namespace {

const CLI::Range positive(int64_t{1}, int64_t{INT32_MAX});

void addFrameOptions(CLI::App& command, Options& options) {
    command
        .add_option("INPUT", options.inputs, "A folder of pictures, picture files, or one video")
        ->required();
    command.add_option("--every", options.every, "Take every Nth frame or file")
        ->check(positive)
        ->type_name("N");
    command.add_option("--max", options.max, "Stop after N frames")
        ->check(positive)
        ->type_name("N");
    command.add_flag("--json", options.json, "Print JSON instead of a table");
    command.add_flag("--skip-bad", options.skipBad, "Leave out what cannot be decoded");
    command.add_flag("--timing", options.timing, "Print to stderr where the time went");
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

bool parseOptions(int argc, char** argv, Options& options) {
    CLI::App app("Finds the best frames of a burst and scores pictures by sharpness", "kelvane");
    app.require_subcommand(1);

    CLI::App& pick = *app.add_subcommand("pick", "Rank a burst: the best frame, and which to keep");
    addFrameOptions(pick, options);
    pick.add_option("--keep", options.keep, "How many frames to keep (1)")
        ->check(positive)
        ->type_name("K");
    pick.add_option("--faces", options.facesFile, "JSON file with the faces of every frame")
        ->type_name("FILE");

    CLI::App& blur = *app.add_subcommand("blur", "Score pictures, the sharpest first");
    addFrameOptions(blur, options);

    app.add_subcommand("version", "Print the versions of the library and of what it runs on");

    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& help) {
        app.exit(help, std::cout, std::cerr);
        return false;
    } catch (const CLI::ParseError& error) {
        throw argumentError(error.what());
    }
    if (pick.parsed())
        options.command = Command::pick;
    else if (blur.parsed())
        options.command = Command::blur;
    return true;
}
