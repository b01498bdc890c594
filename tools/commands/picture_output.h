// Where the commands that make a picture write it.
#pragma once

#include "commands/options.h"
#include "media/picture_encoder.h"

#include <optional>
#include <string>

struct PictureOutput {
    std::string path;           // "-" for standard output
    std::string format;         // "jpg", for example; empty: as the path ends
    std::optional<int> quality; // of JPEG and WebP
    bool force = false;         // replace a file that exists
};

constexpr const char* outputHelp = "The picture to write; - for standard output";

// The options that belong to `path`, the option of the path.
void addPictureOutput(CLI::App& command, CLI::Option& path, PictureOutput& output);

bool goesToStdout(const PictureOutput& output);

// Throws InputError for an output that cannot be made, which spares a run.
void checkPictureOutput(const PictureOutput& output);

// Writes the picture. What the command says goes to stdout, or to stderr beside a picture there.
Output writePicture(const PictureOutput& output, const PixelsView& pixels, const std::string& said);
