// What the commands' options have in common.
#pragma once

#include "analysis/face_finder.h"
#include "commands/commands.h"
#include "media/frame_source.h"

#include <CLI/CLI.hpp>

#include <memory>

// The commands: each adds itself and its options.
void addPick(CLI::App& app, Invocation& invocation);
void addList(CLI::App& app, Invocation& invocation);
void addBlur(CLI::App& app, Invocation& invocation);
void addFaces(CLI::App& app, Invocation& invocation);
void addResize(CLI::App& app, Invocation& invocation);
void addSmooth(CLI::App& app, Invocation& invocation);
void addMorph(CLI::App& app, Invocation& invocation);
void addAlign(CLI::App& app, Invocation& invocation);
void addChanges(CLI::App& app, Invocation& invocation);
void addVersion(CLI::App& app, Invocation& invocation);

// A command which calls `run` with its options, once they are read.
template <typename Options>
struct NewCommand {
    CLI::App& app;
    Options& options;
};

template <typename Options>
NewCommand<Options> addCommand(CLI::App& app, Invocation& invocation, const char* name,
                               const char* description,
                               Output (*run)(const Options&, PhaseTimes&)) {
    CLI::App& command = *app.add_subcommand(name, description);
    const auto options = std::make_shared<Options>();
    command.callback([&invocation, options, run] {
        invocation.run = [options, run](PhaseTimes& times) { return run(*options, times); };
    });
    return {command, *options};
}

extern const CLI::Range positive;

// An option with a value for each of its words.
template <typename Value>
void addChoice(CLI::App& command, const char* name, Value& value,
               const std::map<std::string, Value>& words, const char* description) {
    std::vector<std::string> names;
    for (const auto& [word, meaning] : words)
        names.push_back(word);
    command
        .add_option_function<std::string>(
            name, [&value, words](const std::string& word) { value = words.at(word); }, description)
        ->check(CLI::IsMember(names));
}

void addTiming(CLI::App& command, Invocation& invocation);
void addJobs(CLI::App& command, Invocation& invocation);

// Of commands that measure frames.
struct FrameOptions {
    std::vector<std::string> inputs;
    FrameSelection frames;
    Measure measure = Measure::sharpness;
    bool json = false;
    bool csv = false;
};

enum class Formats { all, tableAndJson };

// Returns the option of the inputs.
CLI::Option& addFrameOptions(CLI::App& command, FrameOptions& options, Invocation& invocation,
                             Formats formats = Formats::all);

// Of commands that find faces.
void addFaceRules(CLI::App& command, FaceRules& rules);
