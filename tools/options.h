#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

enum class Command { pick, blur, resize, smooth, morph, align, changes, version };

enum class Morphology { erode, dilate, open, close };

struct OutputSize {
    int32_t width;
    int32_t height;
};

struct Options {
    Command command = Command::version;
    std::vector<std::string> inputs;
    std::string first; // the picture, or the first of two
    std::string second;
    std::string output; // a PNG file; empty for none
    bool force = false; // replace files that a command would make
    OutputSize outputSize = {};
    int64_t kernel = 0;
    Morphology operation = Morphology::erode;
    int64_t radius = 0;
    int64_t keep = 1;
    int64_t every = 1;
    int64_t max = 0; // 0: no limit
    std::string facesFile;
    bool moving = false;
    bool json = false;
    bool csv = false;
    bool skipBad = false;
    bool timing = false;
    std::optional<double> groupSeconds; // split the pictures into bursts by capture time
    bool jsonl = false;                 // read a burst from each line of stdin
    bool strict = false;
    std::string resumeFile; // answers to lines of an earlier run
    std::string reportFile;
    std::string copyTo; // folders for the chosen frames
    std::string linkTo;
};

// Reads the command line. Returns false when help was asked for and printed; throws InputError
// for arguments that make no sense.
bool parseOptions(int argc, char** argv, Options& options);
