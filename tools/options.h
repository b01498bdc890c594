#pragma once

#include <cstdint>
#include <string>
#include <vector>

enum class Command { pick, blur, version };

struct Options {
    Command command = Command::version;
    std::vector<std::string> inputs;
    int64_t keep = 1;
    int64_t every = 1;
    int64_t max = 0; // 0: no limit
    std::string facesFile;
    bool json = false;
    bool skipBad = false;
    bool timing = false;
};

// Reads the command line. Returns false when help was asked for and printed; throws InputError
// for arguments that make no sense.
bool parseOptions(int argc, char** argv, Options& options);
