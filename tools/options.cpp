#include "options.h"

#include "error.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <iostream>
#include <map>
#include <string_view>

namespace {

const CLI::Range positive(int64_t{1}, int64_t{INT32_MAX});

// The library's box filter has no reciprocal for windows beyond 2^23 pixels: 2895 x 2895 is the
// largest square below.
const CLI::Range kernelSizes(int64_t{1}, int64_t{2895});
const CLI::Range radii(int64_t{1}, int64_t{1000});
const CLI::Range gaps(0.0, 86400.0);
constexpr const char* usualGap = "2";  // seconds between the pictures of one burst, at most
constexpr int64_t largestSide = 16000; // above it FFmpeg has no picture

void addTiming(CLI::App& command, Options& options) {
    command.add_flag("--timing", options.timing, "Print to stderr where the time went");
}

CLI::Option& addFrameOptions(CLI::App& command, Options& options) {
    CLI::Option& inputs = *command.add_option("INPUT", options.inputs,
                                              "A folder of pictures, picture files, or one video");
    command.add_option("--every", options.every, "Take every Nth frame or file")
        ->check(positive)
        ->type_name("N");
    command.add_option("--max", options.max, "Stop after N frames")
        ->check(positive)
        ->type_name("N");
    CLI::Option& json = *command.add_flag("--json", options.json, "Print JSON instead of a table");
    command.add_flag("--csv", options.csv, "Print comma-separated values instead of a table")
        ->excludes(&json);
    command.add_flag("--skip-bad", options.skipBad, "Leave out what cannot be decoded");
    addTiming(command, options);
    return inputs;
}

void addPickOutputs(CLI::App& pick, Options& options) {
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

void addPick(CLI::App& app, Options& options) {
    CLI::App& pick = *app.add_subcommand("pick", "Rank a burst: the best frame, and which to keep");
    CLI::Option& inputs = addFrameOptions(pick, options);
    pick.add_option("--keep", options.keep, "How many frames to keep (1)")
        ->check(positive)
        ->type_name("K");
    CLI::Option& faces =
        *pick.add_option("--faces", options.facesFile, "JSON file with the faces of every frame")
             ->type_name("FILE");
    pick.add_flag("--moving", options.moving,
                  "Rank by what moves; keeps the luma of all frames, 4 GiB at most");
    pick.add_option("--group", options.groupSeconds,
                    "Split the pictures into bursts where nothing was taken for longer (2)")
        ->check(gaps)
        ->excludes(&faces)
        ->type_name("[SECONDS]");
    CLI::Option& jsonl =
        *pick.add_flag("--jsonl", options.jsonl,
                       "Read a burst from each line of stdin, and print a line of JSON for each")
             ->excludes(&inputs)
             ->excludes(&faces);
    pick.add_flag("--strict", options.strict, "Exit with 2 when any line of --jsonl had an error")
        ->needs(&jsonl);
    pick.add_option("--resume", options.resumeFile,
                    "Leave out the bursts that FILE, what --jsonl printed before, has a line for")
        ->needs(&jsonl)
        ->type_name("FILE");
    addPickOutputs(pick, options);
    for (const char* single : {"--json", "--csv", "--group", "--report", "--copy-to", "--link-to"})
        jsonl.excludes(pick.get_option(single));
}

void addPictureOptions(CLI::App& command, Options& options) {
    command.add_option("IN", options.first, "A picture")->required();
    command.add_option("OUT", options.output, "The PNG file to write")->required();
    command.add_flag("--force", options.force, "Replace OUT when it exists");
    addTiming(command, options);
}

void addPairOptions(CLI::App& command, Options& options) {
    command.add_option("A", options.first, "A picture, the reference")->required();
    command.add_option("B", options.second, "Another one of the same size")->required();
    command.add_flag("--json", options.json, "Print JSON instead of text");
    addTiming(command, options);
}

// "640x480"; anything else is refused.
OutputSize parseSize(const std::string& text) {
    OutputSize size = {};
    const char* const end = text.data() + text.size();
    const auto width = std::from_chars(text.data(), end, size.width);
    const bool split = width.ec == std::errc() && width.ptr != end && *width.ptr == 'x';
    const auto height = std::from_chars(split ? width.ptr + 1 : end, end, size.height);
    if (height.ec != std::errc() || height.ptr != end)
        throw CLI::ValidationError("--size", "must be like 640x480, not " + text);
    if (std::min(size.width, size.height) < 1 || std::max(size.width, size.height) > largestSide)
        throw CLI::ValidationError("--size", "sides must be 1 to 16000, not " + text);
    return size;
}

void addPictureCommands(CLI::App& app, Options& options) {
    CLI::App& resize = *app.add_subcommand("resize", "Resize a picture bilinearly");
    addPictureOptions(resize, options);
    resize
        .add_option_function<std::string>(
            "--size", [&](const std::string& text) { options.outputSize = parseSize(text); },
            "The new size, such as 640x480")
        ->required()
        ->type_name("WxH");

    CLI::App& smooth =
        *app.add_subcommand("smooth", "Smooth the luma of a picture, about like a Gaussian");
    addPictureOptions(smooth, options);
    smooth.add_option("--size", options.kernel, "Size of the kernel in pixels")
        ->required()
        ->check(kernelSizes)
        ->type_name("N");

    static const std::map<std::string, Morphology> operations = {{"erode", Morphology::erode},
                                                                 {"dilate", Morphology::dilate},
                                                                 {"open", Morphology::open},
                                                                 {"close", Morphology::close}};
    CLI::App& morph = *app.add_subcommand("morph", "Erode or dilate the luma of a picture");
    addPictureOptions(morph, options);
    morph
        .add_option_function<std::string>(
            "--op", [&](const std::string& name) { options.operation = operations.at(name); },
            "erode, dilate, open or close")
        ->required()
        ->check(CLI::IsMember(&operations))
        ->type_name("OP");
    morph.add_option("--radius", options.radius, "Radius of the rectangle in pixels")
        ->required()
        ->check(radii)
        ->type_name("R");
}

void addPairCommands(CLI::App& app, Options& options) {
    CLI::App& align = *app.add_subcommand("align", "Find the shift between two pictures");
    addPairOptions(align, options);
    CLI::App& changes = *app.add_subcommand("changes", "Find where two pictures differ");
    addPairOptions(changes, options);
    changes.add_option("--overlay", options.output, "Draw what changed into A and write that PNG")
        ->type_name("OUT");
    changes.add_flag("--force", options.force, "Replace OUT when it exists");
}

Command commandOf(const CLI::App& app) {
    static const std::map<std::string, Command> commands = {
        {"pick", Command::pick},       {"blur", Command::blur},      {"resize", Command::resize},
        {"smooth", Command::smooth},   {"morph", Command::morph},    {"align", Command::align},
        {"changes", Command::changes}, {"version", Command::version}};
    return commands.at(app.get_subcommands().front()->get_name());
}

// "--keep: Value 0 not in range" names the option first; other complaints name nothing.
InputError argumentError(const std::string& what) {
    const std::string line = what.substr(0, what.find('\n'));
    const size_t colon = line.find(": ");
    if (colon == std::string::npos || line.compare(0, 2, "--") != 0)
        return {"arguments", line};
    return {line.substr(0, colon), line.substr(colon + 2)};
}

bool isNumber(std::string_view word) {
    double value = 0;
    const auto end = std::from_chars(word.data(), word.data() + word.size(), value).ptr;
    return !word.empty() && end == word.data() + word.size() && word.back() <= '9';
}

// The words behind the program's name, last first as the parser takes them. A number behind
// `--group` is its value; anything else is an input.
std::vector<std::string> toWords(int argc, char** argv) {
    std::vector<std::string> words;
    for (int i = 1; i < argc; ++i) {
        words.emplace_back(argv[i]);
        if (words.back() != "--group")
            continue;
        if (i + 1 < argc && isNumber(argv[i + 1]))
            words.emplace_back(argv[++i]);
        else
            words.emplace_back(usualGap);
    }
    std::reverse(words.begin(), words.end());
    return words;
}

} // namespace

bool parseOptions(int argc, char** argv, Options& options) {
    CLI::App app("Finds the best frames of a burst, scores pictures by sharpness, and compares and "
                 "filters them",
                 "kelvane");
    app.require_subcommand(1);
    addPick(app, options);
    CLI::App& blur = *app.add_subcommand("blur", "Score pictures, the sharpest first");
    addFrameOptions(blur, options).required();
    addPictureCommands(app, options);
    addPairCommands(app, options);
    app.add_subcommand("version", "Print the versions of the library and of what it runs on");

    try {
        app.parse(toWords(argc, argv));
    } catch (const CLI::Success& help) {
        app.exit(help, std::cout, std::cerr);
        return false;
    } catch (const CLI::ParseError& error) {
        throw argumentError(error.what());
    }
    options.command = commandOf(app);
    if (options.command == Command::pick && options.inputs.empty() && !options.jsonl)
        throw InputError("arguments", "INPUT is required");
    return true;
}
